// SPDX-License-Identifier: MIT
#include <chrono>
#include <cstddef>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/Executable.h>

#include "helpers/environment.h"
#include "helpers/runWithStack.h"
#include "helpers/wait_until.h"

namespace {

using namespace vorn::common;
using executable::Executable;

constexpr std::size_t kSmallest = std::size_t{16} * 1024;

class SmallStack : public testing::Test {
  protected:
    void SetUp() override {
        if (helpers::kAddressSanitizer || helpers::kThreadSanitizer) {
            GTEST_SKIP() << "the sanitizers of this build need more stack themselves";
        }
    }
};

TEST_F(SmallStack, SixteenKilobytesSufficeToStartAProgram) {
    Executable program({"/bin/sh", "-c", "echo x; exit 3"}, {.timeout = std::chrono::hours(1)});
    ASSERT_TRUE(helpers::runWithStack(kSmallest, [&] { program.execAsync({}); }));
    EXPECT_TRUE(helpers::waitUntil([&] { return program.getStatus() == Executable::Exited; }));
    EXPECT_EQ(program.getExitCode(), 3);
    EXPECT_EQ(program.readFromStdOut(), "x\n");
}

TEST_F(SmallStack, SixteenKilobytesSufficeToRunAScript) {
    ScriptContext context;
    context.request.script.content = "exit 4";
    int result = 0;
    ASSERT_TRUE(
        helpers::runWithStack(kSmallest, [&] { result = kDefaultScriptRoutine(&context); }));
    EXPECT_EQ(result, 4);
}

}  // namespace
