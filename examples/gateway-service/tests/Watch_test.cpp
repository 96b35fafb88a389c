// gwctl watch, on a pipe and on a terminal.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "helpers/wait_until.h"
#include "programs.h"

namespace gateway_tests {

namespace {

// A pseudo-terminal: the test holds both ends, so that its settings can be looked at afterwards.
class PseudoTerminal {
  public:
    PseudoTerminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        ::grantpt(master_.get());
        ::unlockpt(master_.get());
        name_ = ::ptsname(master_.get());
        slave_ = gateway::FileDescriptor(::open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    [[nodiscard]] const std::string& name() const { return name_; }
    void press(char key) { EXPECT_EQ(::write(master_.get(), &key, 1), 1); }
    [[nodiscard]] tcflag_t localModes() const {
        termios settings{};
        EXPECT_EQ(::tcgetattr(slave_.get(), &settings), 0);
        return settings.c_lflag;
    }
    /// Everything shown so far.
    const std::string& screen() {
        pollfd polled{master_.get(), POLLIN, 0};
        while (::poll(&polled, 1, 0) > 0) {
            std::array<char, 4096> block;
            const ssize_t count = ::read(master_.get(), block.data(), block.size());
            if (count <= 0) {
                break;
            }
            screen_.append(block.data(), static_cast<std::size_t>(count));
        }
        return screen_;
    }

  private:
    gateway::FileDescriptor master_;
    gateway::FileDescriptor slave_;
    std::string name_;
    std::string screen_;
};

Launch watching(const RunningService& service, const PseudoTerminal& terminal,
                const std::string& interval) {
    Launch launch{service.directory().path().string(),
                  controlProgram(),
                  {service.socket(), "watch", "--interval", interval}};
    launch.terminal = terminal.name();
    return launch;
}

bool shows(PseudoTerminal& terminal, const std::string& text) {
    return helpers::waitUntil([&] { return terminal.screen().find(text) != std::string::npos; });
}

}  // namespace

TEST(Watch, EndsAfterTheGivenNumberOfPages) {
    RunningService service;
    const Outcome outcome = service.control({"watch", "--count", "2", "--interval", "1"});
    EXPECT_EQ(outcome.exitCode, 0);
    const std::string page = "service        in service, health ok\n";
    const std::size_t first = outcome.output.find(page);
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(outcome.output.find("\n\n" + page, first), std::string::npos);
    EXPECT_EQ(outcome.output.find('\x1b'), std::string::npos) << "no terminal, no escapes";
    EXPECT_EQ(service.control({"watch", "--count", "0"}).exitCode, 64);
    EXPECT_EQ(service.control({"watch", "--interval", "0"}).exitCode, 64);
}

TEST(Watch, OnATerminalItEndsOnQAndRestoresIt) {
    RunningService service;
    PseudoTerminal terminal;
    const tcflag_t before = terminal.localModes();
    Process watch(watching(service, terminal, "600"));
    EXPECT_TRUE(shows(terminal, "\x1b[?1049h"));
    EXPECT_TRUE(shows(terminal, "in service, health ok"));
    EXPECT_EQ(terminal.localModes() & ICANON, 0U);
    terminal.press('x');
    terminal.press('q');
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_TRUE(shows(terminal, "\x1b[?1049l"));
    EXPECT_EQ(terminal.localModes(), before);
}

TEST(Watch, ASignalEndsItAndRestoresTheTerminal) {
    RunningService service;
    PseudoTerminal terminal;
    const tcflag_t before = terminal.localModes();
    Process watch(watching(service, terminal, "600"));
    EXPECT_TRUE(shows(terminal, "in service, health ok"));
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(terminal.localModes(), before);
}

TEST(Watch, AServiceThatEndsRestoresTheTerminal) {
    RunningService service;
    PseudoTerminal terminal;
    const tcflag_t before = terminal.localModes();
    Process watch(watching(service, terminal, "1"));
    EXPECT_TRUE(shows(terminal, "in service, health ok"));
    service.stop();
    EXPECT_EQ(watch.wait(), 69);
    EXPECT_EQ(terminal.localModes(), before);
}

}  // namespace gateway_tests
