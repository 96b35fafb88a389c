// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <sstream>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/stream/StreamAccessors.h>

#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"

namespace vorn::common::stream {
namespace {

using faults::Call;
using helpers::contentOf;
using helpers::modeOf;
using helpers::TempDir;
using std::filesystem::perms;

static_assert(std::has_virtual_destructor_v<IInputStreamAccessor>);
static_assert(std::has_virtual_destructor_v<IOutputStreamAccessor>);
static_assert(std::is_same_v<InputBuilder, std::function<std::unique_ptr<IInputStreamAccessor>()>>);
static_assert(
    std::is_same_v<OutputBuilder, std::function<std::unique_ptr<IOutputStreamAccessor>()>>);

constexpr perms kPrivate{0600};

void store(const std::string& content, const std::string& path, const std::string& tmpPath = {},
           std::ios_base::openmode mode = std::ios_base::trunc, perms permissions = kPrivate) {
    FileOutputStreamAccessor accessor(path, mode, permissions, tmpPath);
    accessor.stream() << content;
    accessor.commit();
}

TEST(StreamAccessors, NullBuildersGiveNothing) {
    EXPECT_EQ(make_nullistreamBuilder()(), nullptr);
    EXPECT_EQ(make_nullostreamBuilder()(), nullptr);
}

TEST(StreamAccessors, ReferencesToTheCallersStreams) {
    std::istringstream in("content");
    std::ostringstream out;
    EXPECT_EQ(&make_istreamBuilder(in)()->stream(), &in);
    EXPECT_EQ(&make_ostreamBuilder(out)()->stream(), &out);
}

TEST(StreamAccessors, CommitFlushesTheCallersStream) {
    struct Buffer : std::stringbuf {
        int sync() override {
            ++syncs;
            return 0;
        }
        int syncs = 0;
    } buffer;
    std::ostream stream(&buffer);
    const auto accessor = make_ostreamBuilder(stream)();
    accessor->stream() << "x";
    EXPECT_EQ(buffer.syncs, 0);
    accessor->commit();
    EXPECT_EQ(buffer.syncs, 1);
}

TEST(StreamAccessors, FileInput) {
    const TempDir dir;
    const auto builder = make_ifstreamBuilder(dir.file("a"));
    EXPECT_FALSE(builder()->stream().good()) << "missing";
    dir.write("a", "first");
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    for (const auto* content : {"first", "second"}) {
        dir.write("a", content);
        const auto accessor = builder();
        EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
        std::string word;
        EXPECT_TRUE(accessor->stream().good());
        accessor->stream() >> word;
        EXPECT_EQ(word, content) << "opened on every call";
    }
}

TEST(FileOutput, NothingHappensBeforeCommit) {
    const TempDir dir;
    const auto path = dir.write("a", "before");
    const auto accessor = make_ofstreamBuilder(path, std::ios_base::trunc, kPrivate, "")();
    accessor->stream() << "after" << std::flush;
    EXPECT_EQ(contentOf(path), "before");
    accessor->commit();
    EXPECT_EQ(contentOf(path), "after");
}

TEST(FileOutput, EveryMode) {
    using std::ios_base;
    struct Row {
        ios_base::openmode mode;
        std::string result;   ///< written over "0123456789"
        std::string missing;  ///< written to a missing file; "-" when it stays missing
    };
    const auto none = ios_base::openmode{};
    for (const auto& row : {
             Row{none, "abc", "abc"},
             Row{ios_base::out, "abc", "abc"},
             Row{ios_base::trunc, "abc", "abc"},
             Row{ios_base::binary, "abc", "abc"},
             Row{ios_base::app, "0123456789abc", "abc"},
             Row{ios_base::in, "abc3456789", "-"},
             Row{ios_base::in | ios_base::ate, "0123456789abc", "-"},
             Row{ios_base::in | ios_base::trunc, "abc", "abc"},
             Row{ios_base::in | ios_base::app, "0123456789abc", "abc"},
             Row{ios_base::app | ios_base::trunc, "0123456789", "-"},
         }) {
        const TempDir dir;
        const auto path = dir.write("a", "0123456789");
        store("abc", path, "", row.mode);
        EXPECT_EQ(contentOf(path), row.result) << row.mode;
        store("abc", dir.file("b"), "", row.mode);
        EXPECT_EQ(std::filesystem::exists(dir.file("b")) ? contentOf(dir.file("b")) : "-",
                  row.missing)
            << row.mode;
    }
}

TEST(FileOutput, PermissionsAreExactFromTheFirstMomentOn) {
    const TempDir dir;
    for (const mode_t mask : {0000U, 0077U}) {
        const auto before = ::umask(mask);
        for (const auto permissions : {perms{0600}, perms{0644}, perms{0666}, perms{0400}}) {
            const auto suffix = std::to_string(static_cast<unsigned>(permissions));
            store("x", dir.file("direct" + suffix), "", std::ios_base::trunc, permissions);
            EXPECT_EQ(modeOf(dir.file("direct" + suffix)), static_cast<unsigned>(permissions));
            store("x", dir.file("swapped" + suffix), dir.file("tmp" + suffix), std::ios_base::trunc,
                  permissions);
            EXPECT_EQ(modeOf(dir.file("swapped" + suffix)), static_cast<unsigned>(permissions));
        }
        ::umask(before);
    }
    const auto wide = dir.write("wide", "old");
    std::filesystem::permissions(wide, perms{0666});
    store("x", wide);
    EXPECT_EQ(modeOf(wide), 0600U) << "replaced on an existing file";
}

TEST(FileOutput, ABackupThatHoldsAVersionIsAsNarrowAsTheFile) {
    const TempDir dir;
    const auto path = dir.file("a");
    const auto backup = dir.file("a.bak");
    const auto before = ::umask(0);
    // The backup of the first one is the empty file that the swap has made.
    for (const char* content : {"1", "2", "3"}) {
        store(content, path, backup, std::ios_base::trunc, perms{0600});
        EXPECT_TRUE(contentOf(backup).empty() || modeOf(backup) == 0600U) << content;
    }
    ::umask(before);
    EXPECT_EQ(contentOf(backup), "2");
}

TEST(FileOutput, SwapsThroughTheTemporaryPath) {
    const TempDir dir;
    const auto path = dir.file("a");
    const auto backup = dir.file("a.bak");
    store("1", path, backup);
    EXPECT_EQ(contentOf(path), "1");
    EXPECT_TRUE(std::filesystem::exists(backup)) << "the swap created the missing file";
    EXPECT_EQ(contentOf(backup), "");
    store("2", path, backup);
    store("3", path, backup);
    EXPECT_EQ(contentOf(path), "3");
    EXPECT_EQ(contentOf(backup), "2") << "the version before";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
}

TEST(FileOutput, WritesThroughTheTemporaryPathInEveryMode) {
    const TempDir dir;
    const auto path = dir.write("a", "target");
    const auto backup = dir.write("a.bak", "0123456789");
    store("abc", path, backup, std::ios_base::app);
    EXPECT_EQ(contentOf(path), "0123456789abc");
    EXPECT_EQ(contentOf(backup), "target");
    store("ABC", path, backup, std::ios_base::in);
    EXPECT_EQ(contentOf(path), "ABCget");
}

TEST(FileOutput, WritesEmptyContent) {
    const TempDir dir;
    store("", dir.write("a", "before"));
    EXPECT_EQ(contentOf(dir.file("a")), "");
    store("", dir.write("b", "before"), dir.file("b.bak"));
    EXPECT_EQ(contentOf(dir.file("b")), "");
    EXPECT_EQ(contentOf(dir.file("b.bak")), "before");
}

TEST(FileOutput, LargeContentInShortAndInterruptedWrites) {
    std::string large;
    while (large.size() < 300000) {
        large += std::to_string(large.size()) + '\0';
    }
    const TempDir dir;
    faults::Calls calls;
    calls.hook(Call::write, faults::interruptEveryOther);
    calls.hook(Call::write, [](auto& write) {
        write.size = std::min<std::size_t>(write.size, 1000);
        return 0;
    });
    store(large, dir.file("a"));
    EXPECT_GE(calls.count(Call::write), 600);
    store(large, dir.file("b"), dir.file("b.bak"));
    EXPECT_EQ(contentOf(dir.file("a")), large);
    EXPECT_EQ(contentOf(dir.file("b")), large);
}

TEST(FileOutput, MakesTheFileDurableBeforeTheSwap) {
    const TempDir dir;
    dir.write("a", "old");
    const faults::Calls calls;
    store("x", dir.file("a"), dir.file("a.bak"));
    EXPECT_EQ(calls.count(Call::fdatasync), 1);
    EXPECT_EQ(calls.count(Call::renameat2), 1);
    EXPECT_EQ(calls.count(Call::fsync), 1);
    EXPECT_EQ(calls.order({Call::fdatasync, Call::renameat2, Call::fsync}),
              (std::vector{Call::fdatasync, Call::renameat2, Call::fsync}))
        << "the content before, and the names once they are exchanged";
    store("x", dir.file("b"));
    EXPECT_EQ(calls.count(Call::fdatasync), 2);
    EXPECT_EQ(calls.count(Call::fsync), 2);
    std::filesystem::create_directory(dir.file("other"));
    store("x", dir.file("c"), dir.file("other/c"));
    EXPECT_EQ(calls.count(Call::fsync), 4) << "both directories";
}

TEST(FileOutput, ThreeAttempts) {
    struct Row {
        int failures;
        bool temporary;
        std::string result;
    };
    for (const auto& row :
         {Row{1, false, "new"}, Row{2, false, "new"}, Row{3, false, ""}, Row{2, true, "new"}}) {
        const TempDir dir;
        const auto path = dir.write("a", "old");
        faults::Calls calls;
        calls.fail(Call::write, ENOSPC, 1, row.failures);
        store("new", path, row.temporary ? dir.file("a.bak") : "");
        EXPECT_EQ(contentOf(path), row.result) << row.failures;
    }
}

TEST(FileOutput, DeliberatelySwapsAfterThreeFailedAttempts) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    const auto backup = dir.write("a.bak", "older");
    faults::Calls calls;
    calls.fail(Call::write, ENOSPC);
    store("new", path, backup);
    EXPECT_EQ(calls.count(Call::renameat2), 1);
    EXPECT_EQ(contentOf(path), "") << "what could be written";
    EXPECT_EQ(contentOf(backup), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
}

// Where memory ends, operator<< fails the stream and throws nothing.
TEST(FileOutput, ATextThatCouldNotBeBuiltReplacesNothing) {
    for (const auto* tmpName : {"a.bak", ""}) {
        for (const int times : {1, 2}) {
            const TempDir dir;
            const auto path = dir.write("a", "good");
            const auto backup = dir.write("a.bak", "good before");
            const std::string tmpPath = *tmpName == '\0' ? "" : dir.file(tmpName);
            for (int i = 0; i < times; ++i) {
                const faults::Calls calls;
                FileOutputStreamAccessor accessor(path, std::ios_base::trunc, kPrivate, tmpPath);
                accessor.stream() << "begun, ";
                {
                    const faults::NoMemory shortage;
                    accessor.stream() << std::string_view(
                        "and a rest that needs memory, because "
                        "no buffer of a stream holds so much");
                    for (int k = 0; k < 100; ++k) {
                        accessor.stream() << "0123456789";
                    }
                }
                ASSERT_TRUE(accessor.stream().bad());
                accessor.commit();
                for (const auto call : {Call::open, Call::unlink, Call::rename, Call::renameat2}) {
                    EXPECT_EQ(calls.count(call), 0) << call;
                }
            }
            EXPECT_EQ(contentOf(path), "good");
            EXPECT_EQ(contentOf(backup), "good before");
        }
    }
}

TEST(FileOutput, AStreamThatTheObjectFailedReplacesNothing) {
    const TempDir dir;
    const auto path = dir.write("a", "good");
    FileOutputStreamAccessor accessor(path, std::ios_base::trunc, kPrivate, dir.file("a.bak"));
    accessor.stream() << "a part";
    accessor.stream().setstate(std::ios_base::failbit);
    accessor.commit();
    EXPECT_EQ(contentOf(path), "good");
    EXPECT_FALSE(std::filesystem::exists(dir.file("a.bak")));
}

TEST(FileOutput, RefusedPermissionsAreAFailedWrite) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    faults::Calls calls;
    calls.fail(Call::fchmod, EPERM, 1, 2);
    store("new", path);
    EXPECT_EQ(contentOf(path), "new") << "at the third attempt";
    calls.fail(Call::fchmod, EPERM);
    store("newer", path);
    EXPECT_EQ(contentOf(path), "") << "emptied by opening, never written";
    const auto other = dir.write("b", "old");
    store("new", other, dir.file("b.bak"));
    EXPECT_EQ(contentOf(other), "");
    EXPECT_EQ(contentOf(dir.file("b.bak")), "old");
}

TEST(FileOutput, WithoutExchangeAFailedWriteKeepsTheOldVersionAsTheBackup) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    const auto backup = dir.write("a.bak", "older");
    faults::Calls calls;
    calls.fail(Call::renameat2, EINVAL).fail(Call::fdatasync, EIO);
    store("new", path, backup);
    EXPECT_EQ(contentOf(path), "old") << "a copy that is not durable stops the rest";
    EXPECT_EQ(contentOf(backup), "new");
}

