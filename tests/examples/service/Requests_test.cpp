// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sysexits.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunningService.h"
#include "helpers/TempDir.h"
#include "helpers/environment.h"
#include "helpers/processes.h"
#include "helpers/wait_until.h"

namespace service_tests {

using testing::HasSubstr;
using testing::StartsWith;

namespace {

bool catches(pid_t process, int number) {
    const auto status = helpers::contentOf("/proc/" + std::to_string(process) + "/status");
    const auto place = status.find("SigCgt:");
    return place != std::string::npos &&
           (std::stoull(status.substr(place + 7), nullptr, 16) >> (number - 1) & 1U) != 0;
}

}  // namespace

TEST(Requests, AreAnsweredInTurn) {
    RunningService service(running("echo out; echo errors >&2; exit 3"));
    service.start();
    EXPECT_EQ(service.ask("status"), "ok label=unnamed, last check: none");
    EXPECT_EQ(service.ask("label boiler room"), "ok");
    EXPECT_EQ(service.ask("check"), "ok");
    EXPECT_EQ(service.line(4), "check exited with 3: out errors ");
    EXPECT_EQ(service.ask("status"),
              "ok label=boiler room, last check: exited with 3: out errors ");
    EXPECT_THAT(service.ask("unknown"), StartsWith("error known are status"));
    EXPECT_THAT(service.ask(""), StartsWith("error known are status"));
}

TEST(Requests, EndOfTheInputEndsTheServiceAfterTheCheck) {
    RunningService service(running("sleep 0.3; echo done"));
    service.start();
    service.send("check\nlabel cut off by the end of its cl");
    service.endInput();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_EQ(service.output(), "ok\ncheck exited with 0: done \n");
    EXPECT_FALSE(std::filesystem::exists(service.settings()));
}

TEST(Requests, OnlyOneCheckRunsAtATime) {
    RunningService service(running("sleep 1000"));
    service.start();
    EXPECT_EQ(service.ask("check"), "ok");
    EXPECT_THAT(service.ask("check"), HasSubstr("one at a time"));
}

TEST(Requests, AreNoLongerTakenOnceNobodyReadsTheAnswers) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    RunningService service;
    service.start([&] { ::dup2(ends[1], STDOUT_FILENO); });
    service.send("status\n");
    EXPECT_EQ(service.wait(), EX_UNAVAILABLE);  // and not ended by SIGPIPE
    EXPECT_THAT(service.errors(), HasSubstr("answers cannot be written: Broken pipe"));
    ::close(ends[1]);
}

TEST(Stopping, ASignalEndsTheServiceWithSuccess) {
    for (const int number : {SIGTERM, SIGINT}) {
        RunningService service;
        service.start();
        EXPECT_THAT(service.ask("status"), StartsWith("ok"));
        service.signal(number);
        EXPECT_EQ(service.wait(), 0);
    }
}

TEST(Stopping, ARunningCheckIsWaitedFor) {
    const helpers::TempDir gate;
    std::filesystem::permissions(gate.path(), std::filesystem::perms(0755));
    RunningService service(
        running("until test -e " + gate.file("go") + "; do sleep 0.05; done; echo done"));
    service.start();
    EXPECT_EQ(service.ask("check"), "ok");
    service.signal(SIGTERM);
    service.trySend("label late\n");
    gate.write("go", "");
    EXPECT_EQ(service.wait(), 0);
    EXPECT_EQ(service.output(), "ok\ncheck exited with 0: done \n");
}

TEST(Stopping, ASecondSignalEndsTheServiceAtOnce) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "/proc tells the handlers of the emulator";
    }
    RunningService service(running("sleep 1000"));
    service.start();
    EXPECT_EQ(service.ask("check"), "ok");
    service.signal(SIGTERM);
    // Once the first has been handled the handler is gone.
    EXPECT_TRUE(helpers::waitUntil([&] { return !catches(service.pid(), SIGTERM); }));
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 1000 + SIGTERM);
}

TEST(Stopping, WhoReadsNoAnswersDoesNotPreventIt) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    RunningService service;
    service.start([&] { ::dup2(ends[1], STDOUT_FILENO); });
    service.trySend(std::string(4096, '\n'));
    EXPECT_TRUE(helpers::waitUntil([&] {
        int unread = 0;
        ::ioctl(ends[0], FIONREAD, &unread);
        return unread > 60000 && helpers::stateOf(std::to_string(service.pid())) == 'S';
    }));
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(Check, IsKilledWithWhatItStartedWhenItTakesTooLong) {
    RunningService service(running("sleep 1000 & echo $!; sleep 1000", 3));
    service.start();
    const auto begin = std::chrono::steady_clock::now();
    service.send("check\n");
    const auto result = service.line(2);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2950));
    const std::string expected = "check took too long and was killed: ";
    ASSERT_THAT(result, StartsWith(expected));
    const pid_t background = std::stoi(result.substr(expected.size()));
    EXPECT_TRUE(helpers::waitUntil([&] { return !helpers::isAlive(background); }));
    EXPECT_THAT(service.ask("status"), HasSubstr("took too long"));
}

