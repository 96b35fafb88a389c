#include "Terminal.h"

#include <poll.h>
#include <unistd.h>

#include <iostream>

#include "signals.h"

namespace gateway {

namespace {

constexpr const char* kEnterScreen = "\x1b[?1049h\x1b[?25l";  // of its own, cursor hidden
constexpr const char* kLeaveScreen = "\x1b[?25h\x1b[?1049l";
constexpr const char* kHome = "\x1b[H\x1b[J";  // to the corner, clear

}  // namespace

Terminal::Terminal()
    : signal_(catchStopSignals()),
      screen_(::isatty(STDOUT_FILENO) == 1),
      keyboard_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (keyboard_) {
        termios raw = before_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    if (screen_) {
        std::cout << kEnterScreen << std::flush;
    }
}

Terminal::~Terminal() {
    if (screen_) {
        std::cout << kLeaveScreen << std::flush;
    }
    if (keyboard_) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
}

void Terminal::show(const std::string& page) {
    std::cout << (screen_ ? kHome : shown_ ? "\n" : "") << page << std::endl;
    shown_ = true;
}

bool Terminal::endsWithin(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    bool listening = keyboard_;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd polled[] = {{signal_.get(), POLLIN, 0}, {listening ? STDIN_FILENO : -1, POLLIN, 0}};
        if (::poll(polled, 2, static_cast<int>(left.count())) <= 0) {
            continue;
        }
        if (polled[0].revents != 0) {
            return true;
        }
        char key = 0;
        const ssize_t count = ::read(STDIN_FILENO, &key, 1);
        if (count == 1 && (key == 'q' || key == 'Q')) {
            return true;
        }
        listening = count > 0;
    }
}

}  // namespace gateway
