// SPDX-License-Identifier: MIT
#include <iostream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/test/TestLauncher.h>

namespace {

const std::string kRule(64, '#');

template <class Call>
std::string printedBy(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

void judge(TestLauncher& launcher, const std::string& name, bool ok) {
    printedBy([&] {
        launcher.launch(name);
        launcher.checkTestResult(ok, "");
    });
}

TEST(TestLauncher, BeginsWithNothingCounted) {
    const TestLauncher launcher;
    EXPECT_EQ(launcher.failed, 0u);
    EXPECT_EQ(launcher.passed, 0u);
    EXPECT_EQ(launcher.currentTest, "");
    EXPECT_EQ(launcher.failedTests, "");
    static_assert(std::is_same_v<decltype(launcher.failed), std::uint32_t>);
    static_assert(std::is_same_v<decltype(launcher.passed), std::uint32_t>);
}

TEST(TestLauncher, LaunchPrintsAndRemembersTheName) {
    TestLauncher launcher;
    EXPECT_EQ(printedBy([&] { launcher.launch("reads a name"); }),
              "################ reads a name ################\n");
    EXPECT_EQ(launcher.currentTest, "reads a name");
}

TEST(TestLauncher, CountsASuccess) {
    TestLauncher launcher;
    EXPECT_EQ(printedBy([&] { launcher.checkTestResult(true, "{\"a\":1}"); }),
              "outJson: \"{\"a\":1}\"\nTEST SUCCESS\n\n\n");
    EXPECT_EQ(launcher.passed, 1u);
    EXPECT_EQ(launcher.failed, 0u);
    EXPECT_EQ(launcher.failedTests, "");
}

TEST(TestLauncher, CountsAFailureUnderTheCurrentName) {
    TestLauncher launcher;
    launcher.currentTest = "first";
    EXPECT_EQ(printedBy([&] { launcher.checkTestResult(false, "text"); }),
              "outJson: \"text\"\nTEST FAILED\n\n\n");
    EXPECT_EQ(launcher.passed, 0u);
    EXPECT_EQ(launcher.failed, 1u);
    EXPECT_EQ(launcher.failedTests, "- first\n");
    judge(launcher, "second", false);
    EXPECT_EQ(launcher.failedTests, "- first\n- second\n");
}

TEST(TestLauncher, ComparesNumbers) {
    struct Row {
        int expected;
        int actual;
        bool ok;
    };
    for (const Row& row : {Row{3, 3, true}, Row{3, 4, false}, Row{0, 0, true}, Row{-1, 1, false}}) {
        TestLauncher launcher;
        EXPECT_EQ(
            printedBy([&] { launcher.checkTestResult(row.expected, row.actual, "n"); }),
            row.ok ? "outJson: \"n\"\nTEST SUCCESS\n\n\n" : "outJson: \"n\"\nTEST FAILED\n\n\n");
        EXPECT_EQ(launcher.passed, row.ok ? 1u : 0u);
        EXPECT_EQ(launcher.failed, row.ok ? 0u : 1u);
    }
}

TEST(TestLauncher, StatisticsBeforeAnyTest) {
    const TestLauncher launcher;
    EXPECT_EQ(printedBy([&] { launcher.printStatistics(); }),
              kRule + "\nTest passed: 0\nTest failed: 0\nSuccess ratio: 0%\n" + kRule + "\n");
}

TEST(TestLauncher, StatisticsWithAFailure) {
    TestLauncher launcher;
    for (const char* name : {"a", "b", "c"}) {
        judge(launcher, name, true);
    }
    judge(launcher, "d", false);
    EXPECT_EQ(printedBy([&] { launcher.printStatistics(); }),
              kRule +
                  "\nTest passed: 3\nTest failed: 1\nSuccess ratio: 75%\n"
                  "List of failed tests:\n- d\n" +
                  kRule + "\n");
}

TEST(TestLauncher, RatioIsCutToWholePercent) {
    struct Row {
        std::uint32_t passed;
        std::uint32_t failed;
        const char* percent;
    };
    for (const Row& row :
         {Row{2, 1, "66%"}, Row{1, 2, "33%"}, Row{199, 1, "99%"}, Row{5, 0, "100%"},
          Row{0, 5, "0%"}, Row{0xFFFFFFFFu, 0, "100%"}, Row{0xFFFFFFFFu, 0xFFFFFFFFu, "50%"}}) {
        TestLauncher launcher;
        launcher.passed = row.passed;
        launcher.failed = row.failed;
        EXPECT_NE(printedBy([&] {
                      launcher.printStatistics();
                  }).find(std::string("Success ratio: ") + row.percent + "\n"),
                  std::string::npos)
            << row.percent;
    }
}

TEST(TestLauncher, FlagsOfTheStreamDoNotChangeTheNumbers) {
    TestLauncher launcher;
    launcher.passed = 1234;
    launcher.failed = 26;
    const auto flags = std::cout.flags();
    const auto text = printedBy([&] {
        std::cout << std::hex << std::showbase << std::showpos;
        launcher.printStatistics();
        std::cout.flags(flags);
    });
    EXPECT_EQ(text,
              kRule + "\nTest passed: 1234\nTest failed: 26\nSuccess ratio: 97%\n" + kRule + "\n");
}

TEST(TestError, CarriesTheFixedMessage) {
    EXPECT_STREQ(test_error::TEST_FAILURE, "Test failure");
    try {
        throw test_error();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Test failure");
    }
}

}  // namespace
