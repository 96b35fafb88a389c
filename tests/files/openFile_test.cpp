#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>

#include <gtest/gtest.h>

#include "helpers/TempDir.h"
#include "posix/openFile.h"

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

TEST(OpenFile, ANewFileHasItsPermissionsFromTheStart) {
    const helpers::TempDir dir;
    std::ofstream stream;
    openStream(stream, dir.file("a"), ios_base::out, std::filesystem::perms{0600});
    EXPECT_EQ(std::filesystem::status(dir.file("a")).permissions(), std::filesystem::perms{0600});
}

TEST(OpenFile, FailedStreamsSaySo) {
    std::ifstream stream;
    openStream(stream, "/no/such/file", ios_base::in);
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.is_open());
    EXPECT_FALSE(openFile("/no/such/file", O_RDONLY));
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
