// SPDX-License-Identifier: MIT
#include <pthread.h>

#include <cstddef>
#include <cstdio>
#include <functional>

#include <gtest/gtest.h>

#include "helpers/environment.h"
#include "textOperations.h"

namespace {

/// Runs `body` on a thread with 64 KiB of stack.
bool runOnSmallStack(std::function<void()> body) {
    constexpr std::size_t kStack = std::size_t{64} * 1024;
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    const bool started = ::pthread_attr_setstacksize(&attributes, kStack) == 0 &&
                         ::pthread_create(&thread, &attributes, run, &body) == 0;
    ::pthread_attr_destroy(&attributes);
    return started && ::pthread_join(thread, nullptr) == 0;
}

/// The stack does not grow with the text: a text of four times its size would show that.
TEST(SmallStack, SixtyFourKilobytesSufficeForEveryTextOperation) {
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need more stack themselves";
    }
    const std::size_t bytes = std::size_t{1} << (helpers::kSlow ? 14U : 18U);
    for (const limits::TextOperation& row : limits::textOperations()) {
        SCOPED_TRACE(row.name);
        // Named before it runs: too small a stack ends the program.
        std::fprintf(stderr, "%s\n", row.name);
        ASSERT_TRUE(runOnSmallStack([&] {
            const auto operation = row.prepare(bytes);
            operation();
        }));
    }
}

}  // namespace
