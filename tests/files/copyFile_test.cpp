// SPDX-License-Identifier: MIT

// The way for files whose times the C++ library cannot read (laterTimes_test.cpp has those).
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "helpers/TempDir.h"
#include "helpers/faults/calls.h"
#include "posix/copyFile.h"

namespace vorn::common::internal {
namespace {

using faults::Call;
using helpers::contentOf;
using helpers::modeOf;
using helpers::TempDir;

TEST(CopyRegularFile, CopiesContentAndPermissions) {
    const TempDir dir;
    const std::string content(200'000, 'x');
    const auto from = dir.write("from", content);
    std::filesystem::permissions(from, std::filesystem::perms(0604));
    EXPECT_TRUE(copyRegularFile(from, dir.file("new")));
    EXPECT_EQ(contentOf(dir.file("new")), content);
    EXPECT_EQ(modeOf(dir.file("new")), 0604U);
    const auto old = dir.write("old", content + "longer");
    EXPECT_TRUE(copyRegularFile(from, old));
    EXPECT_EQ(contentOf(old), content);
    EXPECT_EQ(modeOf(old), 0604U);
}

TEST(CopyRegularFile, IsForNobodyElseBeforeItHasItsPermissions) {
    const TempDir dir;
    const auto from = dir.write("from", "secret");
    faults::Calls calls;
    calls.fail(Call::fchmod, EPERM);
    EXPECT_FALSE(copyRegularFile(from, dir.file("to")));
    EXPECT_EQ(modeOf(dir.file("to")), 0200U);
    EXPECT_EQ(contentOf(dir.file("to")), "");
}

TEST(CopyRegularFile, RefusesWhatCannotBeCopied) {
    const TempDir dir;
    const auto file = dir.write("file", "text");
    const auto pipe = dir.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink(file, dir.file("link"));
    EXPECT_FALSE(copyRegularFile(dir.file("missing"), dir.file("to")));
    EXPECT_FALSE(copyRegularFile(dir.path(), dir.file("to")));
    EXPECT_FALSE(copyRegularFile(pipe, dir.file("to")));
    EXPECT_FALSE(std::filesystem::exists(dir.file("to")));
    EXPECT_FALSE(copyRegularFile(file, dir.path()));
    EXPECT_FALSE(copyRegularFile(file, pipe));
    EXPECT_FALSE(copyRegularFile(file, file));
    EXPECT_FALSE(copyRegularFile(file, dir.file("link")));
    EXPECT_FALSE(copyRegularFile(file, dir.file("missing/to")));
    EXPECT_EQ(contentOf(file), "text");
}

TEST(CopyRegularFile, TellsOfFailures) {
    const TempDir dir;
    const auto from = dir.write("from", "text");
    for (const auto failing : {Call::open, Call::read, Call::write}) {
        faults::Calls calls;
        calls.fail(failing, EIO);
        EXPECT_FALSE(copyRegularFile(from, dir.file("to"))) << static_cast<int>(failing);
    }
    EXPECT_TRUE(copyRegularFile(from, dir.file("to")));
    EXPECT_EQ(contentOf(from), "text");
}

}  // namespace
}  // namespace vorn::common::internal
