// SPDX-License-Identifier: MIT
#include "vorn/common/fs/TemporaryDirectory.h"

#include <system_error>
#include <utility>

#include "posix/fileStatus.h"
#include "posix/temporary.h"

namespace vorn::common::fs {
namespace {

// Made with the narrow permissions at once; the library's own creation tells the reason of a
// failure.
bool createDirectory(const std::filesystem::path& path, std::filesystem::perms perms) {
    if (internal::makeDirectory(path, perms)) {
        return true;
    }
    const auto there = internal::statusOf(path.native());
    return !(there && there->isDirectory()) && std::filesystem::create_directory(path);
}

}  // namespace

TemporaryDirectory::TemporaryDirectory(std::filesystem::perms perms) {
    const auto created = internal::folderBelowTmp();
    try {
        path_ = created;
        setPermissions(perms);
    } catch (...) {
        internal::removeEmptyDirectory(created);
        throw;
    }
}

// Not delegating: the destructor that a delegating constructor's exception runs would remove a
// directory that was there before.
TemporaryDirectory::TemporaryDirectory(std::string path, std::filesystem::perms perms)
    : path_(std::move(path)) {
    if (!createDirectory(path_, perms)) {
        throw std::filesystem::filesystem_error("Temporary directory already exist", path_,
                                                std::make_error_code(std::errc::file_exists));
    }
    try {
        // Again, because the umask has had its share.
        setPermissions(perms);
    } catch (...) {
        internal::removeEmptyDirectory(path_.native());
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
    // What cannot be looked at counts as missing: the destructor asks, and must not throw.
    std::error_code ignored;
    return !path_.empty() && std::filesystem::exists(std::filesystem::status(path_, ignored));
}

std::filesystem::perms TemporaryDirectory::permissions() const {
    if (const auto status = internal::statusOf(path_.native())) {
        return std::filesystem::perms(status->mode) & std::filesystem::perms::mask;
    }
    return std::filesystem::status(path_).permissions();
}

void TemporaryDirectory::setPermissions(const std::filesystem::perms& perms) {
    std::filesystem::permissions(path_, perms, std::filesystem::perm_options::replace);
}

bool TemporaryDirectory::removeIfExists() {
    if (!checkIfExists()) {
        return false;
    }
    // Cleared only afterwards: after a failure the caller can try again.
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