TEST(Check, TellsASignal) {
    RunningService service(running("kill -9 $$"));
    service.start();
    service.send("check\n");
    EXPECT_EQ(service.line(2), "check was ended by a signal: ");
}

TEST(Check, HasNoMoreOutputThanAllowedAndOneLineOfIt) {
    RunningService service(running("yes ok"));
    service.start();
    service.send("check\n");
    const auto result = service.line(2);
    EXPECT_THAT(result, StartsWith("check "));
    EXPECT_THAT(result, HasSubstr("ok ok ok"));
    EXPECT_EQ(result.size(), 1000U);
    EXPECT_EQ(service.ask("status").size(), 1000U);
}

TEST(Check, MayDestroyItsOutput) {
    for (const char* script :
         {"rm $OUT", "rm $OUT; mkfifo $OUT", "rm $OUT; ln -s /dev/zero $OUT", "chmod 0 $OUT"}) {
        RunningService service(running(script));
        service.start();
        service.send("check\n");
        EXPECT_THAT(service.line(2), StartsWith("check ")) << script;
        EXPECT_THAT(service.ask("status"), StartsWith("ok ")) << script;
    }
}

TEST(Check, LeavesTheRequestsAlone) {
    RunningService service(running("cat; echo end"));
    service.start();
    service.send("check\nstatus\n");
    EXPECT_EQ(service.line(3), "check exited with 0: end ");
}

TEST(Check, HearsSignalsAndBrokenPipesAsAnyScript) {
    RunningService service(running("grep -E 'Sig(Blk|Ign)' /proc/self/status; umask"));
    // Whoever started the tests may have ignored some.
    service.start([] {
        for (int number = 1; number < NSIG; ++number) {
            ::signal(number, SIG_DFL);
        }
    });
    service.send("check\n");
    EXPECT_EQ(service.line(2),
              "check exited with 0: SigBlk: 0000000000000000 "
              "SigIgn: 0000000000000000 0077 ");
}

TEST(Check, HasAnExitCodeWhenSigchldWasIgnoredAtTheStart) {
    RunningService service(running("exit 7"));
    service.start([] { ::signal(SIGCHLD, SIG_IGN); });
    service.send("check\n");
    EXPECT_EQ(service.line(2), "check exited with 7: ");
}

TEST(Check, MayBeOneThatCannotStart) {
    if (helpers::kEmulated) {
        GTEST_SKIP() << "the emulator has descriptors of its own";
    }
    RunningService service(running("exit 7"));
    service.start([] {
        const rlimit few{7, 7};
        ::setrlimit(RLIMIT_NOFILE, &few);
    });
    EXPECT_EQ(service.ask("check"), "error failed to open pipe");
    EXPECT_THAT(service.ask("status"), StartsWith("ok "));
}

TEST(Hostile, LongLinesAreNoRequests) {
    RunningService service;
    service.start();
    service.send("status" + std::string(1 << 20, ' ') + "label x\n");
    EXPECT_THAT(service.line(1), StartsWith("error "));
    EXPECT_THAT(service.ask("label " + std::string(94, 'x')), StartsWith("error "));
    EXPECT_EQ(service.ask("label " + std::string(93, 'x')), "ok");
}

TEST(Hostile, OddCharactersStayInTheirLine) {
    RunningService service;
    service.start();
    EXPECT_THAT(service.ask(std::string("stat\0us", 7)), StartsWith("error known"));
    EXPECT_THAT(service.ask(std::string("label a\0b", 9)), StartsWith("error mend"));
    EXPECT_THAT(service.ask("label \\\\n"), StartsWith("error not stored"));
    EXPECT_EQ(service.ask("label \"quoted\"\r\t\x1b[2J\xff"), "ok");
    EXPECT_EQ(service.ask("status"), "ok label=\"quoted\"   [2J , last check: none");
}

TEST(Hostile, AFloodIsAnsweredAndDoesNotGrowTheService) {
    RunningService service;
    service.start();
    const std::size_t count = helpers::kSlow ? 500 : 20000;
    std::string flood;
    for (std::size_t i = 0; i < count; ++i) {
        flood += "x\n";
    }
    service.send(flood);
    EXPECT_THAT(service.line(count), StartsWith("error "));
    EXPECT_THAT(service.ask("status"), StartsWith("ok "));
}

TEST(Log, MayBeFull) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    while (::write(ends[1], "full", 4) > 0) {
    }
    ::fcntl(ends[1], F_SETFL, 0);
    RunningService service(replacing("86400", "1"));
    service.start([&] { ::dup2(ends[1], STDERR_FILENO); });
    EXPECT_THAT(service.ask("status"), StartsWith("ok "));
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(Log, HasAReportEveryPeriod) {
    RunningService service(replacing("86400", "1"));
    service.start();
    EXPECT_TRUE(helpers::waitUntil(
        [&] { return service.errors().find("report: ok label=unnamed") != std::string::npos; }));
}

}  // namespace service_tests
