// SPDX-License-Identifier: MIT
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/cipher/helper.h>

#include "helpers/child.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"
#include "modules.h"

namespace {

using vorn::common::loadDynamicLibrary;
using vorn::common::cipher::getCipherFromLib;

/// Libraries that ask for a cipher while they are being loaded. A deadlock would keep its threads
/// for ever, so each case runs in a process of its own, which ends after a while.
class GetCipherFromLibNested : public testing::Test {
  protected:
    /// Empty when `body` returned in time and without an exception.
    template <class Body>
    std::string failureOf(Body body) {
        const auto child = helpers::runInChild([&body](const auto&) {
            ::alarm(150);
            body();
            return 0;
        });
        if (child.signal == SIGALRM) {
            return "deadlock";
        }
        return child.exitCode == 0 ? "" : "failed: " + child.report;
    }

    /// Opens a gate when `thread` sleeps, that is waits for another thread or for the gate.
    void openWhenAsleep(const std::atomic<pid_t>& thread, const char* gate) {
        if (!helpers::waitUntil([&] { return thread != 0; }) || !helpers::waitUntilAsleep(thread)) {
            throw std::runtime_error("the other thread does not wait");
        }
        dir_.write(gate, "");
    }

    void waitForEvents(const std::string& text) {
        if (!helpers::waitUntil([&] { return events_.text() == text; })) {
            throw std::runtime_error("unexpected events: " + events_.text());
        }
    }

    /// A static initialiser asks for `asked` while another thread has begun to load `other`.
    std::string askWhileAnotherThreadLoads(const std::string& asked, const std::string& other) {
        return failureOf([&] {
            ::setenv("VORN_TEST_INITIALISER_GATE", dir_.file("gate").c_str(), 1);
            ::setenv("VORN_TEST_INITIALISER_ASKS", asked.c_str(), 1);
            std::thread outer([this] { static_cast<void>(getCipherFromLib(asking_, "none")); });
            waitForEvents("initialising\n");
            std::atomic<pid_t> loaderId = 0;
            std::thread loader([&] {
                loaderId = ::gettid();
                static_cast<void>(getCipherFromLib(other, "reversing"));
            });
            openWhenAsleep(loaderId, "gate");
            outer.join();
            loader.join();
        });
    }

    helpers::TempDir dir_;
    modules::Events events_;
    const std::string asking_ = modules::copy(dir_, "asking", "asking.so");
    const std::string good_ = modules::copy(dir_, "good", "good.so");
};

TEST_F(GetCipherFromLibNested, AStaticInitialiserGetsACipherWhileAnotherLibraryLoads) {
    const auto other = modules::copy(dir_, "good", "other.so");
    EXPECT_EQ(askWhileAnotherThreadLoads(good_, other), "");
    EXPECT_EQ(events_.text(), "initialising\nloaded\nfound\nloaded\n");
}

TEST_F(GetCipherFromLibNested, AStaticInitialiserGetsACipherOfTheLibraryThatAnotherThreadLoads) {
    EXPECT_EQ(askWhileAnotherThreadLoads(good_, good_), "");
    EXPECT_EQ(events_.text(), "initialising\nloaded\nfound\n");
}

TEST_F(GetCipherFromLibNested, NeverWaitsForAnEntryPointThatNeedsTheDynamicLoader) {
    const auto slow = modules::copy(dir_, "blocking", "slow.so");
    EXPECT_EQ(failureOf([&] {
                  ::setenv("VORN_TEST_GATE", dir_.file("gate").c_str(), 1);
                  ::setenv("VORN_TEST_INITIALISER_ASKS", slow.c_str(), 1);
                  std::thread loader([&] { static_cast<void>(getCipherFromLib(slow, "none")); });
                  waitForEvents("loading\n");
                  std::atomic<pid_t> outerId = 0;
                  std::thread outer([&] {
                      outerId = ::gettid();
                      static_cast<void>(loadDynamicLibrary(asking_, {}));
                  });
                  openWhenAsleep(outerId, "gate");
                  outer.join();
                  loader.join();
              }),
              "");
    EXPECT_EQ(events_.text().substr(0, 29), "loading\ninitialising\nloading\n");
}

TEST_F(GetCipherFromLibNested, AnEntryPointGetsACipherOfAnotherLibrary) {
    EXPECT_EQ(failureOf([this] {
                  ::setenv("VORN_TEST_ENTRY_POINT_ASKS", good_.c_str(), 1);
                  static_cast<void>(getCipherFromLib(asking_, "none"));
              }),
              "");
    EXPECT_EQ(events_.text(), "initialising\nloaded\nfound\n");
}

TEST_F(GetCipherFromLibNested, AnEntryPointThatAsksForItsOwnLibraryIsRefused) {
    EXPECT_EQ(failureOf([this] {
                  ::setenv("VORN_TEST_ENTRY_POINT_ASKS", asking_.c_str(), 1);
                  static_cast<void>(getCipherFromLib(asking_, "none"));
              }),
              "failed: Error loading " + asking_ +
                  " library : it asks for itself while it is being loaded");
    EXPECT_EQ(events_.text(), "initialising\n");
}

TEST_F(GetCipherFromLibNested, AStaticInitialiserMayAskForItsOwnLibrary) {
    EXPECT_EQ(failureOf([this] {
                  ::setenv("VORN_TEST_INITIALISER_ASKS", asking_.c_str(), 1);
                  static_cast<void>(getCipherFromLib(asking_, "none"));
              }),
              "");
    EXPECT_EQ(events_.text(), "initialising\nnot found\n");
}

TEST_F(GetCipherFromLibNested, WhoeverWaitedForALoadThatFailedTriesAgain) {
    const auto failing = modules::copy(dir_, "failing", "failing.so");
    ::setenv("VORN_TEST_GATE", dir_.file("gate").c_str(), 1);
    const auto reasonOf = [&failing] {
        try {
            static_cast<void>(getCipherFromLib(failing, "none"));
            return std::string("loaded");
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
    };
    std::string reasons[2];
    std::thread loader([&] { reasons[0] = reasonOf(); });
    waitForEvents("failing\n");
    std::atomic<pid_t> waiterId = 0;
    std::thread waiter([&] {
        waiterId = ::gettid();
        reasons[1] = reasonOf();
    });
    openWhenAsleep(waiterId, "gate");
    loader.join();
    waiter.join();
    ::unsetenv("VORN_TEST_GATE");
    for (const auto& reason : reasons) {
        EXPECT_EQ(reason, "the plug-in has a reason that is longer than a short string holds");
    }
    EXPECT_EQ(events_.text(), "failing\nfailing\nlibrary closed\n");
    EXPECT_FALSE(modules::isLoaded(failing));
}

}  // namespace
