// SPDX-License-Identifier: MIT
#include "processes/kills.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <new>

#include <gtest/gtest.h>

#include "helpers/faults/calls.h"

namespace {

std::atomic<bool> permitted = false;

/// In memory that forked children share.
std::atomic<int>& refused() {
    static auto* const counter =
        new (::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                    MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
    return *counter;
}

class Guard : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        refused() = 0;
        calls_ = std::make_unique<faults::Calls>(faults::Threads::All);
        calls_->hook(faults::Call::kill, [](faults::Invocation& kill) {
            if (kill.id > 0 || kill.id < -1 || (permitted && ::getpgrp() == ::getpid())) {
                return 0;
            }
            ++refused();
            return EPERM;
        });
    }
    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        calls_.reset();
        EXPECT_EQ(refused(), 0) << "signals were sent to process 0 or -1";
    }

    std::unique_ptr<faults::Calls> calls_;
};

[[maybe_unused]] const bool installed = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new Guard);
    return true;
}();

}  // namespace

namespace kills {

Permitted::Permitted() {
    permitted = true;
}

Permitted::~Permitted() {
    permitted = false;
}

}  // namespace kills
