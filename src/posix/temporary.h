// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

#include "posix/Descriptor.h"

namespace vorn::common::internal {

/// A new file: where it is, and its descriptor for reading and writing.
struct NewFile {
    std::string path;
    Descriptor file;
};

/// Creates an empty file of mode 0600 in the system's temporary directory: `prefix` ("tempfile"
/// when that is empty), "-", and six random characters. Throws std::runtime_error "Failed to create
/// temporary file: " and the system's reason; std::filesystem::filesystem_error when there is no
/// such directory.
[[nodiscard]] NewFile temporaryFile(const std::string& prefix);

/// The same for a directory of mode 0700; "tempfolder", "Failed to create temporary directory: ".
[[nodiscard]] std::string temporaryFolder(const std::string& prefix);

/// Creates a directory of mode 0700 with a random name directly below /tmp. Throws
/// std::system_error with the reason.
[[nodiscard]] std::string folderBelowTmp();

/// Creates a directory that gets the permissions which the umask leaves of the given ones. False,
/// with errno set, on failure.
[[nodiscard]] bool makeDirectory(const std::filesystem::path& path,
                                 std::filesystem::perms permissions) noexcept;

/// Take back what has just been created; failures are ignored, and no memory is needed.
void removeFile(const std::string& path) noexcept;
void removeEmptyDirectory(const std::string& path) noexcept;

}  // namespace vorn::common::internal
