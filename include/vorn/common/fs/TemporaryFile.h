// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

#include <vorn/common/export.h>
#include <vorn/common/fs/IFile.h>

namespace vorn::common::fs {

/// Owns a file and removes it when it is destroyed.
///
///     fs::TemporaryFile request;                  // /tmp/tempfile-Ab3xYz, empty, mode 0600
///     std::ofstream(request.getPath()) << body;
///
/// Lifetime: the file lives as long as the handle, unless `release` gives it to the caller. A
/// handle that was moved from, or released, owns nothing. Threads: one at a time. Not guaranteed:
/// removal when the process is killed. A forked child that runs the destructor removes the file as
/// well: let it leave through _exit.
class VORN_GW_COMMON_EXPORT TemporaryFile : public IFile {
  public:
    /// Creates an empty file "tempfile-" and six random characters in the system's temporary
    /// directory. Throws what tools::createTemporaryFile and setPath throw, and leaves no file
    /// then.
    TemporaryFile();

    /// Takes an existing or future file; creates nothing. Throws what setPath throws, and then
    /// removes nothing.
    explicit TemporaryFile(std::string path, bool mustExist = false);

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Takes the file; `other` owns nothing afterwards.
    TemporaryFile(TemporaryFile&& other) noexcept;

    /// Removes the file owned so far (a failure is ignored) and takes the other's. Moving a handle
    /// onto itself changes nothing.
    TemporaryFile& operator=(TemporaryFile&& other) noexcept;

    /// Removes the file; failures are ignored.
    ~TemporaryFile() override;

    /// Removes the file owned so far, even when it is `path` itself, then owns `path`. With
    /// `mustExist`, throws std::filesystem::filesystem_error "Temporary file does not exists"
    /// (ENOENT) when there is none; the path stays set then. When the former file cannot be removed
    /// throws as removeIfExists, and nothing has changed.
    void setPath(std::string path, bool mustExist) override;

    /// Removes the file if it exists and owns nothing afterwards; otherwise keeps the path. Returns
    /// whether it did. Throws std::filesystem::filesystem_error when the removal fails.
    bool removeIfExists();

    /// Owns nothing any more; the file stays and is the caller's.
    void release() noexcept;

    /// The owned path; empty when nothing is owned.
    [[nodiscard]] std::string getPath() const override;

    /// Whether a path is owned and something is there. False also when that cannot be found out;
    /// throws nothing for the file system's reasons.
    [[nodiscard]] bool checkIfExists() const;

  private:
    std::filesystem::path path_;
};

}  // namespace vorn::common::fs
