#include "posix/SideFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <utility>
#include <vector>

#include <vorn/common/fs/tools.h>

#include "posix/durable.h"
#include "posix/openFile.h"
#include "posix/retry.h"
#include "posix/transfer.h"

namespace vorn::common::internal {
namespace {

Descriptor openRegularFile(const std::filesystem::path& path, int access) {
    auto file = openFile(path.native(), access | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (file && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        file.reset();
    }
    return file;
}

// As far as it is allowed and the file system knows them; a copy of the content counts without
// them.
void copyOwnerAndPermissions(int from, int to) {
    struct stat status {};
    if (::fstat(from, &status) == 0) {
        static_cast<void>(::fchown(to, status.st_uid, status.st_gid) == 0);
        static_cast<void>(::fchmod(to, status.st_mode & 07777) == 0);
    }
}

// Overwrites what `to` holds, and cuts it off behind.
bool copyContent(int from, int to) {
    std::vector<char> block(64 * 1024);
    off_t size = 0;
    for (;;) {
        const auto count = retryOnEintr([&] { return ::read(from, block.data(), block.size()); });
        if (count < 0 || !writeAll(to, {block.data(), static_cast<std::size_t>(count)})) {
            return false;
        }
        if (count == 0) {
            return ::ftruncate(to, size) == 0 && syncContent(to);
        }
        size += count;
    }
}

}  // namespace

SideFile::SideFile(std::filesystem::path target) : target_(std::move(target)), path_(target_) {
    path_ += ".side~";
}

SideFile::~SideFile() {
    if (exists_) {
        ::unlink(path_.c_str());
    }
}

bool SideFile::create(std::filesystem::perms permissions) noexcept {
    ::unlink(path_.c_str());
    file_ = openFile(path_.native(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    exists_ = static_cast<bool>(file_);
    return exists_;
}

bool SideFile::write(std::string_view text, std::filesystem::perms permissions) noexcept {
    return create(permissions) && ::fchmod(file_.get(), modeBits(permissions)) == 0 &&
           writeAll(file_.get(), text) && syncContent(file_.get());
}

bool SideFile::copyFrom(const std::filesystem::path& source) {
    const auto from = openRegularFile(source, O_RDONLY);
    if (!from) {
        return false;
    }
    if (!create(std::filesystem::perms(0600))) {
        path_ = fs::tools::createTemporaryFile("");
        exists_ = true;
        file_ = openFile(path_.native(), O_WRONLY | O_CLOEXEC);
    }
    copyOwnerAndPermissions(from.get(), file_.get());
    return copyContent(from.get(), file_.get());
}

bool SideFile::rename() noexcept {
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
    const auto from = openRegularFile(path_, O_RDONLY);
    const auto to = openRegularFile(target_, O_WRONLY);
    if (!from || !to || !copyContent(from.get(), to.get())) {
        return false;
    }
    copyOwnerAndPermissions(from.get(), to.get());
    return true;
}

}  // namespace vorn::common::internal
