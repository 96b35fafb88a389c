// SPDX-License-Identifier: MIT
#include "vorn/common/fs/TemporaryFile.h"

#include <system_error>
#include <utility>

#include "posix/temporary.h"

namespace vorn::common::fs {

TemporaryFile::TemporaryFile() {
    const auto created = internal::temporaryFile("");
    try {
        TemporaryFile::setPath(created.path, true);
    } catch (...) {
        // No destructor runs for an object that was never complete.
        internal::removeFile(created.path);
        throw;
    }
}

TemporaryFile::TemporaryFile(std::string path, bool mustExist) {
    TemporaryFile::setPath(std::move(path), mustExist);
}

// A path that was moved from may keep its text; an exchange leaves it empty, which means "owns
// nothing".
TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : path_(std::exchange(other.path_, {})) {}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept {
    if (this != &other) {
        // Removes the former file when it goes, with the destructor's indifference to failures.
        const TemporaryFile former(std::move(*this));
        path_.swap(other.path_);
    }
    return *this;
}

TemporaryFile::~TemporaryFile() {
    try {
        removeIfExists();
    } catch (...) {
    }
}

void TemporaryFile::setPath(std::string path, bool mustExist) {
    // First the former file: when that throws, nothing has changed.
    removeIfExists();
    path_ = std::move(path);
    if (mustExist && !checkIfExists()) {
        throw std::filesystem::filesystem_error(
            "Temporary file does not exists", path_,
            std::make_error_code(std::errc::no_such_file_or_directory));
    }
}

std::string TemporaryFile::getPath() const {
    return path_.string();
}

bool TemporaryFile::checkIfExists() const {
    std::error_code ignored;
    return !path_.empty() && std::filesystem::exists(std::filesystem::status(path_, ignored));
}

bool TemporaryFile::removeIfExists() {
    if (!checkIfExists()) {
        return false;
    }
    std::filesystem::remove(path_);
    path_.clear();
    return true;
}

void TemporaryFile::release() noexcept {
    path_.clear();
}

}  // namespace vorn::common::fs
