// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <future>
#include <set>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/executable/Executable.h>

#include "helpers/background.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/processes.h"
#include "helpers/refusedCalls.h"
#include "processes/kills.h"

namespace {

using helpers::shell;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vorn::common::executable::Executable;
using vorn::common::executable::IExecutable;

const std::vector<std::string> kTools{"PATH=/bin:/usr/bin"};

std::string outputOf(const std::vector<std::string>& arguments, Executable::Params options = {}) {
    if (options.environment.empty()) {
        options.environment = kTools;
    }
    Executable program(arguments, options);
    program.execSync();
    return program.readFromStdOut().value_or("nothing");
}

/// One field of the child's /proc/self/status.
std::string statusField(const std::string& field) {
    std::istringstream lines(outputOf({"/bin/cat", "/proc/self/status"}));
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(field + ":\t", 0) == 0) {
            return line.substr(field.size() + 2);
        }
    }
    return "missing";
}

std::string pipeName(int fd) {
    struct stat info {};
    ::fstat(fd, &info);
    return "pipe:[" + std::to_string(info.st_ino) + "]";
}

/// What `ls -l /proc/self/fd` shows: descriptor and target.
std::map<int, std::string> descriptorsIn(const std::string& listing) {
    std::map<int, std::string> found;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        const auto arrow = line.find(" -> ");
        if (arrow != std::string::npos) {
            const auto number = line.rfind(' ', arrow - 1) + 1;
            found[std::stoi(line.substr(number, arrow - number))] = line.substr(arrow + 4);
        }
    }
    return found;
}

struct Listed {
    std::map<int, std::string> descriptors;
    std::set<std::string> ownPipes;
    int ends[4];
};

Listed listDescriptors() {
    Listed result;
    auto pipes = std::make_shared<Executable::Pipes>();
    result.ends[0] = pipes->out[0];
    result.ends[1] = pipes->out[1];
    result.ends[2] = pipes->err[0];
    result.ends[3] = pipes->err[1];
    result.ownPipes = {pipeName(pipes->out[0]), pipeName(pipes->err[0])};
    const pid_t pid = Executable::prepareEnvAndExec({"/bin/ls", "-l", "/proc/self/fd"}, pipes, {});
    pipes->closeWriting();
    result.descriptors = descriptorsIn(pipes->readFromStdOut());
    ::waitpid(pid, nullptr, 0);
    return result;
}

TEST(ExecutableChild, DeliberateClosesOnly3To4095AndKeepsItsFourPipeEnds) {
    const int source = ::open("/dev/null", O_RDONLY);
    for (const int fd : {3, 4, 60, 61, 200, 1000, 4094, 4095, 4096, 5000}) {
        if (::fcntl(fd, F_GETFD) == -1) {
            ASSERT_EQ(::dup2(source, fd), fd) << fd;
        }
    }
    const auto listed = listDescriptors();
    std::set<int> nullDevices;
    std::set<int> pipeEnds;
    for (const auto& [fd, target] : listed.descriptors) {
        if (fd >= 3 && target == "/dev/null") {
            nullDevices.insert(fd);
        }
        if (fd >= 3 && target.rfind("pipe:", 0) == 0) {
            pipeEnds.insert(fd);
        }
    }
    for (int fd = 3; fd <= 5000; ++fd) {
        ::close(fd);
    }
    EXPECT_EQ(nullDevices, (std::set<int>{4096, 5000}));
    EXPECT_EQ(pipeEnds, std::set<int>(std::begin(listed.ends), std::end(listed.ends)));
}

