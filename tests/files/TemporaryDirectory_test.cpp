// SPDX-License-Identifier: MIT
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdint>
#include <new>
#include <optional>
#include <system_error>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/fs/TemporaryDirectory.h>

#include "helpers/TempDir.h"
#include "helpers/TemporaryPlace.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs {
namespace {

using helpers::TempDir;
using std::filesystem::perms;

static_assert(!std::is_copy_constructible_v<TemporaryDirectory>);
static_assert(!std::is_copy_assignable_v<TemporaryDirectory>);
static_assert(std::is_nothrow_move_constructible_v<TemporaryDirectory>);
static_assert(std::is_nothrow_move_assignable_v<TemporaryDirectory>);
static_assert(!std::is_convertible_v<TemporaryDirectory, bool>);
static_assert(noexcept(std::declval<TemporaryDirectory&>().release()));

bool exists(const std::string& path) {
    return std::filesystem::exists(path);
}

TEST(TemporaryDirectory, CreatesAPrivateDirectory) {
    std::string path;
    {
        const TemporaryDirectory directory;
        path = directory.path();
        EXPECT_EQ(path.substr(0, 5), "/tmp/");
        EXPECT_EQ(path.size(), 11U);
        EXPECT_TRUE(directory);
        EXPECT_TRUE(directory.checkIfExists());
        EXPECT_EQ(directory.permissions(), perms::owner_all);
        std::filesystem::create_directories(path + "/a/b/c");
    }
    EXPECT_FALSE(exists(path)) << "removed with everything below it";
}

TEST(TemporaryDirectory, DeliberatelyIgnoresTmpdir) {
    const TempDir dir;
    const helpers::TemporaryPlace place(dir.path());
    const TemporaryDirectory directory;
    EXPECT_EQ(std::filesystem::path(directory.path()).parent_path(), "/tmp");
}

TEST(TemporaryDirectory, PermissionsAreExactWhateverTheUmask) {
    const TempDir dir;
    for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
        const auto before = ::umask(mask);
        for (const auto wanted : {perms{0700}, perms{0755}, perms{0777}, perms{0500}}) {
            EXPECT_EQ(TemporaryDirectory(wanted).permissions(), wanted);
            EXPECT_EQ(TemporaryDirectory(dir.file("a b\n"), wanted).permissions(), wanted);
        }
        ::umask(before);
    }
}

TEST(TemporaryDirectory, SetPermissionsReplaces) {
    TemporaryDirectory directory;
    directory.setPermissions(perms{0750});
    EXPECT_EQ(directory.permissions(), perms{0750});
}

TEST(TemporaryDirectory, AtAPath) {
    const TempDir dir;
    {
        const TemporaryDirectory directory(dir.file("sub"));
        EXPECT_EQ(directory.path(), dir.file("sub"));
        EXPECT_EQ(directory.permissions(), perms::owner_all);
    }
    EXPECT_FALSE(exists(dir.file("sub")));
}

TEST(TemporaryDirectory, NeverRemovesADirectoryThatWasThere) {
    const TempDir dir;
    std::filesystem::create_directory(dir.file("sub"));
    dir.write("sub/precious", "x");
    std::filesystem::permissions(dir.file("sub"), perms{0755});
    try {
        const TemporaryDirectory directory(dir.file("sub"));
        FAIL() << "threw nothing";
    } catch (const std::filesystem::filesystem_error& error) {
        EXPECT_EQ(error.code(), std::error_code(17, std::generic_category()));
        EXPECT_EQ(error.path1(), dir.file("sub"));
        EXPECT_NE(std::string(error.what()).find("Temporary directory already exist"),
                  std::string::npos);
    }
    EXPECT_TRUE(exists(dir.file("sub/precious")));
    EXPECT_EQ(std::filesystem::status(dir.file("sub")).permissions(), perms{0755});
}

TEST(TemporaryDirectory, FailuresToCreatePropagate) {
    const TempDir dir;
    const auto file = dir.write("file", "x");
    for (const auto& path : {dir.file("no/parent"), file, file + "/below", std::string()}) {
        EXPECT_THROW(TemporaryDirectory{path}, std::filesystem::filesystem_error) << path;
    }
    EXPECT_TRUE(exists(file));
}

TEST(TemporaryDirectory, FailureBelowTmpIsASystemError) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    const auto result = helpers::runInChild([&](const auto& report) {
        // An empty root has no /tmp.
        if (::chroot(dir.path().c_str()) != 0 || ::chdir("/") != 0) {
            return 1;
        }
        try {
            const TemporaryDirectory directory;
        } catch (const std::system_error& error) {
            report(error.code().category().name());
            return error.code().value();
        }
        return 2;
    });
    EXPECT_EQ(result.report, "generic");
    EXPECT_EQ(result.exitCode, ENOENT);
}

TEST(TemporaryDirectory, FailureToMakeAName) {
    faults::Calls calls;
    calls.fail(faults::Call::mkdtemp, ENOSPC);
    try {
        const TemporaryDirectory directory;
        FAIL() << "threw nothing";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::error_code(ENOSPC, std::generic_category()));
    }
}

TEST(TemporaryDirectory, ASecondAttemptMaySucceed) {
    const TempDir dir;
    faults::Calls calls;
    calls.fail(faults::Call::mkdir, EIO, 1);
    const TemporaryDirectory directory(dir.file("a"), perms{0750});
    EXPECT_EQ(calls.count(faults::Call::mkdir), 2);
    EXPECT_EQ(directory.permissions(), perms{0750});
}

