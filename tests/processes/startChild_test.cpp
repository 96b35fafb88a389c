// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "helpers/child.h"
#include "helpers/environment.h"
#include "posix/ExecImage.h"
#include "posix/startChild.h"

namespace {

using namespace vorn::common::internal;

TEST(StartChild, AnEmptyRootHasAName) {
    EXPECT_EQ(rootOf(std::nullopt), nullptr);
    EXPECT_STREQ(rootOf(""), "/tmp/chroot");
    EXPECT_STREQ(rootOf("/srv"), "/srv");
}

TEST(StartChild, LeavesErrnoAlone) {
    errno = 77;
    const Child child = startChild(ChildPlan(), ExecImage({"/no/such/program"}, {}));
    EXPECT_EQ(errno, 77);
    child.waitForEnd();
    EXPECT_EQ(child.reap(), 1);
}

TEST(StartChild, WithoutMemoryForItsStackThereIsNone) {
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer || helpers::kEmulated) {
        GTEST_SKIP() << "sanitizers need address space at any time; the emulator knows no limit";
    }
    const auto result = helpers::runInChild([](const auto&) {
        const ExecImage image({"/bin/true"}, {});
        const ChildPlan plan;
        rlimit before{};
        ::getrlimit(RLIMIT_AS, &before);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_AS, &none);
        const bool started = static_cast<bool>(startChild(plan, image));
        ::setrlimit(RLIMIT_AS, &before);
        return started ? 1 : 0;
    });
    EXPECT_EQ(result.exitCode, 0);
}

/// Which of the descriptors 4093 to 4097, all open, a child has when it is to keep one of them: a
/// bit for each.
int openInChild(int kept) {
    const auto result = helpers::runInChild([kept](const auto& report) {
        const rlimit many{5000, 5000};
        if (::setrlimit(RLIMIT_NOFILE, &many) != 0) {
            report("too few descriptors are allowed");
            return 0;
        }
        for (int fd = 4093; fd <= 4097; ++fd) {
            ::dup2(STDERR_FILENO, fd);
        }
        ChildPlan plan;
        plan.keptDescriptors = {kept, -1, -1, -1};
        const Child child =
            startChild(plan, ExecImage({"/bin/sh", "-c",
                                        "code=0; bit=1; for fd in 4093 4094 4095 4096 4097; do "
                                        "[ ! -e /proc/$$/fd/$fd ] || code=$((code + bit)); "
                                        "bit=$((bit * 2)); done; exit $code"},
                                       {}));
        child.waitForEnd();
        return child.reap().value_or(99);
    });
    return result.report.empty() ? result.exitCode.value_or(99) : -1;
}

TEST(StartChild, ClosesDescriptorsUpTo4095AndKeepsTheOthers) {
    if (openInChild(-1) == -1) {
        GTEST_SKIP() << "not so many descriptors are allowed here";
    }
    EXPECT_EQ(openInChild(-1), 0b11000);
    EXPECT_EQ(openInChild(4093), 0b11001);
    EXPECT_EQ(openInChild(4094), 0b11010);
    EXPECT_EQ(openInChild(4095), 0b11100);
    EXPECT_EQ(openInChild(4096), 0b11000);
    EXPECT_EQ(openInChild(4097), 0b11000);
}

}  // namespace
