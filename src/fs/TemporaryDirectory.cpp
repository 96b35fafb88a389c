#include "vorn/common/fs/TemporaryDirectory.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "posix/openFile.h"

namespace vorn::common::fs {
namespace {

// Made with the narrow permissions at once; the library's own creation tells the reason of a
// failure.
bool createDirectory(const std::filesystem::path& path, std::filesystem::perms perms) {
    return ::mkdir(path.c_str(), internal::modeBits(perms)) == 0 ||
           std::filesystem::create_directory(path);
}

}  // namespace

TemporaryDirectory::TemporaryDirectory(std::filesystem::perms perms) {
    std::string pattern = "/tmp/XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category());
    }
    path_ = std::move(pattern);
    try {
        setPermissions(perms);
    } catch (...) {
        removeQuietly();
        throw;
    }
}

TemporaryDirectory::TemporaryDirectory(std::string path, std::filesystem::perms perms)
    : path_(std::move(path)) {
    if (!createDirectory(path_, perms)) {
        throw std::filesystem::filesystem_error("Temporary directory already exist", path_,
                                                std::error_code(EEXIST, std::generic_category()));
    }
    try {
        setPermissions(perms);
    } catch (...) {
        removeQuietly();
        throw;
    }
}

TemporaryDirectory::TemporaryDirectory(TemporaryDirectory&& other) noexcept
    : path_(std::exchange(other.path_, {})) {}

TemporaryDirectory& TemporaryDirectory::operator=(TemporaryDirectory&& other) noexcept {
    if (this != &other) {
        removeQuietly();
        path_ = std::exchange(other.path_, {});
    }
    return *this;
}

TemporaryDirectory::~TemporaryDirectory() {
    removeQuietly();
}

std::string TemporaryDirectory::path() const {
    return path_.string();
}

TemporaryDirectory::operator bool() const noexcept {
    return !path_.empty();
}

bool TemporaryDirectory::checkIfExists() const {
    std::error_code ignored;
    return !path_.empty() && std::filesystem::exists(std::filesystem::status(path_, ignored));
}

std::filesystem::perms TemporaryDirectory::permissions() const {
    return std::filesystem::status(path_).permissions();
}

void TemporaryDirectory::setPermissions(const std::filesystem::perms& perms) {
    std::filesystem::permissions(path_, perms, std::filesystem::perm_options::replace);
}

bool TemporaryDirectory::removeIfExists() {
    if (!checkIfExists()) {
        return false;
    }
    std::filesystem::remove_all(path_);
    path_.clear();
    return true;
}

void TemporaryDirectory::release() noexcept {
    path_.clear();
}

void TemporaryDirectory::removeQuietly() noexcept {
    try {
        removeIfExists();
    } catch (...) {
    }
}

}  // namespace vorn::common::fs
