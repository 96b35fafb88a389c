// SPDX-License-Identifier: MIT
#include "posix/SideFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "posix/copyFile.h"
#include "posix/durable.h"
#include "posix/fileStatus.h"
#include "posix/openFile.h"
#include "posix/temporary.h"
#include "posix/transfer.h"

namespace vorn::common::internal {
namespace {

Descriptor openRegularFile(const std::string& path, int access) noexcept {
    // O_NONBLOCK: opening a pipe that somebody put there must not wait for its other end.
    auto file = openFile(path, access | O_CLOEXEC | O_NONBLOCK);
    if (file) {
        const auto status = statusOf(file.get());
        if (!status || !status->isRegular()) {
            file.reset();
        }
    }
    return file;
}

// As far as it is allowed and the file system knows them; a copy of the content counts without
// them.
void copyOwnerAndPermissions(int from, int to) {
    if (const auto status = statusOf(from)) {
        static_cast<void>(::fchown(to, status->user, status->group) == 0);
        static_cast<void>(::fchmod(to, status->mode & 07777) == 0);
    }
}

// Overwrites what `to` holds, and cuts it off behind.
bool copyContent(int from, int to) {
    const auto size = copyRest(from, to);
    return size && ::ftruncate(to, *size) == 0 && syncContent(to);
}

}  // namespace

SideFile::SideFile(std::string target) : target_(std::move(target)), path_(target_ + ".side~") {}

SideFile::~SideFile() {
    if (exists_) {
        removeFile(path_);
    }
}

bool SideFile::create(std::filesystem::perms permissions) noexcept {
    constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    file_ = openFile(path_, kNew, permissions);
    if (!file_ && errno == EEXIST) {
        // What a killed process left goes away, a link that somebody planted with it: O_EXCL
        // follows none.
        removeFile(path_);
        file_ = openFile(path_, kNew, permissions);
    }
    exists_ = static_cast<bool>(file_);
    return exists_;
}

bool SideFile::write(std::string_view text, std::filesystem::perms permissions) noexcept {
    return create(permissions) && setPermissions(file_.get(), permissions) &&
           writeAll(file_.get(), text) && syncContent(file_.get());
}

bool SideFile::copyFrom(const std::string& source) {
    const auto from = openRegularFile(source, O_RDONLY);
    if (!from) {
        return false;
    }
    // Private until the owner is the source's: a wider mode would let others of our own group in.
    if (!create(std::filesystem::perms(0600))) {
        auto elsewhere = temporaryFile("");
        path_.swap(elsewhere.path);
        file_ = std::move(elsewhere.file);
        exists_ = true;
    }
    copyOwnerAndPermissions(from.get(), file_.get());
    return copyContent(from.get(), file_.get());
}

bool SideFile::rename() noexcept {
    // std::rename and no copy behind it: in one step, or not at all.
    if (std::rename(path_.c_str(), target_.c_str()) != 0) {
        return false;
    }
    exists_ = false;
    return true;
}

bool SideFile::replaceTarget() {
    if (rename()) {
        return true;
    }
    // Another file system, or a directory that refuses changes: what is left is to overwrite.
    const auto from = openRegularFile(path_, O_RDONLY);
    const auto to = openRegularFile(target_, O_WRONLY);
    if (!from || !to || !copyContent(from.get(), to.get())) {
        return false;
    }
    copyOwnerAndPermissions(from.get(), to.get());
    return true;
}

}  // namespace vorn::common::internal
