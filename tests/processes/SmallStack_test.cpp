// SPDX-License-Identifier: MIT
#include <pthread.h>

#include <functional>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/Executable.h>

#include "helpers/environment.h"
#include "helpers/wait_until.h"

namespace {

using namespace vorn::common;
using executable::Executable;

/// Runs `body` on a thread with the smallest stack that a thread can have on this architecture.
bool runOnSmallStack(std::function<void()> body) {
    constexpr std::size_t kSmallest = std::size_t{16} * 1024;
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    const bool started = ::pthread_attr_setstacksize(&attributes, kSmallest) == 0 &&
                         ::pthread_create(&thread, &attributes, run, &body) == 0;
    ::pthread_attr_destroy(&attributes);
    return started && ::pthread_join(thread, nullptr) == 0;
}

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
    ASSERT_TRUE(runOnSmallStack([&] { program.execAsync({}); }));
    EXPECT_TRUE(helpers::waitUntil([&] { return program.getStatus() == Executable::Exited; }));
    EXPECT_EQ(program.getExitCode(), 3);
    EXPECT_EQ(program.readFromStdOut(), "x\n");
}

TEST_F(SmallStack, SixteenKilobytesSufficeToRunAScript) {
    ScriptContext context;
    context.request.script.content = "exit 4";
    int result = 0;
    ASSERT_TRUE(runOnSmallStack([&] { result = kDefaultScriptRoutine(&context); }));
    EXPECT_EQ(result, 4);
}

}  // namespace
