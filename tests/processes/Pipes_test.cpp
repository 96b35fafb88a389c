// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/executable/Executable.h>

#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/calls.h"
#include "helpers/processes.h"

namespace {

using Pipes = vorn::common::executable::Executable::Pipes;

static_assert(std::has_virtual_destructor_v<Pipes>);
static_assert(!std::is_copy_constructible_v<Pipes>);

bool isOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1;
}

void writeText(int fd, const std::string& text) {
    ASSERT_EQ(::write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

TEST(Pipes, OpensFourEndsThatNoOtherChildInherits) {
    const Pipes pipes;
    const std::set<int> ends{pipes.out[0], pipes.out[1], pipes.err[0], pipes.err[1]};
    EXPECT_EQ(ends.size(), 4u);
    for (const int end : ends) {
        EXPECT_GE(end, 3);
        EXPECT_EQ(::fcntl(end, F_GETFD), FD_CLOEXEC);
        EXPECT_TRUE(pipes.isOpened(end));
    }
    EXPECT_EQ(::fcntl(pipes.out[0], F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(::fcntl(pipes.out[1], F_GETFL) & O_ACCMODE, O_WRONLY);
    EXPECT_FALSE(pipes.isOpened(0));
    EXPECT_FALSE(pipes.isOpened(-1));
}

TEST(Pipes, EndsAreMovedAboveTheStandardStreams) {
    const auto result = helpers::runInChild([](const auto&) {
        for (const int fd : {0, 1, 2}) {
            ::close(fd);
        }
        const Pipes pipes;
        for (const int end : {pipes.out[0], pipes.out[1], pipes.err[0], pipes.err[1]}) {
            if (end < 3 || ::fcntl(end, F_GETFD) != FD_CLOEXEC) {
                return 1;
            }
        }
        return isOpen(0) || isOpen(1) || isOpen(2) ? 2 : 0;
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Pipes, EndsThatCannotBeMovedAreClosed) {
    for (const int failing : {1, 2}) {
        const auto result = helpers::runInChild([failing](const auto& report) {
            for (const int fd : {0, 1, 2}) {
                ::close(fd);
            }
            faults::Calls calls;
            calls.fail(faults::Call::fcntl, EMFILE, failing);
            try {
                const Pipes pipes;
            } catch (const std::runtime_error& error) {
                report(error.what());
            }
            return ::fcntl(0, F_GETFD) == -1 && ::fcntl(1, F_GETFD) == -1 ? 0 : 1;
        });
        EXPECT_EQ(result.report, "failed to open pipe") << failing;
        EXPECT_EQ(result.exitCode, 0) << failing;
    }
}

TEST(Pipes, CloseClosesBothReadOrBothWriteEnds) {
    for (const unsigned which : {0u, 1u}) {
        Pipes pipes;
        const int closed[] = {pipes.out[which], pipes.err[which]};
        const int kept[] = {pipes.out[1 - which], pipes.err[1 - which]};
        pipes.close(which);
        EXPECT_EQ(pipes.out[which], -1);
        EXPECT_EQ(pipes.err[which], -1);
        EXPECT_TRUE(pipes.isOpened(-1));
        for (const int fd : closed) {
            EXPECT_FALSE(isOpen(fd));
            EXPECT_FALSE(pipes.isOpened(fd));
        }
        for (const int fd : kept) {
            EXPECT_TRUE(isOpen(fd));
        }
        pipes.close(which);
        EXPECT_TRUE(isOpen(kept[0]));
    }
}

TEST(PipesDeathTest, OnlyReadAndWriteEndsCanBeClosed) {
    EXPECT_DEATH(Pipes().close(2), "src/executable/Pipes.*close.*which < 2");
}

TEST(Pipes, DestructorClosesWhatIsOpen) {
    int ends[4];
    {
        Pipes pipes;
        pipes.closeWriting();
        ends[0] = pipes.out[0];
        ends[1] = pipes.err[0];
        EXPECT_EQ(pipes.out[1], -1);
    }
    EXPECT_FALSE(isOpen(ends[0]));
    EXPECT_FALSE(isOpen(ends[1]));
    {
        const Pipes pipes;
        ends[2] = pipes.out[1];
        ends[3] = pipes.err[1];
    }
    EXPECT_FALSE(isOpen(ends[2]));
    EXPECT_FALSE(isOpen(ends[3]));
}

TEST(Pipes, DupWritingReturnsTheSecondResult) {
    Pipes pipes;
    const int outFd = ::dup(0);
    const int errFd = ::dup(0);
    EXPECT_EQ(pipes.dupWriting(outFd, errFd), errFd);
    writeText(outFd, "to out");
    writeText(errFd, "to err");
    pipes.closeWriting();
    EXPECT_EQ(pipes.dupWriting(outFd, errFd), -1);
    ::close(outFd);
    ::close(errFd);
    EXPECT_EQ(pipes.readFromStdOut(), "to out");
    EXPECT_EQ(pipes.readFromStdErr(), "to err");
    EXPECT_EQ(pipes.readFromStdOut(), "");
}

TEST(Pipes, ReadGoesOnToTheEndThroughBlocksNulsAndSignals) {
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGUSR1, &nothing, &before), 0);
    Pipes pipes;
    std::string text;
    for (int i = 0; text.size() < 300000; ++i) {
        text += std::to_string(i) + '\0';
    }
    const pthread_t reader = ::pthread_self();
    std::thread writer([&] {
        for (std::size_t done = 0; done < text.size(); done += 1000) {
            ::pthread_kill(reader, SIGUSR1);
            writeText(pipes.err[1], text.substr(done, 1000));
        }
        ::pthread_kill(reader, SIGUSR1);
        pipes.closeWriting();
    });
    const auto read = pipes.readFromStdErr();
    writer.join();
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(read.size(), text.size());
    EXPECT_TRUE(read == text);
}

TEST(Pipes, AnErrorEndsTheText) {
    Pipes pipes;
    pipes.close(0);
    EXPECT_EQ(pipes.readFromStdOut(), "");
}

TEST(Pipes, FailureToOpenLeavesNothingOpen) {
    if (helpers::kAddressSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need descriptors for their own checks";
    }
    for (const unsigned available : {0u, 1u, 2u, 3u}) {
        const auto result = helpers::runInChild([available](const auto& report) {
            rlim_t limit = 0;
            for (unsigned free = 0; free < available || isOpen(static_cast<int>(limit)); ++limit) {
                free += isOpen(static_cast<int>(limit)) ? 0 : 1;
            }
            const rlimit few{limit, limit};
            ::setrlimit(RLIMIT_NOFILE, &few);
            const auto before = helpers::openDescriptors();
            try {
                const Pipes pipes;
            } catch (const std::runtime_error& error) {
                report(error.what());
            }
            return helpers::openDescriptors() == before ? 0 : 1;
        });
        EXPECT_EQ(result.report, "failed to open pipe") << available;
        EXPECT_EQ(result.exitCode, 0) << available;
    }
}

}  // namespace
