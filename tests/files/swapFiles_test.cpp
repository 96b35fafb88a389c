// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/fs/tools.h>

#include "files/changes.h"
#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs::tools {
namespace {

using faults::Call;
using helpers::contentOf;
using helpers::modeOf;
using helpers::TempDir;

ino_t inodeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_ino;
}

/// A directory on another file system than the temporary directory, or empty.
std::string otherFileSystem() {
    struct stat here {};
    struct stat there {};
    const auto temporary = std::filesystem::temp_directory_path();
    if (::stat("/dev/shm", &there) != 0 || ::access("/dev/shm", W_OK) != 0 ||
        ::stat(temporary.c_str(), &here) != 0 || here.st_dev == there.st_dev) {
        return {};
    }
    std::string pattern = "/dev/shm/vorn-test-XXXXXX";
    return ::mkdtemp(pattern.data()) == nullptr ? std::string() : pattern;
}

TEST(SwapFiles, ExchangesTheNames) {
    const TempDir dir;
    const auto a = dir.write("a with space\n", "content of a");
    const auto b = dir.write("b", "content of b");
    const auto inodeOfA = inodeOf(a);
    swapFiles(a, b);
    EXPECT_EQ(contentOf(a), "content of b");
    EXPECT_EQ(contentOf(b), "content of a");
    EXPECT_EQ(inodeOf(b), inodeOfA) << "exchanged, not copied";
    EXPECT_EQ(dir.entries(), 2U);
}

TEST(SwapFiles, CreatesAMissingNewFile) {
    for (const int error : {0, EINVAL}) {
        const TempDir dir;
        faults::Calls calls;
        calls.fail(Call::renameat2, error);
        const auto a = dir.write("a", "content");
        swapFiles(a, dir.file("b"));
        EXPECT_EQ(contentOf(dir.file("b")), "content");
        EXPECT_TRUE(std::filesystem::exists(a));
        EXPECT_EQ(contentOf(a), "");
    }
}

TEST(SwapFiles, CopiesBetweenFileSystems) {
    const auto other = otherFileSystem();
    if (other.empty()) {
        GTEST_SKIP() << "/dev/shm is no other file system than the temporary directory";
    }
    const TempDir dir;
    const auto a = dir.write("a", "content of a");
    const auto b = other + "/b";
    createFile(b, "content of b");
    std::filesystem::permissions(a, std::filesystem::perms{0640});
    std::filesystem::permissions(b, std::filesystem::perms{0604});
    swapFiles(a, b);
    EXPECT_EQ(contentOf(a), "content of b");
    EXPECT_EQ(contentOf(b), "content of a");
    EXPECT_EQ(modeOf(a), 0604U) << "permissions go with the content";
    EXPECT_EQ(modeOf(b), 0640U);
    EXPECT_EQ(dir.entries(), 1U) << "no side file is left";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(other), {}), 1);
    std::filesystem::remove_all(other);
}

TEST(SwapFiles, FallsBackForEveryReason) {
    for (const int error : {EINVAL, ENOSYS, EXDEV, EPERM, EBUSY}) {
        const TempDir dir;
        faults::Calls calls;
        calls.fail(Call::renameat2, error);
        const auto a = dir.write("a", "content of a");
        const auto b = dir.write("b", std::string(100000, 'b'));
        swapFiles(a, b);
        EXPECT_EQ(contentOf(a), std::string(100000, 'b'));
        EXPECT_EQ(contentOf(b), "content of a");
        EXPECT_EQ(dir.entries(), 2U);
        EXPECT_EQ(calls.count(Call::renameat2), 1);
    }
}

TEST(SwapFiles, CopiesInPlaceWhereNothingCanBeRenamed) {
    const TempDir dir;
    faults::Calls calls;
    calls.fail(Call::renameat2, EINVAL);
    calls.fail(Call::rename, EBUSY);
    const auto a = dir.write("a", "content of a");
    const auto b = dir.write("b", std::string(100000, 'b'));
    const auto inodeOfA = inodeOf(a);
    swapFiles(a, b);
    EXPECT_EQ(contentOf(a), std::string(100000, 'b'));
    EXPECT_EQ(contentOf(b), "content of a") << "cut off";
    EXPECT_EQ(inodeOf(a), inodeOfA);
    EXPECT_EQ(dir.entries(), 2U);
}

