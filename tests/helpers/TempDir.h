// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace helpers {

/// A fresh directory below the system's temporary directory, removed with everything in it.
class TempDir {
  public:
    TempDir();
    /// Below `parent`.
    explicit TempDir(const std::filesystem::path& parent);
    /// In memory where there is such a place, for what would wait for the disk.
    [[nodiscard]] static TempDir inMemory();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// The path of an entry in the directory; nothing is created.
    [[nodiscard]] std::string file(const std::string& name) const;
    /// How many entries it has.
    [[nodiscard]] std::size_t entries() const;
    /// Writes a file into the directory and returns its path.
    std::string write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path path_;
};

/// The permission bits of a file; none when it does not exist.
unsigned modeOf(const std::filesystem::path& path);

/// The whole content of a file; empty when it cannot be read.
std::string contentOf(const std::filesystem::path& path);

}  // namespace helpers
