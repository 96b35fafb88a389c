// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <vorn/common/export.h>

/// Everyday file operations. There is no state between two calls.
///
///     for (const auto& host : fs::tools::readFileLinesToArray(
///              path, {fs::tools::ReadFileOptions::Trim,
///              fs::tools::ReadFileOptions::SkipEmptyLines}))
///
/// Threads: any; two that work on the same paths coordinate themselves (FileMutex does it between
/// processes). Descriptors are close-on-exec, and calls that a signal interrupts are repeated.
namespace vorn::common::fs::tools {

/// What the line readers do with each line.
enum class ReadFileOptions : std::uint32_t {
    Trim = 0,            ///< removes white space at both ends before the line is judged or stored
    SkipEmptyLines = 1,  ///< drops a line that is empty (after trimming, with Trim)
};

/// Copies content and permissions of the regular file `from`; a file `to` is overwritten in place.
/// Returns false, and throws nothing, on any failure; `to` may then hold a part.
VORN_GW_COMMON_EXPORT bool copyFile(const std::string& from, const std::string& to);

/// Removes a file, a link itself, or an empty directory. Returns whether something was removed;
/// false when there was nothing and when it failed. Throws nothing.
VORN_GW_COMMON_EXPORT bool deleteFile(const std::string& path);

/// Removes a directory and all below it (or a file). A missing path is no error. Throws
/// std::filesystem::filesystem_error when something cannot be removed.
VORN_GW_COMMON_EXPORT void removeFolder(const std::string& path);

/// Opens `path` for writing, emptied, writes `content` and returns the open stream, so that the
/// caller goes on writing or lets it close. A failure shows in the stream's state alone.
VORN_GW_COMMON_EXPORT std::ofstream createFile(const std::string& path, const std::string& content);

/// Creates an empty file of mode 0600 in the system's temporary directory (TMPDIR, else /tmp) and
/// returns its path: `prefix` ("tempfile" when that is empty), "-", and six random characters.
/// The caller removes it; TemporaryFile does it by itself. Throws std::runtime_error "Failed to
/// create temporary file: " and the system's reason; std::filesystem::filesystem_error when TMPDIR
/// names no directory.
VORN_GW_COMMON_EXPORT std::string createTemporaryFile(const std::string& prefix);

/// The same for a directory of mode 0700; the default prefix is "tempfolder". Throws
/// std::runtime_error "Failed to create temporary directory: " and the system's reason; for TMPDIR
/// as above.
VORN_GW_COMMON_EXPORT std::string createTemporaryFolder(const std::string& prefix);

/// Returns all bytes of a file. Of a file that grows meanwhile it returns as many as there were, of
/// one that shrinks what could still be read. Throws std::invalid_argument "Could not open file: "
/// and the path; std::runtime_error "Could not determine file size: " and the path for what cannot
/// be seeked to its end (a directory, a pipe, many files of /proc); std::system_error "Could not
/// read file: ", the path and the reason when reading fails on the way (a broken device);
/// std::length_error or std::bad_alloc when memory does not hold the content.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string readFile(const std::filesystem::path& path);

/// Lists the regular files of a directory in the order of the system, unsorted: names, or, with
/// `withPath`, `dirPath` + "/" + name. A directory that cannot be opened gives an empty list.
///
/// Deliberate: the type noted in the directory is trusted, so links, and everything on a file
/// system that notes no types, are left out.
/// Deliberate: "/" is inserted even after a `dirPath` that ends with one.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::vector<std::string> listFilesFromDirPath(
    const std::string& dirPath, bool withPath);

/// Returns a file's lines without their line feeds; the last one counts with and without one. A
/// file that cannot be opened or read gives an empty list. Works on pipes and on /proc too.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::vector<std::string> readFileLinesToArray(
    const std::string& path, const std::set<ReadFileOptions>& options);

/// The lines of readFileLinesToArray, with `separator` between them and none at the end.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string readFileLinesToString(
    const std::string& path, const std::string& separator,
    const std::set<ReadFileOptions>& options);

/// Exchanges two files: the names change places in one step, so that everybody sees either the one
/// state or the other. A `newFile` that does not exist is created empty first, through a link to
/// nothing too. A link changes places as it is, wherever it leads.
///
/// Where the system cannot exchange (two file systems, a file system without support) the contents
/// are copied to files beside the two, named like them with ".side~" behind, and those are renamed
/// onto them, `newFile` first. Each file is then replaced in one step, but not both in the same:
/// a reader, or a kill in between, may find the content of `oldFile` under both names. Where
/// nothing can be created beside them, or a rename is refused, the content is copied in place.
///
/// Deliberate: nothing is reported. When a copy fails, the steps after it are left out, so that no
/// good content is overwritten. Throws std::runtime_error "Failed to create temporary file: " only
/// when a copy fits neither beside its target nor into the temporary directory.
///
/// Not guaranteed: that the exchange survives a power cut; nothing is synchronised with the device
/// except the copies just described.
VORN_GW_COMMON_EXPORT void swapFiles(const std::string& oldFile, const std::string& newFile);

}  // namespace vorn::common::fs::tools
