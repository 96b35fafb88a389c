// SPDX-License-Identifier: MIT
#include "posix/temporary.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "posix/errorText.h"
#include "posix/fileStatus.h"
#include "posix/openFile.h"

namespace vorn::common::internal {
namespace {

// What the C++ library returns, which does not know the directory for one where time_t has 32 bits
// and its times lie behind January 2038. Its errors stay.
std::filesystem::path temporaryPlace() {
    std::string place = "/tmp";
    for (const char* name : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        if (const char* value = ::secure_getenv(name)) {
            place = value;
            break;
        }
    }
    const auto status = statusOf(place);
    return status && status->isDirectory() ? std::filesystem::path(std::move(place))
                                           : std::filesystem::temp_directory_path();
}

std::string temporaryPattern(const std::string& prefix, const char* defaultPrefix) {
    const auto name = (prefix.empty() ? defaultPrefix : prefix) + "-XXXXXX";
    return (temporaryPlace() / name).string();
}

}  // namespace

NewFile temporaryFile(const std::string& prefix) {
    // Everything that needs memory comes first: no failure leaves a file that nobody knows of.
    NewFile created{temporaryPattern(prefix, "tempfile"), {}};
    created.file = Descriptor(::mkostemp(created.path.data(), O_CLOEXEC));
    if (!created.file) {
        throw std::runtime_error("Failed to create temporary file: " + errorText(errno));
    }
    return created;
}

std::string temporaryFolder(const std::string& prefix) {
    auto path = temporaryPattern(prefix, "tempfolder");
    if (::mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("Failed to create temporary directory: " + errorText(errno));
    }
    return path;
}

std::string folderBelowTmp() {
    std::string path = "/tmp/XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category());
    }
    return path;
}

bool makeDirectory(const std::filesystem::path& path, std::filesystem::perms permissions) noexcept {
    return ::mkdir(path.c_str(), modeBits(permissions)) == 0;
}

void removeFile(const std::string& path) noexcept {
    static_cast<void>(::unlink(path.c_str()));
}

void removeEmptyDirectory(const std::string& path) noexcept {
    static_cast<void>(::rmdir(path.c_str()));
}

}  // namespace vorn::common::internal