TEST(SwapFiles, OwnersAndModesGoWithTheContent) {
    VORN_REQUIRE_ROOT();
    for (const int renameError : {0, EBUSY}) {
        const TempDir dir;
        const auto a = dir.write("a", "content of a");
        const auto b = dir.write("b", "content of b");
        ASSERT_EQ(::chown(a.c_str(), 1001, 2001), 0);
        ASSERT_EQ(::chown(b.c_str(), 1002, 2002), 0);
        std::filesystem::permissions(a, std::filesystem::perms{04750});
        std::filesystem::permissions(b, std::filesystem::perms{0604});
        faults::Calls calls;
        calls.fail(Call::renameat2, EINVAL);
        if (renameError != 0) {
            calls.fail(Call::rename, renameError);
        }
        swapFiles(a, b);
        struct stat status {};
        ASSERT_EQ(::stat(a.c_str(), &status), 0);
        EXPECT_EQ(contentOf(a), "content of b");
        EXPECT_EQ(status.st_uid, 1002U) << renameError;
        EXPECT_EQ(status.st_gid, 2002U) << renameError;
        EXPECT_EQ(modeOf(a), 0604U) << renameError;
        ASSERT_EQ(::stat(b.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, 1001U) << renameError;
        EXPECT_EQ(status.st_gid, 2001U) << renameError;
        EXPECT_EQ(modeOf(b), 04750U) << renameError;
    }
}

TEST(SwapFiles, WhenTheFirstReplacementFailsTheSecondIsLeftOut) {
    const TempDir dir;
    const auto a = dir.write("a", "content of a");
    const auto b = dir.write("b", "content of b");
    faults::Calls calls;
    calls.fail(Call::renameat2, EINVAL).fail(Call::rename, EBUSY, 1);
    // Two copies succeed; the third would be the one in place.
    calls.fail(Call::ftruncate, EIO, 3);
    swapFiles(a, b);
    EXPECT_EQ(calls.count(Call::rename), 1);
    EXPECT_EQ(contentOf(a), "content of a") << "the only place that is sure to hold it";
    EXPECT_EQ(dir.entries(), 2U);
}

TEST(SwapFiles, CopiesInPlaceInADirectoryThatRefusesNewFiles) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    const auto folder = dir.file("folder");
    std::filesystem::create_directory(folder);
    const auto a = dir.write("folder/a", "content of a");
    const auto b = dir.write("folder/b", "content of b");
    for (const auto& file : {a, b}) {
        std::filesystem::permissions(file, std::filesystem::perms{0666});
    }
    std::filesystem::permissions(dir.path(), std::filesystem::perms{0755});
    std::filesystem::permissions(folder, std::filesystem::perms{0555});
    const auto result = helpers::runInChild([&](const auto&) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            return 1;
        }
        swapFiles(a, b);
        return 0;
    });
    EXPECT_EQ(result.exitCode, 0) << result.report;
    EXPECT_EQ(contentOf(a), "content of b");
    EXPECT_EQ(contentOf(b), "content of a");
}

TEST(SwapFiles, FollowsLinksWhenItCopies) {
    const TempDir dir;
    faults::Calls calls;
    calls.fail(Call::renameat2, EINVAL);
    const auto a = dir.write("a", "content of a");
    const auto b = dir.write("b", "content of b");
    std::filesystem::create_symlink("a", dir.file("link"));
    swapFiles(dir.file("link"), b);
    EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link")));
    EXPECT_EQ(contentOf(a), "content of b");
    EXPECT_EQ(contentOf(b), "content of a");
}

TEST(SwapFiles, DeliberatelyReportsNothing) {
    const TempDir dir;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const auto b = dir.write("b", "content of b");
    EXPECT_NO_THROW(swapFiles(dir.file("missing"), b));
    EXPECT_NO_THROW(swapFiles(dir.file("no/parent"), dir.file("nor/here")));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(contentOf(b), "content of b") << "a failed copy stops the ones after it";
    EXPECT_FALSE(std::filesystem::exists(dir.file("missing")));
    EXPECT_NO_THROW(swapFiles(dir.file("missing"), dir.file("fresh")));
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("fresh"))) << "created before the exchange";
    EXPECT_FALSE(std::filesystem::exists(dir.file("missing")));
}

TEST(SwapFiles, AFailedCopyOverwritesNothing) {
    const TempDir dir;
    const auto a = dir.write("a", "content of a");
    std::filesystem::create_directory(dir.file("folder"));
    faults::Calls calls;
    calls.fail(Call::renameat2, EINVAL);
    swapFiles(a, dir.file("folder"));
    swapFiles(dir.file("folder"), a);
    EXPECT_EQ(contentOf(a), "content of a");
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("folder")));
    calls.fail(Call::fdatasync, EIO);
    const auto b = dir.write("b", "content of b");
    swapFiles(a, b);
    EXPECT_EQ(contentOf(a), "content of a");
    EXPECT_EQ(contentOf(b), "content of b");
    EXPECT_EQ(dir.entries(), 3U);
}