TEST(FileOutput, WithoutExchangeTheBetterContentIsReplacedFirst) {
    struct Row {
        int failedWrites;
        std::string first;  ///< which of the two is replaced first
    };
    // The fourth attempt is the one in place; whatever it left at the temporary path is doubtful.
    for (const auto& row : {Row{0, "a"}, Row{2, "a"}, Row{4, "a.bak"}}) {
        const TempDir dir;
        const auto path = dir.write("a", "old");
        const auto backup = dir.write("a.bak", "older");
        std::vector<std::string> replaced;
        faults::Calls calls;
        calls.fail(Call::renameat2, EINVAL);
        calls.fail(Call::write, ENOSPC, 1, row.failedWrites);
        calls.hook(Call::rename, [&](auto& rename) {
            replaced.push_back(std::filesystem::path(rename.target).filename());
            return 0;
        });
        store("new", path, backup);
        ASSERT_GE(replaced.size(), 2U);
        EXPECT_EQ(replaced[replaced.size() - 2], row.first) << row.failedWrites;
    }
}

TEST(FileOutput, WhatHasNothingToWaitForIsDurable) {
    struct Row {
        int error;
        int attempts;
    };
    for (const auto& row : {Row{EINVAL, 1}, Row{ENOSYS, 1}, Row{ENOTSUP, 1}, Row{EROFS, 1},
                            Row{EIO, 4}, Row{ENOSPC, 4}, Row{EDQUOT, 4}}) {
        const TempDir dir;
        faults::Calls calls;
        calls.fail(Call::fdatasync, row.error);
        store("new", dir.file("a"), dir.file("a.bak"));
        EXPECT_EQ(calls.count(Call::fdatasync), row.attempts) << row.error;
    }
}

