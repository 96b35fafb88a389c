// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/TempDir.h"
#include "helpers/faults/calls.h"
#include "posix/openFile.h"
#include "posix/transfer.h"
#include "posix/writeInPlace.h"

namespace vorn::common::internal {
namespace {

using std::ios_base;

// What is opened, and what not, as the standard library's own file streams do it.
TEST(OpenFile, EveryModeActsLikeTheStandardStreams) {
    for (unsigned bits = 0; bits < 64; ++bits) {
        auto mode = ios_base::openmode{};
        const ios_base::openmode all[] = {ios_base::in,    ios_base::out, ios_base::app,
                                          ios_base::trunc, ios_base::ate, ios_base::binary};
        for (unsigned i = 0; i < 6; ++i) {
            if ((bits >> i & 1U) != 0) {
                mode |= all[i];
            }
        }
        for (const bool exists : {true, false}) {
            const helpers::TempDir theirs;
            const helpers::TempDir ours;
            if (exists) {
                theirs.write("a", "0123456789");
                ours.write("a", "0123456789");
            }
            std::fstream expected;
            static_cast<void>(expected.rdbuf()->open(theirs.file("a"), mode));
            std::fstream actual;
            openStream(actual, ours.file("a"), mode);
            EXPECT_EQ(actual.is_open(), expected.is_open()) << bits;
            EXPECT_EQ(actual.good(), expected.is_open()) << bits;
            EXPECT_EQ(actual.tellg(), expected.tellg()) << bits;
            for (auto* stream : {&expected, &actual}) {
                *stream << "abc" << std::flush;
                stream->clear();
                stream->seekg(1);
                std::string word;
                *stream >> word;
                stream->clear();
                *stream << word << 'x';
                stream->close();
            }
            EXPECT_EQ(std::filesystem::exists(ours.file("a")),
                      std::filesystem::exists(theirs.file("a")))
                << bits;
            EXPECT_EQ(helpers::contentOf(ours.file("a")), helpers::contentOf(theirs.file("a")))
                << bits;
        }
    }
}

TEST(OpenFile, EveryModeIsCloseOnExec) {
    const ios_base::openmode modes[] = {ios_base::in,
                                        ios_base::out,
                                        ios_base::app,
                                        ios_base::in | ios_base::out,
                                        ios_base::in | ios_base::app,
                                        ios_base::out | ios_base::app,
                                        ios_base::out | ios_base::trunc,
                                        ios_base::in | ios_base::out | ios_base::app,
                                        ios_base::in | ios_base::out | ios_base::trunc};
    for (const auto mode : modes) {
        const auto flags = openFlags(mode);
        ASSERT_TRUE(flags) << mode;
        EXPECT_NE(*flags & O_CLOEXEC, 0) << mode;
    }
}

TEST(OpenFile, ANewFileHasItsPermissionsFromTheStart) {
    const helpers::TempDir dir;
    std::ofstream stream;
    openStream(stream, dir.file("a"), ios_base::out, std::filesystem::perms{0600});
    EXPECT_EQ(std::filesystem::status(dir.file("a")).permissions(), std::filesystem::perms{0600});
}

TEST(OpenFile, AModeOfNoFileEmptiesNone) {
    EXPECT_FALSE(emptiesFile(ios_base::trunc));
    EXPECT_TRUE(emptiesFile(ios_base::out));
    EXPECT_FALSE(emptiesFile(ios_base::app));
}

TEST(OpenFile, TellsWhatMayBeReplaced) {
    const helpers::TempDir dir;
    const auto file = dir.write("file", "");
    EXPECT_TRUE(isRegularOrMissing(file));
    EXPECT_TRUE(isRegularOrMissing(dir.file("missing")));
    EXPECT_TRUE(isRegularOrMissing(file + "/below"));
    EXPECT_FALSE(isRegularOrMissing(dir.path()));
    EXPECT_FALSE(isRegularOrMissing(dir.file(std::string(300, 'x')))) << "cannot be looked at";
}

TEST(OpenFile, AFileThatCannotBePositionedAtItsEndIsNotOpened) {
    const helpers::TempDir dir;
    const auto path = dir.write("a", "content");
    faults::Calls calls;
    calls.fail(faults::Call::lseek, EIO);
    std::fstream stream;
    openStream(stream, path, ios_base::in | ios_base::out | ios_base::ate);
    EXPECT_FALSE(stream.is_open());
    EXPECT_FALSE(writeInPlace(path, ios_base::in | ios_base::out | ios_base::ate,
                              std::filesystem::perms{0600}, "new"));
    EXPECT_EQ(helpers::contentOf(path), "content");
}

TEST(OpenFile, FailedStreamsSaySo) {
    std::ifstream stream;
    openStream(stream, "/no/such/file", ios_base::in);
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.is_open());
    EXPECT_FALSE(openFile("/no/such/file", O_RDONLY));
}

// Against the plain steps: the status first, then both seeks.
TEST(OpenFile, TheSizeIsWhatSeekingTells) {
    const auto plainly = [](int fd) -> std::int64_t {
        struct stat status {};
        if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
            return -1;
        }
        const auto size = ::lseek(fd, 0, SEEK_END);
        return ::lseek(fd, 0, SEEK_SET) == 0 ? size : -1;
    };
    const helpers::TempDir dir;
    // By itself, because the plain steps of a 32-bit test program cannot tell its size.
    const auto large = dir.write("large", "");
    std::filesystem::resize_file(large, std::uintmax_t{3} << 30);
    EXPECT_EQ(sizeBySeeking(openForReading(large).get()), std::int64_t{3} << 30);
    int pipes[2];
    ASSERT_EQ(::pipe(pipes), 0);
    std::vector<Descriptor> files;
    files.emplace_back(pipes[0]);
    files.emplace_back(pipes[1]);
    for (const auto& path :
         {dir.write("empty", ""), dir.write("one", "1"), dir.write("block", std::string(4096, 'x')),
          dir.write("megabyte", std::string(1 << 20, 'x')),
          dir.write("more", std::string((1 << 20) + 1, 'x')), std::string("/proc/self/stat"),
          std::string("/proc/cpuinfo"), std::string("/sys/kernel/mm/transparent_hugepage/enabled"),
          std::string("/dev/null"), std::string("/dev/zero")}) {
        files.push_back(openFile(path, O_RDONLY | O_CLOEXEC));
    }
    for (const auto& file : files) {
        EXPECT_EQ(sizeBySeeking(file.get()), plainly(file.get())) << file.get();
    }
    // A directory has no size, or one that its reading refutes.
    for (const auto& path : {std::string("/"), dir.path().string(), std::string("/proc"),
                             std::string("/dev"), std::string("/sys")}) {
        const auto file = openFile(path, O_RDONLY | O_CLOEXEC);
        ASSERT_TRUE(file);
        const auto size = sizeBySeeking(file.get());
        char byte = 0;
        EXPECT_TRUE(size == -1 || (size > 0 && readFully(file.get(), &byte, 1).error == EISDIR))
            << path << ' ' << size;
    }
}

TEST(OpenFile, ASizeThatCannotBeToldIsNone) {
    const helpers::TempDir dir;
    const auto path = dir.write("a", "content");
    const auto empty = openForReading(dir.write("empty", ""));
    const auto file = openForReading(path);
    faults::Calls calls;
    calls.fail(faults::Call::fstat, EIO);
    EXPECT_EQ(sizeBySeeking(empty.get()), -1);
    EXPECT_EQ(sizeBySeeking(file.get()), 7);
    faults::Calls seeks;
    seeks.fail(faults::Call::lseek, EIO, 2);
    EXPECT_EQ(sizeBySeeking(file.get()), -1);
}

TEST(OpenFile, StreamsWorkAfterMoving) {
    const helpers::TempDir dir;
    std::ofstream first;
    openStream(first, dir.file("a"), ios_base::out);
    first << "one,";
    std::ofstream second(std::move(first));
    second << "two";
    second.close();
    EXPECT_EQ(helpers::contentOf(dir.file("a")), "one,two");
}

}  // namespace
}  // namespace vorn::common::internal
