// SPDX-License-Identifier: MIT

// What the service does not take over from whoever starts it, and does not hand on.

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

const std::string kStatus = "{\"request\":\"status\"}";

std::string daemonIdentity() {
    return R"(, "identity": {"user": "daemon", "group": "daemon"})";
}

// A pseudo-terminal that the test holds at both ends.
class PseudoTerminal {
  public:
    PseudoTerminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        ::grantpt(master_.get());
        ::unlockpt(master_.get());
        name_ = ::ptsname(master_.get());
        slave_ = gateway::FileDescriptor(::open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    // Makes it the calling process's own, and its standard streams.
    void take() const {
        ::setsid();
        const int own = ::open(name_.c_str(), O_RDWR);
        ::ioctl(own, TIOCSCTTY, 0);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) {
            ::dup2(own, stream);
        }
        ::close(own);
    }

    void press(char key) const { EXPECT_EQ(::write(master_.get(), &key, 1), 1); }

  private:
    gateway::FileDescriptor master_;
    gateway::FileDescriptor slave_;
    std::string name_;
};

// A pipe as the service's log.
class LogPipe {
  public:
    LogPipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reading_ = gateway::FileDescriptor(ends[0]);
        writing_ = gateway::FileDescriptor(ends[1]);
    }

    void take() const { ::dup2(writing_.get(), STDERR_FILENO); }
    // Like the pipe of somebody else. Call it in the process that is not to reopen it.
    void forbidReopening() const {
        ::fchmod(writing_.get(), 0);
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
    }
    void closeReading() { reading_ = gateway::FileDescriptor(); }
    void closeWriting() { writing_ = gateway::FileDescriptor(); }
    [[nodiscard]] std::string content() const {
        std::string content;
        std::array<char, 4096> block;
        ::fcntl(reading_.get(), F_SETFL, O_NONBLOCK);
        for (ssize_t count = 0; (count = ::read(reading_.get(), block.data(), block.size())) > 0;) {
            content.append(block.data(), static_cast<std::size_t>(count));
        }
        return content;
    }

  private:
    gateway::FileDescriptor reading_;
    gateway::FileDescriptor writing_;
};

// Runs jobs, which are logged, until far more has been logged than a pipe and the service keep.
void fillTheLog(RunningService& service) {
    RawClient client = service.connect();
    const std::string request = R"({"request":"exec","timeout":60,"program":["/bin/true"],)"
                                R"("description":")" +
                                std::string(250, 'x') + "\"}";
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(helpers::waitUntil(
            [&] { return member(client.ask(request), {"answer"}) == "\"accepted\""; }));
        ASSERT_EQ(member(client.line(), {"exitCode"}), "0");
    }
}

}  // namespace

