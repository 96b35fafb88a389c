// SPDX-License-Identifier: MIT
#include "vorn/common/test/helpers.h"

#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <utility>

#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#include "posix/retry.h"
#include "posix/sleep.h"

namespace vorn::common::test {
namespace {

void reportFailure(int result, const char* step) {
    if (result < 0) {
        std::perror(step);
    }
}

int applySettings(int when, const termios& settings) {
    return internal::retryOnEintr([&] { return ::tcsetattr(STDIN_FILENO, when, &settings); });
}

}  // namespace

char _getch() {
    std::cout.flush();
    std::fflush(stdout);

    termios settings{};
    reportFailure(::tcgetattr(STDIN_FILENO, &settings), "tcsetattr()");
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    reportFailure(applySettings(TCSANOW, settings), "tcsetattr ICANON");

    char key = '\0';
    const auto count = internal::retryOnEintr([&] { return ::read(STDIN_FILENO, &key, 1); });
    reportFailure(static_cast<int>(count), "read()");

    settings.c_lflag |= ICANON | ECHO;
    reportFailure(applySettings(TCSADRAIN, settings), "tcsetattr ~ICANON");
    std::cout << key << std::endl;
    return key;
}

void pressKey() {
    std::cout << std::endl << "Press a key" << std::endl;
    _getch();
    std::cout << std::endl;
}

std::string normalizeJson(const std::string& text) {
    const lwjson::Deserializer document(std::string_view{text});
    lwjson::Serializer writer(lwjson::Serializer::Pretty);
    writer.addValue(document);
    writer.finalize();
    return std::move(writer.mutableJson());
}

void sleep(unsigned milliseconds) {
    internal::sleepFor(std::chrono::milliseconds(milliseconds));
}

}  // namespace vorn::common::test
