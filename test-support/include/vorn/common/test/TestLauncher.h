// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <vorn/common/export.h>

/// Thrown by a test case to say that it failed; what() is TEST_FAILURE.
class VORN_GW_COMMON_EXPORT test_error : public std::runtime_error {
  public:
    static constexpr const char* TEST_FAILURE = "Test failure";  ///< of every test_error

    /// Takes no text: a test says more through its output.
    test_error() : std::runtime_error(TEST_FAILURE) {}
};

/// Announces the cases of a console test program, counts their results and prints a summary:
///
///     TestLauncher launcher;
///     launcher.launch("reads an empty object");
///     launcher.checkTestResult("{}" == normalized, normalized);
///     launcher.printStatistics();
///     return launcher.failed == 0 ? 0 : 1;
///
/// Everything goes to the standard output (std::cout) and is flushed line by line. Threads: one at
/// a time.
class VORN_GW_COMMON_EXPORT TestLauncher {
  public:
    /// Begins a case: prints its name between two runs of 16 '#' and remembers it.
    void launch(const std::string& name);

    /// Counts and prints the result of the case that launch() began last, after `outJson`, the
    /// output that was judged. A case may be judged several times; each counts.
    void checkTestResult(bool ok, const std::string& outJson);
    /// Successful when both numbers are the same.
    void checkTestResult(int expected, int actual, const std::string& outJson);

    /// Prints the counts, the share of successes in whole percent (rounded down, 0 when nothing was
    /// judged) and the names of the failed cases, between two rules of 64 '#'. The numbers are
    /// plain decimals, whatever flags and locale the test left in std::cout.
    void printStatistics() const;

    std::uint32_t failed = 0;  ///< results that were not successful
    std::uint32_t passed = 0;  ///< results that were
    std::string currentTest;   ///< the name last given to launch()
    std::string failedTests;   ///< "- ", the name and a line feed for each failed result
};