TEST(ExecutableChild, ClosesDescriptorsOneByOneOnAnOldKernel) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "an emulator does not run programs that filter system calls";
    }
    const auto result = helpers::runInChild([](const auto& report) {
        constexpr long kCloseRange = 436;
        if (!helpers::refuse({kCloseRange, ENOSYS}) ||
            ::syscall(kCloseRange, 4090, 4090, 0) != -1 || errno != ENOSYS) {
            return 90;
        }
        const int source = ::open("/dev/zero", O_RDONLY);
        for (const int fd : {60, 1000, 4094, 4095, 4096}) {
            ::dup2(source, fd);
        }
        const auto listed = listDescriptors();
        for (const auto& [fd, target] : listed.descriptors) {
            if (target == "/dev/zero") {
                report(std::to_string(fd) + " ");
            }
        }
        for (const int end : listed.ends) {
            report(listed.descriptors.count(end) == 1 ? "kept " : "closed ");
        }
        return 0;
    });
    if (result.exitCode == 90) {
        GTEST_SKIP() << "needs a kernel with filters for system calls (seccomp)";
    }
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.report, "4096 kept kept kept kept ");
}

TEST(ExecutableChild, OutputsAreItsPipesAndInputIsInherited) {
    const auto listed = listDescriptors();
    ASSERT_EQ(listed.descriptors.count(0), 1u);
    EXPECT_EQ(listed.descriptors.at(0), std::filesystem::read_symlink("/proc/self/fd/0").string());
    EXPECT_EQ(listed.descriptors.at(1), listed.descriptors.at(listed.ends[1]));
    EXPECT_EQ(listed.descriptors.at(2), listed.descriptors.at(listed.ends[3]));
    EXPECT_NE(listed.descriptors.at(1), listed.descriptors.at(2));
}

TEST(ExecutableChild, ConcurrentStartsDoNotShareTheirPipes) {
    std::vector<std::future<std::string>> threads;
    for (int thread = 0; thread < 6; ++thread) {
        threads.push_back(helpers::inBackground([] {
            for (int i = 0; i < 15; ++i) {
                const auto listed = listDescriptors();
                for (const auto& [fd, target] : listed.descriptors) {
                    if (fd >= 3 && target.rfind("pipe:", 0) == 0 &&
                        listed.ownPipes.count(target) == 0) {
                        return std::to_string(fd) + " is " + target;
                    }
                }
            }
            return std::string();
        }));
    }
    for (auto& thread : threads) {
        EXPECT_EQ(thread.get(), "");
    }
}

TEST(ExecutableChild, WorksWithClosedStandardStreams) {
    const auto result = helpers::runInChild([](const auto& report) {
        for (const int fd : {0, 1, 2}) {
            ::close(fd);
        }
        Executable program(shell("echo out; echo err >&2; exit 3"), {});
        program.execSync();
        report(*program.readFromStdOut() + *program.readFromStdErr());
        return program.getExitCode().value_or(99);
    });
    EXPECT_EQ(result.report, "out\nerr\n");
    EXPECT_EQ(result.exitCode, 3);
}

TEST(ExecutableChild, LeadsAGroupOfItsOwnOnlyOnRequest) {
    const auto own =
        outputOf(shell("echo $$; cut -d ' ' -f 5 /proc/$$/stat"), {.ownProcessGroup = true});
    const auto end = own.find('\n');
    EXPECT_EQ(own, own.substr(0, end + 1) + own.substr(0, end + 1));
    EXPECT_EQ(outputOf(shell("cut -d ' ' -f 5 /proc/$$/stat")), std::to_string(::getpgrp()) + "\n");
}

TEST(ExecutableChild, HasTheSignalMaskOfItsStarter) {
    sigset_t mask;
    sigemptyset(&mask);
    EXPECT_EQ(statusField("SigBlk"), "0000000000000000");
    sigaddset(&mask, SIGUSR1);
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, &mask, &before);
    EXPECT_EQ(statusField("SigBlk"), "0000000000000200");
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(sigismember(&after, SIGUSR1), 1);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 0);
}

TEST(ExecutableChild, StartedFromACallbackHasTheMaskOfTheFirstStarter) {
    std::promise<std::string> mask;
    Executable first(shell("exit 0"), {});
    first.execAsync([&](const IExecutable&) { mask.set_value(statusField("SigBlk")); });
    EXPECT_EQ(mask.get_future().get(), "0000000000000000");
}

