// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/fs/tools.h>

#include "helpers/TempDir.h"
#include "helpers/TemporaryPlace.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs::tools {
namespace {

using faults::Call;
using helpers::contentOf;
using helpers::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(CopyFile, CopiesAndOverwrites) {
    const TempDir dir;
    const auto from = dir.write("a", "new content");
    const auto to = dir.write("b", "something older and longer");
    EXPECT_TRUE(copyFile(from, to));
    EXPECT_EQ(contentOf(to), "new content");
    EXPECT_TRUE(copyFile(from, dir.file("fresh")));
    EXPECT_EQ(contentOf(dir.file("fresh")), "new content");
    EXPECT_EQ(contentOf(from), "new content");
}

TEST(CopyFile, ReportsEveryFailureByFalse) {
    const TempDir dir;
    const auto file = dir.write("a", "x");
    EXPECT_FALSE(copyFile(dir.file("missing"), dir.file("b")));
    EXPECT_FALSE(copyFile(file, dir.file("no/such/parent")));
    EXPECT_FALSE(copyFile(dir.path().string(), dir.file("b")));
    EXPECT_FALSE(copyFile(file, dir.path().string()));
    EXPECT_FALSE(copyFile(file, file));
    EXPECT_FALSE(copyFile("", file));
    EXPECT_EQ(contentOf(file), "x");
}

TEST(DeleteFile, TellsWhetherItRemoved) {
    const TempDir dir;
    const auto file = dir.write("name with\nnew line", "x");
    EXPECT_TRUE(deleteFile(file));
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_FALSE(deleteFile(file));
    dir.write("used", "");
    EXPECT_FALSE(deleteFile(dir.path().string())) << "a directory that is not empty";
    EXPECT_FALSE(deleteFile(dir.file("used/below")));
}

TEST(RemoveFolder, RemovesAllBelow) {
    const TempDir dir;
    std::filesystem::create_directories(dir.file("top/middle/low"));
    dir.write("top/middle/file", "x");
    removeFolder(dir.file("top"));
    EXPECT_FALSE(std::filesystem::exists(dir.file("top")));
    EXPECT_NO_THROW(removeFolder(dir.file("top")));
}

TEST(RemoveFolder, ThrowsOnFailure) {
    EXPECT_THROW(removeFolder("/proc/self"), std::filesystem::filesystem_error);
}

TEST(CreateFile, ReturnsTheOpenStream) {
    const TempDir dir;
    const auto path = dir.write("a", "what was there before");
    auto stream = createFile(path, "one,");
    ASSERT_TRUE(stream.is_open());
    stream << "two";
    stream.close();
    EXPECT_EQ(contentOf(path), "one,two");
}

TEST(CreateFile, ShowsAFailureInTheStream) {
    const TempDir dir;
    auto stream = createFile(dir.file("no/parent"), "x");
    EXPECT_FALSE(stream.is_open());
    EXPECT_TRUE(stream.fail());
}

TEST(CreateFile, DescriptorIsCloseOnExec) {
    const TempDir dir;
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    const auto stream = createFile(dir.file("a"), "x");
    EXPECT_EQ(::fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(CreateTemporary, NamesAndPermissions) {
    const TempDir dir;
    const helpers::TemporaryPlace place(dir.path());
    const auto base = std::filesystem::temp_directory_path().string() + "/";
    struct Row {
        std::string prefix;
        bool folder;
        std::string expected;
        unsigned mode;
    };
    for (const auto& row :
         {Row{"", false, "tempfile-", S_IFREG | 0600},
          Row{"my prefix", false, "my prefix-", S_IFREG | 0600},
          Row{"", true, "tempfolder-", S_IFDIR | 0700}, Row{"dir", true, "dir-", S_IFDIR | 0700}}) {
        const auto path =
            row.folder ? createTemporaryFolder(row.prefix) : createTemporaryFile(row.prefix);
        EXPECT_EQ(path.substr(0, base.size() + row.expected.size()), base + row.expected);
        EXPECT_EQ(path.size(), base.size() + row.expected.size() + 6);
        EXPECT_NE(path.substr(path.size() - 6), "XXXXXX");
        struct stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, row.mode);
        EXPECT_NE(path,
                  row.folder ? createTemporaryFolder(row.prefix) : createTemporaryFile(row.prefix));
    }
}

TEST(CreateTemporary, HonoursTmpdir) {
    const TempDir dir;
    const helpers::TemporaryPlace place(dir.path());
    EXPECT_EQ(std::filesystem::path(createTemporaryFile("")).parent_path(), dir.path());
    EXPECT_EQ(std::filesystem::path(createTemporaryFolder("")).parent_path(), dir.path());
}

TEST(CreateTemporary, TmpdirThatIsNoDirectory) {
    const TempDir dir;
    for (const auto& path : {dir.file("missing"), dir.write("a file", "")}) {
        const helpers::TemporaryPlace place(path);
        EXPECT_THROW(createTemporaryFile(""), std::filesystem::filesystem_error) << path;
        EXPECT_THROW(createTemporaryFolder(""), std::filesystem::filesystem_error) << path;
    }
    EXPECT_EQ(dir.entries(), 1U);
}

TEST(CreateTemporary, FailureTexts) {
    EXPECT_THROW_TEXT(createTemporaryFile("no/such"), std::runtime_error,
                      "Failed to create temporary file: No such file or directory");
    EXPECT_THROW_TEXT(createTemporaryFolder("no/such"), std::runtime_error,
                      "Failed to create temporary directory: No such file or directory");
}

TEST(ReadFile, AFileThatFailsInTheMiddleIsAnError) {
    const TempDir dir;
    const auto path = dir.write("a", std::string(10000, 'a'));
    for (const int error : {EIO, ENXIO, ESTALE}) {
        for (const int call : {1, 3}) {
            faults::Calls calls;
            calls.hook(Call::read, [](auto& read) {
                read.size = std::min<std::size_t>(read.size, 1000);
                return 0;
            });
            calls.fail(Call::read, error, call);
            try {
                static_cast<void>(readFile(path));
                ADD_FAILURE() << "a short text";
            } catch (const std::system_error& failure) {
                EXPECT_EQ(failure.code(), std::error_code(error, std::generic_category()));
                EXPECT_NE(std::string(failure.what()).find(path), std::string::npos);
            }
        }
    }
    faults::Calls calls;
    calls.hook(Call::read, faults::interruptEveryOther);
    EXPECT_EQ(readFile(path), std::string(10000, 'a')) << "an interruption is none";
}

TEST(ReadFile, ADirectoryThatTellsItWhenReadHasNoSize) {
    const TempDir dir;
    const auto path = dir.write("a", "content");
    faults::Calls calls;
    calls.fail(Call::read, EISDIR);
    EXPECT_THROW_TEXT(readFile(path), std::runtime_error, "Could not determine file size: " + path);
}

TEST(ReadFile, AFileThatPromisesMoreThanItHasIsNoError) {
    const std::string path = "/sys/kernel/mm/transparent_hugepage/enabled";
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        GTEST_SKIP() << "no " << path << " here";
    }
    const auto content = readFile(path);
    EXPECT_FALSE(content.empty());
    EXPECT_LT(content.size(), static_cast<std::size_t>(status.st_size));
}

TEST(ReadFile, ReturnsEveryByte) {
    const TempDir dir;
    std::string large(3 * 1024 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < large.size(); ++i) {
        large[i] = static_cast<char>(i * 31 + i / 251);
    }
    for (const auto& content : {std::string(), std::string("x"), std::string("a\r\nb\0c\n", 7),
                                std::string(4096, 'p'), std::string(4097, 'q'), large}) {
        EXPECT_EQ(readFile(dir.write("name with space\nand line", content)), content);
    }
}

TEST(ReadFile, FailureTexts) {
    const TempDir dir;
    const auto missing = dir.file("missing");
    EXPECT_THROW_TEXT(readFile(missing), std::invalid_argument, "Could not open file: " + missing);
    EXPECT_THROW_TEXT(readFile(""), std::invalid_argument, "Could not open file: ");
    EXPECT_THROW_TEXT(readFile(dir.path()), std::runtime_error,
                      "Could not determine file size: " + dir.path().string());
}

TEST(ReadFile, AnInterruptedOpeningIsRepeated) {
    const TempDir dir;
    const auto path = dir.write("a", "content\n");
    faults::Calls calls;
    calls.hook(faults::Call::open, faults::interruptEveryOther);
    EXPECT_EQ(readFile(path), "content\n");
    EXPECT_THAT(readFileLinesToArray(path, {}), ElementsAre("content"));
    EXPECT_TRUE(createFile(path, "new").is_open());
}

TEST(ReadFile, OfAPipeHasNoSize) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const auto path = "/proc/self/fd/" + std::to_string(ends[0]);
    EXPECT_THROW_TEXT(readFile(path), std::runtime_error, "Could not determine file size: " + path);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(ReadFile, OfAFileWithoutContent) {
    EXPECT_EQ(readFile("/dev/null"), "");
}

TEST(ReadFile, WhileTheFileGrowsAndShrinks) {
    const TempDir dir;
    const std::string whole(256 * 1024, 'x');
    const auto path = dir.write("a", whole);
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        while (!stop) {
            for (const auto size : {10, 100 * 1024, 0, 256 * 1024}) {
                std::filesystem::resize_file(path, static_cast<std::uintmax_t>(size));
            }
        }
    });
    for (int i = 0; i < 300; ++i) {
        const auto content = readFile(path);
        EXPECT_LE(content.size(), whole.size());
        EXPECT_TRUE(std::all_of(content.begin(), content.end(),
                                [](char c) { return c == 'x' || c == '\0'; }));
    }
    stop = true;
    changer.join();
}