TEST(TemporaryDirectory, OneThatSomebodyElseMakesMeanwhileStaysTheirs) {
    const TempDir dir;
    faults::Calls calls;
    calls.hook(faults::Call::mkdir, [](auto& call) {
        if (call.ordinal == 2) {
            ::mkdir(call.path, 0700);
        }
        return call.ordinal == 1 ? EIO : 0;
    });
    EXPECT_THROW(TemporaryDirectory(dir.file("a")), std::filesystem::filesystem_error);
    EXPECT_TRUE(exists(dir.file("a")));
}

TEST(TemporaryDirectory, PermissionsOfWhatIsNotThereAreUnknown) {
    const TempDir dir;
    const TemporaryDirectory directory(dir.file("a"));
    std::filesystem::remove(dir.file("a"));
    EXPECT_EQ(directory.permissions(), perms::unknown);
}

TEST(TemporaryDirectory, PermissionsThatCannotBeReadAreAnError) {
    const TempDir dir;
    const TemporaryDirectory directory(dir.file("a"));
    // A link to itself where the parent was.
    const auto aside = dir.path().string() + "-aside";
    std::filesystem::rename(dir.path(), aside);
    std::filesystem::create_symlink(dir.path(), dir.path());
    EXPECT_THROW(static_cast<void>(directory.permissions()), std::filesystem::filesystem_error);
    std::filesystem::remove(dir.path());
    std::filesystem::rename(aside, dir.path());
}

TEST(TemporaryDirectory, DestructorSwallowsFailures) {
    const TempDir dir;
    {
        const TemporaryDirectory directory(dir.file("a"));
        dir.write("a/file", "");
        faults::Calls calls;
        calls.fail(faults::Call::openat, EACCES);
        EXPECT_NO_THROW({ const TemporaryDirectory other(dir.file("b")); });
        EXPECT_TRUE(exists(dir.file("b")));
    }
    EXPECT_FALSE(exists(dir.file("a")));
}

TEST(TemporaryDirectory, RemoveIfExists) {
    const TempDir dir;
    TemporaryDirectory directory(dir.file("sub"));
    dir.write("sub/file", "");
    EXPECT_TRUE(directory.removeIfExists());
    EXPECT_FALSE(directory);
    EXPECT_EQ(directory.path(), "");
    EXPECT_FALSE(directory.checkIfExists());
    EXPECT_FALSE(directory.removeIfExists());

    TemporaryDirectory vanished(dir.file("sub"));
    std::filesystem::remove(dir.file("sub"));
    EXPECT_FALSE(vanished.checkIfExists());
    EXPECT_FALSE(vanished.removeIfExists());
    EXPECT_EQ(vanished.path(), dir.file("sub")) << "kept, because nothing was removed";
}

TEST(TemporaryDirectory, ReleasedDirectoryStays) {
    const TempDir dir;
    {
        TemporaryDirectory directory(dir.file("sub"));
        directory.release();
        EXPECT_FALSE(directory);
    }
    EXPECT_TRUE(exists(dir.file("sub")));
}

TEST(TemporaryDirectory, MovesOwnership) {
    const TempDir dir;
    {
        TemporaryDirectory first(dir.file("a"));
        {
            TemporaryDirectory second(std::move(first));
            EXPECT_FALSE(first);
            TemporaryDirectory third(dir.file("b"));
            third = std::move(second);
            EXPECT_FALSE(exists(dir.file("b")));
            EXPECT_EQ(third.path(), dir.file("a"));
            EXPECT_FALSE(second);
            first = std::move(third);
        }
        EXPECT_TRUE(exists(dir.file("a")));
        auto& same = first;
        first = std::move(same);
        EXPECT_TRUE(exists(dir.file("a")));
        EXPECT_TRUE(first);
    }
    EXPECT_FALSE(exists(dir.file("a")));
}

TEST(TemporaryDirectory, PermissionsThatAreRefusedTakeTheDirectoryBack) {
    const TempDir dir;
    faults::Calls calls;
    // Nothing can be permitted on what has vanished.
    calls.hook(faults::Call::mkdir, [](auto& call) {
        call.answer = ::mkdir(call.path, call.mode);
        std::filesystem::remove(call.path);
        return 0;
    });
    calls.hook(faults::Call::mkdtemp, [](auto& call) {
        char* const path = ::mkdtemp(const_cast<char*>(call.path));
        std::filesystem::remove(path);
        call.answer = reinterpret_cast<std::intptr_t>(path);
        return 0;
    });
    EXPECT_THROW(TemporaryDirectory(dir.file("a"), perms{0700}), std::filesystem::filesystem_error);
    EXPECT_EQ(calls.count(faults::Call::rmdir), 1);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    EXPECT_THROW(TemporaryDirectory(perms{0700}), std::filesystem::filesystem_error);
    EXPECT_EQ(calls.count(faults::Call::rmdir), 2);
}

TEST(TemporaryDirectory, LeavesNothingWhenMemoryEndsWhileItIsMade) {
    const TempDir dir;
    std::size_t failures = 1;
    for (std::size_t failure = 1; failures != 0; ++failure) {
        const auto path = dir.file("a directory whose name needs memory");
        std::optional<TemporaryDirectory> made;
        {
            const faults::NoMemory shortage(failure, faults::NoMemory::Times::Once);
            try {
                made.emplace(path);
            } catch (const std::bad_alloc&) {
            }
            failures = shortage.failures();
        }
        EXPECT_EQ(exists(path), made.has_value()) << "allocation " << failure;
        made.reset();
        EXPECT_TRUE(std::filesystem::is_empty(dir.path())) << "allocation " << failure;
    }
}

}  // namespace
}  // namespace vorn::common::fs