TEST(ExecutableChild, CaughtSignalsAreDefaultAndIgnoredOnesStayIgnored) {
    ::signal(SIGUSR1, [](int) {});
    ::signal(SIGUSR2, SIG_IGN);
    const auto ignored = statusField("SigIgn");
    const auto caught = statusField("SigCgt");
    ::signal(SIGUSR1, SIG_DFL);
    ::signal(SIGUSR2, SIG_DFL);
    ASSERT_EQ(ignored.size(), 16u);
    const auto bits = std::stoull(ignored, nullptr, 16);
    EXPECT_EQ(bits >> (SIGUSR2 - 1) & 1, 1u);
    EXPECT_EQ(bits >> (SIGUSR1 - 1) & 1, 0u);
    EXPECT_EQ(caught, "0000000000000000");
}

std::set<std::string> threadsOfThisProcess() {
    std::set<std::string> tids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        tids.insert(entry.path().filename());
    }
    return tids;
}

TEST(ExecutableChild, WaitingThreadsBlockAllSignals) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "an emulator keeps the signal masks of threads to itself";
    }
    const auto before = threadsOfThisProcess();
    Executable program({"/bin/sleep", "1000"}, {.timeout = std::chrono::hours(1)});
    program.execAsync({});
    EXPECT_TRUE(helpers::waitUntil([&] {
        std::size_t added = 0;
        std::size_t blocked = 0;
        for (const auto& tid : threadsOfThisProcess()) {
            if (before.count(tid) == 0) {
                ++added;
                const auto status = helpers::contentOf("/proc/self/task/" + tid + "/status");
                blocked += status.find("SigBlk:\tfffffffe7ffbfeff") != std::string::npos ? 1 : 0;
            }
        }
        return added > 0 && added == blocked;
    }));
}

