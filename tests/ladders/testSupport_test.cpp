// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/test/TestLauncher.h>
#include <vorn/common/test/helpers.h>

#include "ladders/Ladder.h"

namespace {

using ladders::Answer;
using ladders::Trial;

const std::string kCase = "a case whose name needs memory of its own";

/// The standard output, kept in memory until the end of this object.
class KeptOutput {
  public:
    ~KeptOutput() {
        std::cout.rdbuf(before_);
        std::cout.clear();
    }
    KeptOutput() = default;
    KeptOutput(const KeptOutput&) = delete;
    KeptOutput& operator=(const KeptOutput&) = delete;

    [[nodiscard]] std::string text() const { return text_.str(); }

  private:
    std::ostringstream text_;
    std::streambuf* const before_ = std::cout.rdbuf(text_.rdbuf());
};

/// Output that lacks memory is lost; a result that was told to have been counted is counted.
void judging(Trial& trial) {
    TestLauncher launcher;
    bool counted = false;
    {
        const KeptOutput output;
        trial.operate([&] {
            launcher.launch(kCase);
            launcher.checkTestResult(1, 2, "an output that needs memory of its own");
            counted = true;
            launcher.printStatistics();
        });
    }
    trial.require(!counted || (launcher.failed == 1 && launcher.failedTests == "- " + kCase + "\n"),
                  "a result is not counted");
    const KeptOutput output;
    launcher.launch("next");
    launcher.checkTestResult(true, "");
    trial.require(launcher.passed == 1 && launcher.currentTest == "next", "the next use");
    trial.require(output.text().find("TEST SUCCESS\n") != std::string::npos, "prints nothing");
}

/// A key from a pipe, with reports that a pipe is no terminal.
void readingAKey(Trial& trial) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0 || ::write(ends[1], "x", 1) != 1) {
        throw std::runtime_error("no pipe");
    }
    const int before = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    ::dup2(ends[0], STDIN_FILENO);
    char key = '-';
    {
        const KeptOutput output;
        trial.operate([&] { key = vorn::common::test::_getch(); });
    }
    ::dup2(before, STDIN_FILENO);
    for (const int fd : {before, ends[0], ends[1]}) {
        ::close(fd);
    }
    trial.require(key == 'x' || (key == '\0' && trial.struck()), "another key");
}

void sleeping(Trial& trial) {
    using namespace std::chrono_literals;
    const auto start = std::chrono::steady_clock::now();
    trial.operate([] { vorn::common::test::sleep(2); });
    trial.require(std::chrono::steady_clock::now() - start >= 2ms, "ends early");
}

TEST(TestSupportLadder, Allocations) {
    const auto text = "{\"a name that needs memory of its own\": [1, {\"b\": null}]}";
    ladders::climbAllocations(
        {{"TestLauncher", judging, Answer::Hides}, ladders::giving("normalizeJson", [=] {
             return vorn::common::test::normalizeJson(text);
         })});
}

TEST(TestSupportLadder, Calls) {
    ladders::climbCalls({{"_getch", readingAKey}, {"sleep", sleeping}});
}

}  // namespace