TEST(SwapFiles, ReplacesANeighbourOfASimilarName) {
    for (const int error : {0, EINVAL}) {
        const TempDir dir;
        faults::Calls calls;
        calls.fail(Call::renameat2, error);
        for (const auto* suffix : {".new", ".tmp", ".bak", "~", ".side"}) {
            const auto a = dir.write("a", "content of a");
            const auto b = dir.write(std::string("a") + suffix, "content of b");
            swapFiles(b, a);
            EXPECT_EQ(contentOf(a), "content of b") << suffix;
            EXPECT_EQ(contentOf(b), "content of a") << suffix;
        }
    }
}

// Against the plain steps: look whether the new file is there, create it when it is not, exchange.
TEST(SwapFiles, DoesWhatThePlainStepsDo) {
    const auto plainly = [](const std::string& oldFile, const std::string& newFile) {
        struct stat status {};
        if (::stat(newFile.c_str(), &status) != 0) {
            std::ofstream{newFile};
        }
        return ::renameat2(AT_FDCWD, oldFile.c_str(), AT_FDCWD, newFile.c_str(), RENAME_EXCHANGE) ==
               0;
    };
    const auto contents = [](const TempDir& dir) {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path())) {
            found[entry.path().lexically_relative(dir.path())] =
                entry.is_symlink()        ? "-> " + std::filesystem::read_symlink(entry).string()
                : entry.is_regular_file() ? contentOf(entry.path())
                                          : "directory";
        }
        return found;
    };
    const char* const names[] = {"file", "other", "missing", "absent",     "directory",
                                 "link", "",      "no/file", "file/below", "directory/file"};
    for (const std::string oldName : names) {
        for (const std::string newName : names) {
            const TempDir ours;
            const TempDir theirs;
            for (const auto* dir : {&ours, &theirs}) {
                std::filesystem::create_directory(dir->file("directory"));
                std::filesystem::create_symlink("other", dir->file("link"));
                dir->write("file", "content of the file");
                dir->write("other", "content of the other");
                dir->write("directory/file", "content below");
            }
            if (!plainly(theirs.file(oldName), theirs.file(newName))) {
                continue;  // copied, which other tests look at
            }
            swapFiles(ours.file(oldName), ours.file(newName));
            EXPECT_EQ(contents(ours), contents(theirs)) << oldName << ", " << newName;
        }
    }
}

TEST(SwapFiles, WhatALinkToNothingNamesIsCreatedFirst) {
    const TempDir dir;
    const auto a = dir.write("a", "content of a");
    std::filesystem::create_symlink("nowhere", dir.file("b"));
    swapFiles(a, dir.file("b"));
    EXPECT_EQ(contentOf(dir.file("b")), "content of a");
    EXPECT_EQ(std::filesystem::read_symlink(a), "nowhere");
    EXPECT_TRUE(std::filesystem::is_regular_file(dir.file("nowhere")));
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("nowhere")));
}

TEST(SwapFiles, AnExchangeThatSucceedsOpensNothing) {
    const TempDir dir;
    const auto a = dir.write("a", "content of a");
    const auto b = dir.write("b", "content of b");
    const faults::Calls calls;
    swapFiles(a, b);
    EXPECT_EQ(calls.count(Call::renameat2), 1);
    EXPECT_EQ(calls.count(Call::open), 0);
    EXPECT_EQ(calls.count(Call::close), 0);
}

// Whatever call a kill comes before, each name holds one of the two contents as a whole.
TEST(SwapFiles, AKillLeavesWholeFiles) {
    int deaths = 0;
    for (int call = 1;; ++call) {
        const TempDir dir;
        const std::string contentA(20000, 'a');
        const std::string contentB(30000, 'b');
        const auto a = dir.write("a", contentA);
        const auto b = dir.write("b", contentB);
        const auto result = helpers::runInChild([&](const auto&) {
            faults::Calls calls;
            calls.fail(Call::renameat2, EINVAL);
            files::killBeforeChange(calls, call);
            swapFiles(a, b);
            return 0;
        });
        for (const auto& path : {a, b}) {
            EXPECT_TRUE(contentOf(path) == contentA || contentOf(path) == contentB) << call;
        }
        EXPECT_TRUE(contentOf(a) == contentA || contentOf(b) == contentA) << call;
        if (result.signal != SIGKILL) {
            EXPECT_EQ(result.exitCode, 0) << result.report;
            break;
        }
        ++deaths;
    }
    EXPECT_GE(deaths, 4);
}

}  // namespace
}  // namespace vorn::common::fs::tools
