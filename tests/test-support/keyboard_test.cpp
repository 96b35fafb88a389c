// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>

#include <gtest/gtest.h>

#include <vorn/common/test/helpers.h>

#include "helpers/leave.h"
#include "helpers/wait_until.h"

namespace {

using vorn::common::test::_getch;
using vorn::common::test::pressKey;

int signalPipe[2] = {-1, -1};

void reportSignal(int) {
    const char mark = 's';
    if (::write(signalPipe[1], &mark, 1) != 1) {
        ::_exit(97);
    }
}

/// Sends the signal until its handler has run; a sanitizer may hold one back that arrives just
/// before a blocking call.
bool signalUntilHandled(pid_t pid) {
    return helpers::waitUntil([&] {
        EXPECT_EQ(::kill(pid, SIGUSR1), 0);
        pollfd handled{signalPipe[0], POLLIN, 0};
        char mark = 0;
        return ::poll(&handled, 1, 20) == 1 && ::read(signalPipe[0], &mark, 1) == 1;
    });
}

std::string readToEnd(int fd) {
    std::string text;
    char buffer[256];
    for (;;) {
        const auto count = ::read(fd, buffer, sizeof buffer);
        if (count > 0) {
            text.append(buffer, static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return text;
        }
    }
}

/// A forked child with the given standard input (-1: none at all), its other streams kept.
class Child {
  public:
    Child(int input, const std::function<int()>& body) {
        if (::pipe(output_) != 0 || ::pipe(errors_) != 0) {
            throw std::runtime_error("pipe failed");
        }
        // What stands in the buffer would be written by the child too.
        std::fflush(stdout);
        pid_ = ::fork();
        if (pid_ == 0) {
            if (input == -1) {
                ::close(STDIN_FILENO);
            } else {
                ::dup2(input, STDIN_FILENO);
            }
            ::dup2(output_[1], STDOUT_FILENO);
            ::dup2(errors_[1], STDERR_FILENO);
            const int code = body();
            std::cout.flush();
            helpers::leave(code);
        }
        ::close(output_[1]);
        ::close(errors_[1]);
    }

    void finish() {
        output = readToEnd(output_[0]);
        errors = readToEnd(errors_[0]);
        ::close(output_[0]);
        ::close(errors_[0]);
        int status = 0;
        while (::waitpid(pid_, &status, 0) == -1 && errno == EINTR) {
        }
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    [[nodiscard]] pid_t pid() const { return pid_; }

    std::string output;
    std::string errors;
    int exitCode = -1;

  private:
    int output_[2] = {-1, -1};
    int errors_[2] = {-1, -1};
    pid_t pid_ = -1;
};

class Terminal {
  public:
    Terminal() {
        if (::openpty(&controller, &line, nullptr, nullptr, nullptr) != 0) {
            throw std::runtime_error("openpty failed");
        }
    }
    ~Terminal() {
        ::close(controller);
        ::close(line);
    }

    [[nodiscard]] termios settings() const {
        termios current{};
        EXPECT_EQ(::tcgetattr(controller, &current), 0);
        return current;
    }
    void apply(const termios& wanted) const {
        EXPECT_EQ(::tcsetattr(controller, TCSANOW, &wanted), 0);
    }
    [[nodiscard]] bool has(tcflag_t flag) const { return (settings().c_lflag & flag) != 0; }
    [[nodiscard]] bool waitForRawMode() const {
        return helpers::waitUntil([&] { return !has(ICANON) && !has(ECHO); });
    }
    void press(char key) const { EXPECT_EQ(::write(controller, &key, 1), 1); }
    [[nodiscard]] std::string echoed() const {
        ::fcntl(controller, F_SETFL, O_NONBLOCK);
        return readToEnd(controller);
    }

    int controller = -1;
    int line = -1;
};

int keyCode() {
    return static_cast<unsigned char>(_getch());
}

std::string report(const char* step, int error) {
    return std::string(step) + ": " + std::strerror(error) + "\n";
}

std::string threeReports(int error) {
    return report("tcsetattr()", error) + report("tcsetattr ICANON", error) +
           report("tcsetattr ~ICANON", error);
}

TEST(Getch, TakesOneKeyFromATerminalWithoutLineEndAndEcho) {
    const Terminal terminal;
    ASSERT_TRUE(terminal.has(ICANON));
    ASSERT_TRUE(terminal.has(ECHO));
    auto before = terminal.settings();
    before.c_cc[VMIN] = 7;
    before.c_cc[VTIME] = 9;
    terminal.apply(before);

    Child child(terminal.line, keyCode);
    ASSERT_TRUE(terminal.waitForRawMode());
    const auto during = terminal.settings();
    EXPECT_EQ(during.c_cc[VMIN], 1);
    EXPECT_EQ(during.c_cc[VTIME], 0);
    EXPECT_EQ(during.c_lflag | ICANON | ECHO, before.c_lflag);
    terminal.press('k');
    child.finish();

    EXPECT_EQ(child.exitCode, 'k');
    EXPECT_EQ(child.output, "k\n");
    EXPECT_EQ(child.errors, "");
    EXPECT_EQ(terminal.settings().c_lflag, before.c_lflag);
    EXPECT_EQ(terminal.echoed(), "");
}

TEST(Getch, SwitchesCanonicalModeAndEchoOnEvenWhenTheyWereOff) {
    const Terminal terminal;
    auto raw = terminal.settings();
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    terminal.apply(raw);
    Child child(terminal.line, keyCode);
    terminal.press('q');
    child.finish();
    EXPECT_EQ(child.output, "q\n");
    EXPECT_TRUE(terminal.has(ICANON));
    EXPECT_TRUE(terminal.has(ECHO));
}

TEST(Getch, ReturnsBytesAboveAsciiUnchanged) {
    const Terminal terminal;
    Child child(terminal.line, keyCode);
    ASSERT_TRUE(terminal.waitForRawMode());
    terminal.press('\xE9');
    child.finish();
    EXPECT_EQ(child.exitCode, 0xE9);
    EXPECT_EQ(child.output, "\xE9\n");
}

TEST(Getch, IsNotEndedByASignal) {
    ASSERT_EQ(::pipe(signalPipe), 0);
    const Terminal terminal;
    Child child(terminal.line, [] {
        struct sigaction action {};
        action.sa_handler = reportSignal;
        ::sigaction(SIGUSR1, &action, nullptr);
        return keyCode();
    });
    ASSERT_TRUE(terminal.waitForRawMode());
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(signalUntilHandled(child.pid()));
    }
    terminal.press('x');
    child.finish();
    EXPECT_EQ(child.exitCode, 'x');
    EXPECT_EQ(child.output, "x\n");
    EXPECT_EQ(child.errors, "");
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
}

TEST(Getch, FlushesTheOutputBeforeItWaits) {
    const std::function<void()> kPrompts[] = {
        [] { std::cout << "key? "; },
        [] {
            std::ios::sync_with_stdio(false);
            std::cout << "key? ";
        },
        [] {
            std::ios::sync_with_stdio(false);
            std::fputs("key? ", stdout);
        },
    };
    for (const auto& print : kPrompts) {
        const Terminal terminal;
        int prompts[2];
        ASSERT_EQ(::pipe(prompts), 0);
        Child child(terminal.line, [&] {
            ::dup2(prompts[1], STDOUT_FILENO);
            print();
            return keyCode();
        });
        ASSERT_TRUE(terminal.waitForRawMode());
        pollfd printed{prompts[0], POLLIN, 0};
        EXPECT_EQ(::poll(&printed, 1, 0), 1);
        terminal.press('x');
        child.finish();
        char prompt[6] = {};
        EXPECT_EQ(::read(prompts[0], prompt, 5), 5);
        EXPECT_STREQ(prompt, "key? ");
        ::close(prompts[0]);
        ::close(prompts[1]);
    }
}

TEST(Getch, ReportsEachSettingsStepWhenTheInputIsNoTerminal) {
    int keys[2];
    ASSERT_EQ(::pipe(keys), 0);
    ASSERT_EQ(::write(keys[1], "kl", 2), 2);
    Child child(keys[0], keyCode);
    child.finish();
    EXPECT_EQ(child.exitCode, 'k');
    EXPECT_EQ(child.output, "k\n");
    EXPECT_EQ(child.errors, threeReports(ENOTTY));
    char rest = 0;
    EXPECT_EQ(::read(keys[0], &rest, 1), 1);
    EXPECT_EQ(rest, 'l');
    ::close(keys[0]);
    ::close(keys[1]);
}

TEST(Getch, ReturnsNulAtTheEndOfTheInput) {
    const int empty = ::open("/dev/null", O_RDONLY);
    Child child(empty, keyCode);
    child.finish();
    ::close(empty);
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.output, std::string("\0\n", 2));
    EXPECT_EQ(child.errors, threeReports(ENOTTY));
}

TEST(Getch, ReportsAFailedReadAndCarriesOn) {
    Child child(-1, keyCode);
    child.finish();
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.output, std::string("\0\n", 2));
    EXPECT_EQ(child.errors, report("tcsetattr()", EBADF) + report("tcsetattr ICANON", EBADF) +
                                report("read()", EBADF) + report("tcsetattr ~ICANON", EBADF));
}

TEST(PressKey, PromptsAndWaits) {
    const Terminal terminal;
    Child child(terminal.line, [] {
        pressKey();
        return 5;
    });
    ASSERT_TRUE(terminal.waitForRawMode());
    terminal.press('y');
    child.finish();
    EXPECT_EQ(child.exitCode, 5);
    EXPECT_EQ(child.output, "\nPress a key\ny\n\n");
    EXPECT_EQ(child.errors, "");
}

}  // namespace
