// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <iterator>
#include <memory>
#include <new>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/fs/TemporaryFile.h>

#include "helpers/TempDir.h"
#include "helpers/TemporaryPlace.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs {
namespace {

using faults::Call;
using helpers::TempDir;

static_assert(std::is_base_of_v<IFile, TemporaryFile>);
static_assert(std::is_abstract_v<IFile> && std::has_virtual_destructor_v<IFile>);
static_assert(!std::is_copy_constructible_v<TemporaryFile>);
static_assert(!std::is_copy_assignable_v<TemporaryFile>);
static_assert(std::is_nothrow_move_constructible_v<TemporaryFile>);
static_assert(std::is_nothrow_move_assignable_v<TemporaryFile>);
static_assert(noexcept(std::declval<TemporaryFile&>().release()));
static_assert(!std::is_convertible_v<std::string, TemporaryFile>);

bool exists(const std::string& path) {
    return std::filesystem::exists(path);
}

TEST(TemporaryFile, CreatesAnEmptyPrivateFile) {
    std::string path;
    {
        const TemporaryFile file;
        path = file.getPath();
        const auto expected = std::filesystem::temp_directory_path() / "tempfile-";
        EXPECT_EQ(path.substr(0, path.size() - 6), expected.string());
        struct stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
        EXPECT_EQ(status.st_size, 0);
        EXPECT_TRUE(file.checkIfExists());
    }
    EXPECT_FALSE(exists(path));
}

TEST(TemporaryFile, LeavesNothingWhenTheExistenceCheckFails) {
    const TempDir dir;
    const helpers::TemporaryPlace in(dir.path());
    faults::Calls calls;
    // Fails the check: what is there is a link to nowhere by then.
    calls.hook(Call::mkostemp, [&](auto& call) {
        auto* const path = const_cast<char*>(call.path);
        call.answer = ::mkostemp(path, static_cast<int>(call.flags));
        std::filesystem::remove(path);
        std::filesystem::create_symlink(dir.file("nowhere"), path);
        return 0;
    });
    EXPECT_THROW(TemporaryFile{}, std::filesystem::filesystem_error);
    EXPECT_EQ(calls.count(Call::mkostemp), 1);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(TemporaryFile, LeavesNothingWhenMemoryEndsWhileItIsMade) {
    const TempDir dir;
    const helpers::TemporaryPlace in(dir.path());
    std::size_t failures = 1;
    for (std::size_t failure = 1; failures != 0; ++failure) {
        {
            const faults::NoMemory shortage(failure, faults::NoMemory::Times::Once);
            try {
                const TemporaryFile file;
            } catch (const std::bad_alloc&) {
            }
            failures = shortage.failures();
        }
        EXPECT_TRUE(std::filesystem::is_empty(dir.path())) << "allocation " << failure;
    }
}

TEST(TemporaryFile, TakesAFutureFile) {
    const TempDir dir;
    {
        const TemporaryFile file(dir.file("later"));
        EXPECT_FALSE(exists(dir.file("later")));
        EXPECT_FALSE(file.checkIfExists());
        dir.write("later", "x");
        EXPECT_TRUE(file.checkIfExists());
    }
    EXPECT_FALSE(exists(dir.file("later")));
}

TEST(TemporaryFile, MustExist) {
    const TempDir dir;
    const auto missing = dir.file("missing");
    try {
        TemporaryFile file(missing, true);
        FAIL() << "threw nothing";
    } catch (const std::filesystem::filesystem_error& error) {
        EXPECT_EQ(error.code(), std::error_code(2, std::generic_category()));
        EXPECT_EQ(error.path1(), missing);
        EXPECT_NE(std::string(error.what()).find("Temporary file does not exists"),
                  std::string::npos);
    }
    const TemporaryFile file(dir.write("there", ""), true);
    EXPECT_TRUE(file.checkIfExists());
}

TEST(TemporaryFile, SetPathRemovesTheFormerFile) {
    const TempDir dir;
    const std::unique_ptr<IFile> file =
        std::make_unique<TemporaryFile>(dir.write("first", ""), true);
    file->setPath(dir.write("second", ""), true);
    EXPECT_EQ(file->getPath(), dir.file("second"));
    EXPECT_FALSE(exists(dir.file("first")));
    EXPECT_TRUE(exists(dir.file("second")));
}

TEST(TemporaryFile, SetPathKeepsThePathWhenItThrows) {
    const TempDir dir;
    TemporaryFile file(dir.write("first", ""), true);
    EXPECT_THROW(file.setPath(dir.file("missing"), true), std::filesystem::filesystem_error);
    EXPECT_EQ(file.getPath(), dir.file("missing"));
    EXPECT_FALSE(exists(dir.file("first")));
}

TEST(TemporaryFile, SetPathToItselfRemovesTheFileFirst) {
    const TempDir dir;
    TemporaryFile file(dir.write("a", ""), true);
    EXPECT_THROW(file.setPath(file.getPath(), true), std::filesystem::filesystem_error);
    EXPECT_FALSE(exists(dir.file("a")));
}

TEST(TemporaryFile, SetPathChangesNothingWhenTheFormerCannotBeRemoved) {
    const TempDir dir;
    dir.write("used", "");
    TemporaryFile file(dir.path().string());
    EXPECT_THROW(file.setPath("other", false), std::filesystem::filesystem_error);
    EXPECT_EQ(file.getPath(), dir.path().string());
}

TEST(TemporaryFile, RemoveIfExists) {
    const TempDir dir;
    TemporaryFile file(dir.write("a", ""), true);
    EXPECT_TRUE(file.removeIfExists());
    EXPECT_EQ(file.getPath(), "");
    EXPECT_FALSE(file.checkIfExists());
    EXPECT_FALSE(file.removeIfExists());
    file.setPath(dir.file("missing"), false);
    EXPECT_FALSE(file.removeIfExists());
    EXPECT_EQ(file.getPath(), dir.file("missing")) << "kept, because nothing was removed";
}

TEST(TemporaryFile, ReleasedFileStays) {
    const TempDir dir;
    {
        TemporaryFile file(dir.write("a", ""), true);
        file.release();
        EXPECT_EQ(file.getPath(), "");
    }
    EXPECT_TRUE(exists(dir.file("a")));
}

TEST(TemporaryFile, MovesOwnership) {
    const TempDir dir;
    {
        TemporaryFile first(dir.write("a", ""), true);
        {
            TemporaryFile second(std::move(first));
            EXPECT_EQ(first.getPath(), "");
            TemporaryFile third(dir.write("b", ""), true);
            third = std::move(second);
            EXPECT_FALSE(exists(dir.file("b"))) << "the file owned before is removed";
            EXPECT_EQ(third.getPath(), dir.file("a"));
            EXPECT_EQ(second.getPath(), "");
            first = std::move(third);
        }
        EXPECT_TRUE(exists(dir.file("a"))) << "moved-from handles remove nothing";
    }
    EXPECT_FALSE(exists(dir.file("a")));
}

TEST(TemporaryFile, SelfMoveChangesNothing) {
    const TempDir dir;
    TemporaryFile file(dir.write("a", ""), true);
    auto& same = file;
    file = std::move(same);
    EXPECT_EQ(file.getPath(), dir.file("a"));
    EXPECT_TRUE(exists(dir.file("a")));
}

TEST(TemporaryFile, LinksToNothingAndUnreachablePathsDoNotExist) {
    const TempDir dir;
    std::filesystem::create_symlink(dir.file("nowhere"), dir.file("link"));
    EXPECT_FALSE(TemporaryFile(dir.file("link")).checkIfExists());
    EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link")));
    EXPECT_FALSE(TemporaryFile(dir.write("file", "") + "/below").checkIfExists());
    EXPECT_FALSE(TemporaryFile(std::string(5000, 'x')).checkIfExists());
}

TEST(TemporaryFile, DestructorSwallowsFailures) {
    const TempDir dir;
    dir.write("used", "");
    EXPECT_NO_THROW({ const TemporaryFile file(dir.path().string()); });
    EXPECT_TRUE(exists(dir.file("used")));
}

}  // namespace
}  // namespace vorn::common::fs
