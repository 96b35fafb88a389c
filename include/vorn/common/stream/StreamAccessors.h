// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <memory>
#include <sstream>
#include <string>

#include <vorn/common/export.h>

/// Where the bytes of an IStreamable come from and go to: an accessor is one reading or one
/// writing, a builder makes a new accessor for each.
namespace vorn::common::stream {

/// One reading of an object.
class VORN_GW_COMMON_EXPORT IInputStreamAccessor {
  public:
    virtual ~IInputStreamAccessor() = default;

    /// The stream to read from; in a failed state when there is nothing to read.
    [[nodiscard]] virtual std::istream& stream() = 0;
};

/// One writing of an object.
class VORN_GW_COMMON_EXPORT IOutputStreamAccessor {
  public:
    virtual ~IOutputStreamAccessor() = default;

    /// The stream to write to.
    [[nodiscard]] virtual std::ostream& stream() = 0;

    /// Takes what was written; called once, after the object has been serialized.
    virtual void commit() = 0;
};

/// Reads from a stream of the caller's.
/// Lifetime: the stream outlives the accessor.
class VORN_GW_COMMON_EXPORT InputStreamRefAccessor : public IInputStreamAccessor {
  public:
    /// Reads nothing yet.
    explicit InputStreamRefAccessor(std::istream& stream) noexcept : stream_(stream) {}
    [[nodiscard]] std::istream& stream() override { return stream_; }

  private:
    std::istream& stream_;
};

/// Writes to a stream of the caller's; `commit` flushes it.
/// Lifetime: the stream outlives the accessor.
class VORN_GW_COMMON_EXPORT OutputStreamRefAccessor : public IOutputStreamAccessor {
  public:
    /// Writes nothing yet.
    explicit OutputStreamRefAccessor(std::ostream& stream) noexcept : stream_(stream) {}
    [[nodiscard]] std::ostream& stream() override { return stream_; }
    void commit() override { stream_.flush(); }

  private:
    std::ostream& stream_;
};

/// Reads from a file, close-on-exec; one that cannot be opened gives a stream in a failed state.
class VORN_GW_COMMON_EXPORT FileInputStreamAccessor : public IInputStreamAccessor {
  public:
    /// Opens the file at once.
    explicit FileInputStreamAccessor(const std::string& path);
    [[nodiscard]] std::istream& stream() override { return stream_; }

  private:
    std::ifstream stream_;
};

/// Collects in memory and writes to a file in `commit`.
///
/// Without a temporary path the target is written in place, and whoever reads it meanwhile, or a
/// kill, finds a part. With one, the temporary file is written and then exchanged with the target
/// (fs::tools::swapFiles): the target changes in one step, and the temporary path keeps what the
/// target held before. That is how a ".bak" file comes about.
///
/// With a temporary path and a mode that empties the file, the temporary file itself is written
/// aside (its name and ".side~") and renamed, so that a process killed at any instant leaves a
/// complete version at the target or at the temporary path. What is written is on the device before
/// the exchange, and the names are when `commit` returns.
///
/// Not guaranteed: a complete version after a power cut on a file system that does not keep the
/// order of renames (FAT), or on a device that acknowledges before it has stored.
class VORN_GW_COMMON_EXPORT FileOutputStreamAccessor : public IOutputStreamAccessor {
  public:
    /// Touches no file. `mode` is the mode of the written file, to which `out` is added (`app`
    /// keeps what is there); `permissions` are given to it exactly, from its creation on; an empty
    /// `tmpPath` means none. Both paths should lie in one directory, or at least on one file
    /// system.
    FileOutputStreamAccessor(const std::string& path, std::ios_base::openmode mode,
                             std::filesystem::perms permissions, const std::string& tmpPath);

    [[nodiscard]] std::ostream& stream() override { return buffer_; }

    /// Writes the buffer to the temporary path (without one, to the target), in up to three
    /// attempts, and then exchanges the two. Touches no file when the stream has failed (an
    /// operator<< that ran out of memory fails it and throws nothing): a part never replaces a good
    /// file. Reports nothing; throws only what fs::tools::swapFiles throws.
    ///
    /// An attempt fails when the permissions cannot be set, too: on a file system without owners
    /// (FAT mounted for somebody else) nothing can be stored.
    ///
    /// Deliberate: the exchange follows three failed attempts too: what could be written, perhaps a
    /// part, is then at the target, and the former version at the temporary path. A second such
    /// failure overwrites that one, so two in a row can leave both bad: watch the free space. Where
    /// nothing could be opened (no descriptor left) the two have merely changed places.
    void commit() override;

  private:
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool writeToTemporaryPath() const;
    [[nodiscard]] VORN_GW_COMMON_HIDDEN bool writeInPlace(const std::string& path) const;

    std::ostringstream buffer_;
    std::string path_;
    std::ios_base::openmode mode_;
    std::filesystem::perms permissions_;
    std::string tmpPath_;
};

/// Makes the accessor of one reading or writing; an empty pointer means that there is none.
/// @{
using InputBuilder = std::function<std::unique_ptr<IInputStreamAccessor>()>;
using OutputBuilder = std::function<std::unique_ptr<IOutputStreamAccessor>()>;
/// @}

/// Builders without an accessor: nothing is loaded, writes go nowhere.
/// @{
[[nodiscard]] VORN_GW_COMMON_EXPORT InputBuilder make_nullistreamBuilder();
[[nodiscard]] VORN_GW_COMMON_EXPORT OutputBuilder make_nullostreamBuilder();
/// @}

/// Builders on a stream of the caller's, which outlives the builder and its accessors.
/// @{
[[nodiscard]] VORN_GW_COMMON_EXPORT InputBuilder make_istreamBuilder(std::istream& stream);
[[nodiscard]] VORN_GW_COMMON_EXPORT OutputBuilder make_ostreamBuilder(std::ostream& stream);
/// @}

/// A builder that opens the file on every call.
[[nodiscard]] VORN_GW_COMMON_EXPORT InputBuilder make_ifstreamBuilder(const std::string& path);

/// A builder that makes a FileOutputStreamAccessor of these values on every call. When that throws
/// (out of memory) the text goes to the standard error stream and the builder gives none.
[[nodiscard]] VORN_GW_COMMON_EXPORT OutputBuilder make_ofstreamBuilder(const std::string& path,
                                                                       std::ios_base::openmode mode,
                                                                       std::filesystem::perms perms,
                                                                       const std::string& tmpPath);

}  // namespace vorn::common::stream