TEST(ListFiles, OnlyRegularFiles) {
    const TempDir dir;
    dir.write("plain", "");
    dir.write(".hidden", "");
    dir.write("with space\n", "");
    std::filesystem::create_directory(dir.file("folder"));
    std::filesystem::create_symlink(dir.file("plain"), dir.file("link"));
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    EXPECT_THAT(listFilesFromDirPath(dir.path().string(), false),
                UnorderedElementsAre("plain", ".hidden", "with space\n"));
    EXPECT_THAT(
        listFilesFromDirPath(dir.path().string(), true),
        UnorderedElementsAre(dir.file("plain"), dir.file(".hidden"), dir.file("with space\n")));
}

TEST(ListFiles, DeliberatelyAlwaysInsertsASlash) {
    const TempDir dir;
    dir.write("a", "");
    EXPECT_THAT(listFilesFromDirPath(dir.path().string() + "/", true),
                ElementsAre(dir.path().string() + "//a"));
}

TEST(ListFiles, NothingToOpenGivesAnEmptyList) {
    const TempDir dir;
    EXPECT_THAT(listFilesFromDirPath(dir.file("missing"), true), IsEmpty());
    EXPECT_THAT(listFilesFromDirPath(dir.write("file", ""), true), IsEmpty());
    EXPECT_THAT(listFilesFromDirPath(dir.path().string(), false), ElementsAre("file"));
}

