// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/cipher/helper.h>

#include "helpers/Actor.h"
#include "helpers/expect_throw.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"
#include "modules.h"

namespace {

using vorn::common::cipher::CipherProxy;
using vorn::common::cipher::getCipherFromLib;

/// What the cache has loaded stays loaded, so every test takes files of its own.
class GetCipherFromLib : public testing::Test {
  protected:
    helpers::TempDir dir_;
    modules::Events events_;
};

TEST_F(GetCipherFromLib, LoadsALibraryOnceWithoutArguments) {
    const auto path = modules::copy(dir_, "good", "ciphers.so");
    for (int call = 0; call < 3; ++call) {
        const auto cipher = getCipherFromLib(path, "reversing");
        ASSERT_TRUE(cipher.has_value());
        EXPECT_EQ(cipher->encrypt("abc"), "cba");
    }
    EXPECT_EQ(events_.text(), "loaded\n");
}

TEST_F(GetCipherFromLib, ViewsNeedNoTerminator) {
    const auto path = modules::copy(dir_, "good", "ciphers.so");
    const auto text = path + "reversing and more";
    const std::string_view view = text;
    EXPECT_TRUE(getCipherFromLib(view.substr(0, path.size()), view.substr(path.size(), 9)));
    EXPECT_EQ(events_.text(), "loaded\n");
}

TEST_F(GetCipherFromLib, KeepsLibrariesLoaded) {
    const auto path = modules::copy(dir_, "good", "ciphers.so");
    static_cast<void>(getCipherFromLib(path, "reversing"));
    EXPECT_TRUE(modules::isLoaded(path));
    const auto other = modules::copy(dir_, "good", "others.so");
    static_cast<void>(getCipherFromLib(other, "reversing"));
    EXPECT_TRUE(modules::isLoaded(path));
    EXPECT_TRUE(modules::isLoaded(other));
    EXPECT_EQ(events_.text(), "loaded\nloaded\n");
}

TEST_F(GetCipherFromLib, ReportsAMissingCipher) {
    const auto path = modules::copy(dir_, "good", "ciphers.so");
    for (const std::string name : {"none", "", "two words"}) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(getCipherFromLib(path, name).has_value());
        const auto line = testing::internal::GetCapturedStderr();
        const std::string before = "[src/cipher/helper:";
        const auto number = std::min(before.size(), line.size());
        const auto behind = std::min(line.find_first_not_of("0123456789", number), line.size());
        EXPECT_EQ(line.substr(0, number), before);
        EXPECT_GT(behind, number) << line;
        EXPECT_EQ(line.substr(behind), "]: getCipherFromLib: failed to retrieve cipher: \"" + name +
                                           "\" from lib: \"" + path + "\"\n");
    }
    EXPECT_TRUE(getCipherFromLib(path, "reversing").has_value());
}

TEST_F(GetCipherFromLib, ALibraryThatCannotBeLoadedIsTriedAgain) {
    const auto path = dir_.file("later.so");
    ASSERT_EQ(::dlopen(path.c_str(), RTLD_LAZY), nullptr);
    const std::string reason = ::dlerror();
    for (int call = 0; call < 2; ++call) {
        EXPECT_THROW_TEXT(getCipherFromLib(path, "reversing"), std::invalid_argument,
                          "Error loading " + path + " library : " + reason);
    }
    modules::copy(dir_, "good", "later.so");
    EXPECT_TRUE(getCipherFromLib(path, "reversing").has_value());
}

TEST_F(GetCipherFromLib, AFailingEntryPointIsNotCached) {
    const auto path = modules::copy(dir_, "failing", "failing.so");
    for (int call = 0; call < 2; ++call) {
        EXPECT_THROW_TEXT(getCipherFromLib(path, "x"), std::invalid_argument,
                          "the plug-in has a reason that is longer than a short string holds");
        EXPECT_FALSE(modules::isLoaded(path));
    }
}

TEST_F(GetCipherFromLib, ExceptionsOfTheQueryPass) {
    const auto path = modules::copy(dir_, "good", "ciphers.so");
    try {
        static_cast<void>(getCipherFromLib(path, "broken"));
        FAIL() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "the cipher is broken");
    }
}

TEST_F(GetCipherFromLib, ManyThreadsLoadEachLibraryOnce) {
    constexpr int kThreads = 16;
    const std::vector<std::string> paths{modules::copy(dir_, "good", "a.so"),
                                         modules::copy(dir_, "good", "b.so"),
                                         modules::copy(dir_, "good", "c.so")};
    std::barrier start(kThreads);
    std::atomic<int> found = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int round = 0; round < 20; ++round) {
                for (const auto& path : paths) {
                    found += getCipherFromLib(path, "reversing").has_value() ? 1 : 0;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(found, kThreads * 20 * 3);
    EXPECT_EQ(events_.text(), "loaded\nloaded\nloaded\n");
}

TEST_F(GetCipherFromLib, KnownLibrariesAreFoundWhileAnotherOneLoads) {
    const auto known = modules::copy(dir_, "good", "known.so");
    const auto slow = modules::copy(dir_, "blocking", "slow.so");
    ASSERT_TRUE(getCipherFromLib(known, "reversing").has_value());

    const auto gate = dir_.file("gate");
    ::setenv("VORN_TEST_GATE", gate.c_str(), 1);
    testing::internal::CaptureStderr();
    std::thread loader([&] { static_cast<void>(getCipherFromLib(slow, "x")); });
    ASSERT_TRUE(helpers::waitUntil([&] { return events_.text() == "loaded\nloading\n"; }));
    EXPECT_TRUE(getCipherFromLib(known, "reversing").has_value());
    EXPECT_EQ(events_.text(), "loaded\nloading\n");
    dir_.write("gate", "");
    loader.join();
    ::unsetenv("VORN_TEST_GATE");
    EXPECT_EQ(events_.text(), "loaded\nloading\nloaded\n");
    EXPECT_NE(testing::internal::GetCapturedStderr().find(slow), std::string::npos);
}

TEST_F(GetCipherFromLib, WhoeverWaitedForALoadUsesTheLoadedLibrary) {
    const auto slow = modules::copy(dir_, "blocking", "slow.so");
    const auto gate = dir_.file("gate");
    ::setenv("VORN_TEST_GATE", gate.c_str(), 1);
    testing::internal::CaptureStderr();
    std::thread loader([&] { static_cast<void>(getCipherFromLib(slow, "x")); });
    const bool loading = helpers::waitUntil([&] { return events_.text() == "loading\n"; });
    std::array<helpers::Actor, 2> waiters;
    std::vector<std::future<void>> results;
    bool waiting = true;
    for (auto& waiter : waiters) {
        results.push_back(waiter.post([&] { static_cast<void>(getCipherFromLib(slow, "x")); }));
        waiting = helpers::waitUntilAsleep(waiter.tid()) && waiting;
    }
    dir_.write("gate", "");
    loader.join();
    for (auto& result : results) {
        result.get();
    }
    ::unsetenv("VORN_TEST_GATE");
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(loading);
    EXPECT_TRUE(waiting);
    EXPECT_EQ(events_.text(), "loading\nloaded\n");
}

}  // namespace
