// SPDX-License-Identifier: MIT
#include "vorn/common/test/TestLauncher.h"

#include <iostream>

namespace {

constexpr const char* kRule = "################################################################";

}  // namespace

void TestLauncher::launch(const std::string& name) {
    std::cout << "################ " << name << " ################" << std::endl;
    currentTest = name;
}

void TestLauncher::checkTestResult(bool ok, const std::string& outJson) {
    std::cout << "outJson: \"" << outJson << "\"" << std::endl;
    if (ok) {
        ++passed;
        std::cout << "TEST SUCCESS" << std::endl;
    } else {
        ++failed;
        std::cout << "TEST FAILED" << std::endl;
        failedTests += "- " + currentTest + "\n";
    }
    std::cout << std::endl << std::endl;
}

void TestLauncher::checkTestResult(int expected, int actual, const std::string& outJson) {
    checkTestResult(expected == actual, outJson);
}

void TestLauncher::printStatistics() const {
    const std::uint64_t total = std::uint64_t{passed} + failed;
    const std::uint64_t percent = total == 0 ? 0 : std::uint64_t{passed} * 100 / total;
    std::cout << kRule << std::endl
              << "Test passed: " << std::to_string(passed) << std::endl
              << "Test failed: " << std::to_string(failed) << std::endl
              << "Success ratio: " << std::to_string(percent) << "%" << std::endl;
    if (!failedTests.empty()) {
        std::cout << "List of failed tests:" << std::endl << failedTests;
    }
    std::cout << kRule << std::endl;
}