TEST(Hygiene, ClosedStandardDescriptorsAreOpenedFirst) {
    RunningService service("", [] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ::close(stream);
        }
    });
    const std::string descriptors = "/proc/" + std::to_string(service.process().id()) + "/fd/";
    for (const char* stream : {"0", "1", "2"}) {
        EXPECT_EQ(std::filesystem::read_symlink(descriptors + stream), "/dev/null") << stream;
    }
    EXPECT_EQ(service.control({"run", "--wait", "echo out; echo err >&2"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
}

TEST(Hygiene, TheSocketsDirectoryIsClosedToOthersWhateverTheUmask) {
    RunningService service("", [] { ::umask(0); });
    struct stat status {};
    ASSERT_EQ(::stat(service.directory().file("run").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0750U);
    ASSERT_EQ(::stat(service.settingsFile().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST(Hygiene, WhoRanWhatIsInTheLog) {
    RunningService service;
    EXPECT_EQ(service.control({"exec", "--description", "a\nb", "/bin/true"}).exitCode, 0);
    EXPECT_TRUE(service.logs(": program of user " + std::to_string(::getuid()) + ", process "));
    EXPECT_TRUE(service.logs(": a.b\n")) << "a description cannot make a line of the log";
    EXPECT_TRUE(service.logs(": exited with 0\n"));
}

TEST(Hygiene, TheLogsLevelIsThatOfTheConfiguration) {
    RunningService service(R"(, "log": "warning")");
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    EXPECT_EQ(service.process().errors(), "");
}

TEST(Hygiene, ALogThatNobodyReadsHoldsUpNobodyAndTellsWhatWasLost) {
    LogPipe pipe;
    RunningService service(R"(, "jobs": {"limit": 8})", [&pipe] { pipe.take(); });
    pipe.closeWriting();
    fillTheLog(service);
    EXPECT_EQ(service.control({"status"}).exitCode, 0);
    std::string content = pipe.content();
    EXPECT_EQ(service.control({"set", "heartbeat", "1"}).exitCode, 0);
    EXPECT_TRUE(helpers::waitUntil([&] {
        content += pipe.content();
        return content.find(" log lines were lost here\n") != std::string::npos;
    })) << content.size();
    EXPECT_EQ(service.stop(), 0);
}

TEST(Hygiene, ALogThatCannotBeReopenedHoldsUpNobodyEither) {
    LogPipe pipe;
    RunningService service(R"(, "jobs": {"limit": 8})", [&pipe] {
        pipe.take();
        pipe.forbidReopening();
    });
    pipe.closeWriting();
    fillTheLog(service);
    EXPECT_EQ(service.control({"status"}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
}

TEST(Hygiene, TheEndOfTheLogsReaderIsNotThatOfTheService) {
    LogPipe pipe;
    RunningService service("", [&pipe] { pipe.take(); });
    pipe.closeWriting();
    pipe.closeReading();
    EXPECT_EQ(service.control({"exec", "/bin/true"}).exitCode, 0);
    EXPECT_EQ(service.control({"run", "--wait", "kill -PIPE $$; exit 1"}).exitCode, 125)
        << "the default for scripts";
    EXPECT_EQ(service.control({"exec", "--", "/bin/sh", "-c", "kill -PIPE $$; exit 1"}).exitCode,
              125);
    EXPECT_EQ(service.stop(), 0);
}

TEST(Hygiene, TheTerminalIsGivenUpWithTheIdentity) {
    VORN_REQUIRE_ROOT();
    if (helpers::kEmulated) {
        GTEST_SKIP() << "/proc describes the emulator";
    }
    PseudoTerminal terminal;
    // A shell leads the session, as it does for whoever starts the service by hand.
    const helpers::TempDir directory;
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    const std::string configuration =
        directory.write("c.json", R"({"socket": "run/s.sock")" + daemonIdentity() + "}");
    Launch launch{directory.path().string(),
                  "/bin/sh",
                  {"-c", "trap : INT; " + gatewaydProgram() + " " + configuration +
                             "; echo ended $? >result"}};
    launch.prepare = [&terminal] { terminal.take(); };
    Process shell(launch);
    ASSERT_TRUE(helpers::waitUntil([&] {
        return !shell.running() || shell.errors().find("in service at") != std::string::npos;
    })) << shell.errors();
    Launch run{directory.path().string(), controlProgram(), {"run/s.sock", "exec", "--"}};
    run.arguments.insert(run.arguments.end(), {"/bin/sh", "-c", "cat /proc/self/stat"});
    std::string stat = runProgram(run).output;
    stat.erase(0, stat.rfind(')') + 1);  // state, parent, group, session, terminal
    std::istringstream fields(stat);
    std::string state;
    int parent = 0;
    int group = 0;
    int session = 0;
    int number = -1;
    fields >> state >> parent >> group >> session >> number;
    EXPECT_EQ(number, 0) << stat;
    run.arguments = {"run/s.sock", "run", "--wait", "read -r line <&1"};
    EXPECT_NE(runProgram(run).exitCode, 0) << "a script cannot read what is typed there";
    terminal.press('\x03');
    EXPECT_TRUE(helpers::waitUntil([&] {
        return helpers::contentOf(directory.file("result")) == "ended 0\n";
    })) << "Ctrl-C still ends the service";
}

}  // namespace gateway_tests
