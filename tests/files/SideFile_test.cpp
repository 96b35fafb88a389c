// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "files/devices.h"
#include "helpers/TempDir.h"
#include "helpers/TemporaryPlace.h"
#include "helpers/faults/calls.h"
#include "posix/SideFile.h"

namespace vorn::common::internal {
namespace {

using helpers::contentOf;
using helpers::TempDir;

constexpr std::filesystem::perms kPrivate{0600};

TEST(SideFile, IsRemovedUnlessRenamed) {
    const TempDir dir;
    {
        SideFile side(dir.file("a"));
        EXPECT_FALSE(std::filesystem::exists(dir.file("a.side~")));
        EXPECT_TRUE(side.write("text", kPrivate));
        EXPECT_EQ(contentOf(dir.file("a.side~")), "text");
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    {
        SideFile side(dir.file("a"));
        EXPECT_TRUE(side.write("text", kPrivate));
        EXPECT_TRUE(side.rename());
        dir.write("a.side~", "somebody else's by now");
    }
    EXPECT_EQ(contentOf(dir.file("a")), "text");
    EXPECT_TRUE(std::filesystem::exists(dir.file("a.side~")));
}

TEST(SideFile, ReplacesWhatAKilledProcessLeft) {
    const TempDir dir;
    const auto leftover = dir.write("a.side~", "a longer leftover");
    std::filesystem::permissions(leftover, std::filesystem::perms{0666});
    SideFile side(dir.file("a"));
    EXPECT_TRUE(side.write("text", kPrivate));
    EXPECT_TRUE(side.rename());
    EXPECT_EQ(contentOf(dir.file("a")), "text");
    EXPECT_EQ(std::filesystem::status(dir.file("a")).permissions(), kPrivate);
}

TEST(SideFile, DoesNotWriteThroughALinkThatSomebodyPlanted) {
    const TempDir dir;
    const auto victim = dir.write("victim", "precious");
    std::filesystem::create_symlink(victim, dir.file("a.side~"));
    SideFile side(dir.file("a"));
    EXPECT_TRUE(side.write("text", kPrivate));
    EXPECT_EQ(contentOf(victim), "precious");
}

TEST(SideFile, CannotBeWrittenWhereNothingCanBeCreated) {
    const TempDir dir;
    EXPECT_FALSE(SideFile(dir.file("no/a")).write("text", kPrivate));
    EXPECT_FALSE(SideFile(dir.path() / std::string(250, 'x')).write("text", kPrivate));
}

TEST(SideFile, CopiesRegularFilesOnly) {
    const TempDir dir;
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    for (const auto& source : {dir.path(), dir.path() / "fifo", dir.path() / "missing",
                               std::filesystem::path("/dev/null")}) {
        SideFile side(dir.file("a"));
        EXPECT_FALSE(side.copyFrom(source)) << source;
    }
}

TEST(SideFile, AnInPlaceCopyIsCutOff) {
    const TempDir dir;
    const auto target = dir.write("a", "a long former content");
    const auto source = dir.write("source", "short");
    faults::Calls calls;
    calls.fail(faults::Call::rename, EBUSY);
    SideFile side(target);
    ASSERT_TRUE(side.copyFrom(source));
    EXPECT_TRUE(side.replaceTarget());
    EXPECT_EQ(calls.count(faults::Call::rename), 1);
    EXPECT_EQ(contentOf(target), "short");
}

TEST(SideFile, AFileThatCannotBeLookedAtOrReadIsNotCopied) {
    const TempDir dir;
    const auto source = dir.write("source", "content");
    for (const auto call : {faults::Call::fstat, faults::Call::read}) {
        faults::Calls calls;
        calls.fail(call, EIO);
        SideFile side(dir.file("a"));
        EXPECT_FALSE(side.copyFrom(source)) << call;
    }
    EXPECT_EQ(contentOf(source), "content");
}

TEST(SideFile, ACopyCountsWithoutOwnerAndPermissions) {
    const TempDir dir;
    const auto source = dir.write("source", "content");
    faults::Calls calls;
    calls.fail(faults::Call::fstat, EIO, 2);
    SideFile side(dir.file("a"));
    EXPECT_TRUE(side.copyFrom(source));
    EXPECT_TRUE(side.rename());
    EXPECT_EQ(contentOf(dir.file("a")), "content");
    EXPECT_EQ(std::filesystem::status(dir.file("a")).permissions(), kPrivate);
}

TEST(SideFile, WhatIsMissingCannotBeReplacedInPlace) {
    const TempDir dir;
    faults::Calls calls;
    calls.fail(faults::Call::rename, EBUSY);
    SideFile side(dir.file("a"));
    ASSERT_TRUE(side.copyFrom(dir.write("source", "short")));
    EXPECT_FALSE(side.replaceTarget()) << "the target";
    EXPECT_FALSE(std::filesystem::exists(dir.file("a")));
    std::filesystem::remove(dir.file("a.side~"));
    dir.write("a", "content");
    EXPECT_FALSE(side.replaceTarget()) << "the side file";
    EXPECT_EQ(contentOf(dir.file("a")), "content");
}

TEST(SideFile, CopiesElsewhereWhereTheNameWouldBeTooLongAndLeavesNothingThere) {
    for (const bool renamed : {true, false}) {
        const TempDir dir;
        const TempDir elsewhere;
        const auto target = dir.write(std::string(250, 'x'), "a long former content");
        {
            const helpers::TemporaryPlace place(elsewhere.path());
            faults::Calls calls;
            if (!renamed) {
                calls.fail(faults::Call::rename, EXDEV);
            }
            SideFile side(target);
            EXPECT_TRUE(side.copyFrom(dir.write("source", "short")));
            EXPECT_EQ(elsewhere.entries(), 1U);
            EXPECT_TRUE(side.replaceTarget());
        }
        EXPECT_EQ(contentOf(target), "short");
        EXPECT_EQ(elsewhere.entries(), 0U);
    }
}

const files::Contents kBefore{{"target", "old"}, {"source", "a source"}};
const std::string kNew(20000, 'n');

std::vector<files::Operation> replacements() {
    using files::at;
    using files::Lack;
    const files::Result failed{"failed", {}, {}};
    const auto throws = [](const std::string& reason) {
        return files::Result{"Failed to create temporary file: " + reason, {}, {}};
    };
    return {
        {"write",
         files::attempt([] {
             SideFile side(at("target"));
             return side.write(kNew, kPrivate) && side.rename() ? "" : "failed";
         }),
         {"", {{"target", kNew}}, {}},
         {{Lack::Blocks, failed}, {Lack::Inodes, failed}, {Lack::Writing, failed}},
         {failed}},
        {"copyFrom",
         files::attempt([] {
             std::string outcome = "failed";
             const auto thrown = files::outcomeOf([&] {
                 SideFile side(at("target"));
                 outcome = side.copyFrom(at("source")) && side.replaceTarget() ? "" : "failed";
             });
             return thrown.empty() ? outcome : thrown;
         }),
         {"", {{"target", "a source"}}, {}},
         {{Lack::Blocks, failed},
          {Lack::Inodes, throws("No space left on device")},
          {Lack::Writing, throws("Read-only file system")}},
         {failed, throws("Too many open files")}},
    };
}

TEST(SideFile, WithoutRoomTheTargetStaysAndNothingIsLeft) {
    for (const auto lack : {files::Lack::Blocks, files::Lack::Inodes, files::Lack::AllInodesButOne,
                            files::Lack::Writing}) {
        files::expectWithout(lack, kBefore, kNew, replacements());
    }
}

TEST(SideFile, WithoutDescriptorsTheTargetStaysAndNothingIsLeft) {
    files::expectWithFewDescriptors(kBefore, kNew, replacements());
}

}  // namespace
}  // namespace vorn::common::internal