TEST(FileOutput, InterruptedSynchronisationsAreRepeated) {
    const TempDir dir;
    faults::Calls calls;
    calls.hook(Call::fdatasync, faults::interruptEveryOther);
    calls.hook(Call::fsync, faults::interruptEveryOther);
    store("new", dir.file("a"), dir.file("a.bak"));
    EXPECT_EQ(calls.count(Call::write), 1);
    EXPECT_EQ(calls.count(Call::fdatasync), 2);
    EXPECT_EQ(calls.count(Call::fsync), 2);
    EXPECT_EQ(contentOf(dir.file("a")), "new");
}

TEST(FileOutput, ATemporaryPathThatIsALinkIsWrittenThrough) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    const auto elsewhere = dir.write("elsewhere", "older");
    std::filesystem::create_symlink("elsewhere", dir.file("a.bak"));
    store("new", path, dir.file("a.bak"));
    EXPECT_EQ(contentOf(elsewhere), "new") << "not replaced by a file";
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(path)) << "the names have changed places";
    EXPECT_EQ(contentOf(dir.file("a.bak")), "old");
}

TEST(FileOutput, ATemporaryPathThatIsAPipeIsWrittenTo) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    ASSERT_EQ(::mkfifo(dir.file("a.bak").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = contentOf(dir.file("a.bak")); });
    store("new", path, dir.file("a.bak"));
    reader.join();
    EXPECT_EQ(received, "new");
    EXPECT_EQ(contentOf(dir.file("a.bak")), "old");
}