TEST(ExecutableChild, NoHandlerOfTheServiceRunsInAChild) {
    const auto result = helpers::runInChild([](const auto&) {
        ::setpgid(0, 0);
        const kills::Permitted ownGroup;
        static std::atomic<bool> strayed = false;
        static std::atomic<unsigned> handled = 0;
        static const long service = ::syscall(SYS_getpid);
        ::signal(SIGUSR1, [](int) {
            strayed = strayed || ::syscall(SYS_getpid) != service;
            ++handled;
        });
        std::atomic<bool> done = false;
        std::thread storm([&] {
            while (!done) {
                ::kill(0, SIGUSR1);
                std::this_thread::yield();
            }
        });
        for (int i = 0; i < 60; ++i) {
            auto pipes = std::make_shared<Executable::Pipes>();
            const pid_t pid = Executable::prepareEnvAndExec({"/bin/true"}, pipes, {});
            while (::waitpid(pid, nullptr, 0) == -1 && errno == EINTR) {
            }
        }
        done = true;
        storm.join();
        return strayed ? 1 : handled == 0 ? 2 : 0;
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ExecutableChild, EntersItsRoot) {
    VORN_REQUIRE_FAKE_ROOT();
    const helpers::TempDir directory;
    const helpers::FakeRoot root(directory.path());
    EXPECT_EQ(outputOf(shell("pwd; echo /*"), {.chrootDir = root.path().string()}),
              "/\n/bin /tmp /usr\n");
}

TEST(ExecutableChild, DeliberateARelativeRootIsLookedUpInsideItself) {
    VORN_REQUIRE_FAKE_ROOT();
    const helpers::TempDir directory;
    const helpers::FakeRoot outer(directory.path() / "jail");
    const auto list = [&](const auto& report) {
        if (::chdir(directory.path().c_str()) != 0) {
            return 90;
        }
        Executable program(shell("pwd; echo /*"), {.chrootDir = "jail", .environment = kTools});
        program.execSync();
        report(*program.readFromStdOut());
        return program.getExitCode().value_or(91);
    };
    EXPECT_EQ(helpers::runInChild(list).exitCode, 1);
    const helpers::FakeRoot inner(outer.path() / "jail");
    std::ofstream(inner.path() / "inside") << "x";
    EXPECT_EQ(helpers::runInChild(list).report, "/\n/bin /inside /tmp /usr\n");
}

TEST(ExecutableChild, AnEmptyRootMeansTmpChroot) {
    VORN_REQUIRE_FAKE_ROOT();
    const helpers::TempDir directory;
    const helpers::FakeRoot outer(directory.path());
    const helpers::FakeRoot inner(outer.path() / "tmp/chroot");
    std::ofstream(inner.path() / "inside") << "x";
    const auto result = helpers::runInChild([&](const auto& report) {
        if (::chroot(outer.path().c_str()) != 0 || ::chdir("/") != 0) {
            return 90;
        }
        report(outputOf(shell("pwd; echo /*"), {.chrootDir = ""}));
        return 0;
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.report, "/\n/bin /inside /tmp /usr\n");
}

TEST(ExecutableChild, ARootThatCannotBeEnteredGivesExitStatus1) {
    const helpers::TempDir directory;
    for (const auto& root : {directory.file("missing"), directory.write("file", "x")}) {
        Executable program(shell("exit 0"), {.chrootDir = root});
        program.execSync();
        EXPECT_EQ(program.getStatus(), Executable::Exited);
        EXPECT_EQ(program.getExitCode(), 1);
        EXPECT_EQ(program.readFromStdOut(), "");
    }
}

TEST(ExecutableChild, AServiceWithoutThePrivilegeCannotChangeTheRoot) {
    VORN_REQUIRE_ROOT();
    const auto result = helpers::runInChild([](const auto&) {
        if (::setresuid(65534, 65534, 65534) != 0) {
            return 90;
        }
        Executable program(shell("exit 0"), {.chrootDir = "/"});
        program.execSync();
        return program.getExitCode().value_or(91);
    });
    EXPECT_EQ(result.exitCode, 1);
}

TEST(ExecutableChild, ControlGroupsArePairsBeforeTheCommand) {
    VORN_REQUIRE_FAKE_ROOT();
    const struct {
        std::vector<std::string> groups;
        std::vector<std::string> arguments;
        std::string record;
    } rows[] = {
        {{"memory:/a"}, {"/bin/tool", "x y"}, "-g\nmemory:/a\n/bin/tool\nx y\n"},
        {{"cpu,memory:b", "pids:c"}, {"t"}, "-g\ncpu,memory:b\n-g\npids:c\nt\n"},
        {{}, {"/bin/tool"}, "/bin/tool\n"},
        {{"a:b"}, {}, "-g\na:b\n"},
        {{}, {}, ""},
    };
    for (const auto& row : rows) {
        const helpers::TempDir directory;
        const helpers::FakeRoot root(directory.path());
        Executable program(row.arguments,
                           {.cgroups = row.groups, .chrootDir = root.path().string()});
        program.execSync();
        EXPECT_EQ(program.getExitCode(), 0);
        EXPECT_TRUE(std::filesystem::exists(root.path() / "record"));
        EXPECT_EQ(root.record(), row.record);
    }
}

TEST(ExecutableChild, RunsInARealControlGroup) {
    VORN_REQUIRE_ROOT();
    if (::access("/usr/bin/cgexec", X_OK) != 0) {
        GTEST_SKIP() << "needs /usr/bin/cgexec (Debian package cgroup-tools)";
    }
    const auto name = "vorn-test-" + std::to_string(::getpid());
    const std::filesystem::path group = "/sys/fs/cgroup/cpu/" + name;
    if (::mkdir(group.c_str(), 0755) != 0) {
        GTEST_SKIP() << "needs a writable version 1 hierarchy at /sys/fs/cgroup/cpu";
    }
    const auto groups = outputOf({"/bin/cat", "/proc/self/cgroup"}, {.cgroups = {{"cpu:" + name}}});
    const auto without = outputOf({"/bin/cat", "/proc/self/cgroup"});
    EXPECT_TRUE(helpers::waitUntil([&] { return ::rmdir(group.c_str()) == 0; }));
    EXPECT_THAT(groups, HasSubstr("/" + name + "\n"));
    EXPECT_THAT(without, Not(HasSubstr(name)));
}

}  // namespace