TEST(ReadLines, EveryCombinationOfOptions) {
    using Options = std::set<ReadFileOptions>;
    const Options none;
    const Options trim{ReadFileOptions::Trim};
    const Options skip{ReadFileOptions::SkipEmptyLines};
    const Options both{ReadFileOptions::Trim, ReadFileOptions::SkipEmptyLines};
    const std::string longLine(70000, 'l');
    struct Row {
        std::string content;
        Options options;
        std::vector<std::string> lines;
    };
    const std::vector<Row> rows{
        {"", none, {}},
        {"\n", none, {""}},
        {"\n\n", none, {"", ""}},
        {"a", none, {"a"}},
        {"a\n", none, {"a"}},
        {"a\nb", none, {"a", "b"}},
        {"a\n\nb\n", none, {"a", "", "b"}},
        {"a\r\n \t b \n", none, {"a\r", " \t b "}},
        {"a\r\n \t b \n", trim, {"a", "b"}},
        {"\n  \n\t\n", none, {"", "  ", "\t"}},
        {"\n  \n\t\n", trim, {"", "", ""}},
        {"\n  \n\t\n", skip, {"  ", "\t"}},
        {"\n  \n\t\n", both, {}},
        {"a\n  ", skip, {"a", "  "}},
        {"a\n  ", both, {"a"}},
        {std::string("x\0y\nz", 5), none, {std::string("x\0y", 3), "z"}},
        {longLine + "\n" + longLine, none, {longLine, longLine}},
        {std::string(16383, 'a') + "\n" + std::string(16384, 'b') + "\n",
         none,
         {std::string(16383, 'a'), std::string(16384, 'b')}},
    };
    const TempDir dir;
    for (const auto& row : rows) {
        const auto path = dir.write("lines", row.content);
        EXPECT_EQ(readFileLinesToArray(path, row.options), row.lines) << row.content.substr(0, 40);
        std::string joined;
        for (std::size_t i = 0; i < row.lines.size(); ++i) {
            joined += (i == 0 ? "" : ", ") + row.lines[i];
        }
        EXPECT_EQ(readFileLinesToString(path, ", ", row.options), joined);
    }
}

TEST(ReadLines, OptionValues) {
    EXPECT_EQ(static_cast<int>(ReadFileOptions::Trim), 0);
    EXPECT_EQ(static_cast<int>(ReadFileOptions::SkipEmptyLines), 1);
}

TEST(ReadLines, NothingToReadGivesAnEmptyList) {
    const TempDir dir;
    EXPECT_THAT(readFileLinesToArray(dir.file("missing"), {}), IsEmpty());
    EXPECT_THAT(readFileLinesToArray(dir.path().string(), {}), IsEmpty());
    EXPECT_EQ(readFileLinesToString(dir.file("missing"), ", ", {}), "");
}

TEST(ReadLines, JoinsWithoutATrailingSeparator) {
    const TempDir dir;
    EXPECT_EQ(readFileLinesToString(dir.write("a", "a\nb\n"), ", ", {}), "a, b");
    EXPECT_EQ(readFileLinesToString(dir.write("a", "a\nb\n"), "", {}), "ab");
    EXPECT_EQ(readFileLinesToString(dir.write("a", "\n\n"), "-", {}), "-");
}

TEST(ReadLines, ReadsWhatHasNoSize) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "/proc describes the emulator";
    }
    EXPECT_FALSE(readFileLinesToArray("/proc/self/status", {}).empty());
}

}  // namespace
}  // namespace vorn::common::fs::tools