TEST(FileOutput, ImpossiblePathsChangeNothingElse) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    EXPECT_NO_THROW(store("new", dir.file("no/parent")));
    EXPECT_NO_THROW(store("new", ""));
    EXPECT_NO_THROW(store("new", dir.path().string()));
    EXPECT_NO_THROW(store("new", path, dir.file("no/parent")));
    EXPECT_EQ(contentOf(path), "old") << "nothing at the temporary path, nothing to swap";
    EXPECT_FALSE(std::filesystem::exists(dir.file("no")));
}

TEST(FileOutput, ADirectoryThatRefusesNewFiles) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    const auto path = dir.write("a", "old");
    const auto backup = dir.write("a.bak", "older");
    std::filesystem::permissions(dir.path(), perms{0755});
    for (const auto& file : {path, backup}) {
        ASSERT_EQ(::chown(file.c_str(), 65534, 65534), 0);
    }
    const auto result = helpers::runInChild([&](const auto&) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            return 1;
        }
        store("new", path, backup);
        return 0;
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(contentOf(path), "new") << "copied in place";
    EXPECT_EQ(contentOf(backup), "old");
}

TEST(FileInput, WithoutMemoryTheDescriptorIsClosedOnce) {
    const TempDir dir;
    const auto path = dir.write("a", "content");
    for (std::size_t failure = 1; failure <= 3; ++failure) {
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        faults::Calls calls;
        int stale = 0;
        calls.hook(Call::close, [&](const auto& close) {
            stale += ::fcntl(static_cast<int>(close.id), F_GETFD) == -1 ? 1 : 0;
            return 0;
        });
        try {
            const faults::NoMemory shortage(failure, faults::NoMemory::Times::Once);
            const FileInputStreamAccessor accessor(path);
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(stale, 0) << "the number may be a stranger's by then; allocation " << failure;
        EXPECT_EQ(::fcntl(next, F_GETFD), -1) << "left open; allocation " << failure;
    }
}

TEST(FileOutput, AnAccessorThatIsNotCommittedChangesNothing) {
    const TempDir dir;
    const auto path = dir.write("a", "old");
    make_ofstreamBuilder(path, std::ios_base::trunc, kPrivate, "")()->stream() << "new";
    EXPECT_EQ(contentOf(path), "old");
}

TEST(FileOutput, BuilderReportsThatItCouldNotCreate) {
    const auto builder = make_ofstreamBuilder("/tmp/never written", std::ios_base::trunc, kPrivate,
                                              "/tmp/a path that needs memory on the heap");
    testing::internal::CaptureStderr();
    std::unique_ptr<IOutputStreamAccessor> accessor;
    {
        const faults::NoMemory shortage;
        accessor = builder();
    }
    EXPECT_EQ(accessor, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "std::bad_alloc\n");
}

}  // namespace
}  // namespace vorn::common::stream
