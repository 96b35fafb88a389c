// SPDX-License-Identifier: MIT
#include "posix/exchangeFiles.h"

#include <fcntl.h>
#include <stdio.h>

#include <filesystem>
#include <system_error>

#include "posix/SideFile.h"
#include "posix/fileStatus.h"
#include "posix/openFile.h"

namespace vorn::common::internal {
namespace {

// A rename onto a link would replace the link; a copy is meant for the file behind it.
std::string withoutLinks(const std::string& path) {
    std::error_code error;
    const auto resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

void exchangeByCopying(const std::string& oldFile, const std::string& newFile, ReplaceFirst first) {
    const auto oldTarget = withoutLinks(oldFile);
    const auto newTarget = withoutLinks(newFile);
    SideFile asNew(newTarget);
    SideFile asOld(oldTarget);
    // Both copies are complete before the first file is replaced: no failure costs a content.
    if (!asNew.copyFrom(oldTarget) || !asOld.copyFrom(newTarget)) {
        return;
    }
    auto& before = first == ReplaceFirst::NewFile ? asNew : asOld;
    auto& after = first == ReplaceFirst::NewFile ? asOld : asNew;
    if (before.replaceTarget()) {
        static_cast<void>(after.replaceTarget());
    }
}

bool exchangeNames(const std::string& oldFile, const std::string& newFile) noexcept {
    return ::renameat2(AT_FDCWD, oldFile.c_str(), AT_FDCWD, newFile.c_str(), RENAME_EXCHANGE) == 0;
}

// Through a link too, whose target is then created: an exchange alone would leave it missing.
void createIfMissing(const std::string& path) noexcept {
    if (!statusOf(path)) {
        static_cast<void>(openOrCreate(path));
    }
}

}  // namespace

void exchangeFiles(const std::string& oldFile, const std::string& newFile, ReplaceFirst first) {
    createIfMissing(newFile);
    if (!exchangeNames(oldFile, newFile)) {
        exchangeByCopying(oldFile, newFile, first);
    }
}

}  // namespace vorn::common::internal
