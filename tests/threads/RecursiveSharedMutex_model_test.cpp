// SPDX-License-Identifier: MIT

// The mutex against its plain form, step by step: one thread acts under many numbers, so that
// whatever does not wait can be compared for all orders of operations.

#include <cstdint>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/RecursiveSharedMutex.h>

#include "helpers/environment.h"
#include "helpers/faults/threads.h"

namespace {

using vorn::common::RecursiveSharedMutex;

/// A count, an owner, and a map of readers.
class PlainForm {
  public:
    std::string try_lock(unsigned self) {
        if (unique_ != 0 ? owner_ != self : !isAlone(self)) {
            return "would wait";
        }
        owner_ = self;
        ++unique_;
        return "done";
    }
    std::string unlock(unsigned self) {
        if (unique_ == 0) {
            return "Cannot unique-unlock because not uniqly locked";
        }
        if (owner_ != self) {
            return "Cannot unique-unlock because of the wrong thread";
        }
        --unique_;
        return "done";
    }
    std::string try_lock_shared(unsigned self) {
        if (unique_ != 0 && owner_ != self) {
            return "would wait";
        }
        ++shared_[self];
        return "done";
    }
    std::string unlock_shared(unsigned self) {
        if (shared_.empty()) {
            return "Cannot shared-unlock because not sharedly locked";
        }
        const auto own = shared_.find(self);
        if (own == shared_.end()) {
            return "Cannot shared-unlock because of the wrong thread";
        }
        if (--own->second == 0) {
            shared_.erase(own);
        }
        return "done";
    }

  private:
    [[nodiscard]] bool isAlone(unsigned self) const {
        return shared_.empty() || (shared_.size() == 1 && shared_.begin()->first == self);
    }

    std::uint32_t unique_ = 0;
    unsigned owner_ = 0;
    std::map<unsigned, std::uint32_t> shared_;
};

enum Operation { kTryLock, kTryShare, kUnlock, kUnshare, kLock, kShare, kOperations };

std::string ask(PlainForm& plain, unsigned thread, unsigned operation) {
    switch (operation) {
        case kTryLock:
        case kLock:
            return plain.try_lock(thread);
        case kTryShare:
        case kShare:
            return plain.try_lock_shared(thread);
        case kUnlock:
            return plain.unlock(thread);
        default:
            return plain.unlock_shared(thread);
    }
}

/// What waits is left out when it would.
std::string ask(RecursiveSharedMutex& mutex, unsigned thread, unsigned operation, bool wouldWait) {
    // Half of the threads have the same home slot.
    const unsigned long page = thread % 2 == 0 ? 8 * thread : thread;
    const faults::ThreadNumber number((1000 + page) << 12);
    try {
        switch (operation) {
            case kTryLock:
                return mutex.try_lock() ? "done" : "would wait";
            case kTryShare:
                return mutex.try_lock_shared() ? "done" : "would wait";
            case kUnlock:
                mutex.unlock();
                return "done";
            case kUnshare:
                mutex.unlock_shared();
                return "done";
            case kLock:
                wouldWait ? static_cast<void>(0) : mutex.lock();
                break;
            default:
                wouldWait ? static_cast<void>(0) : mutex.lock_shared();
        }
        return wouldWait ? "would wait" : "done";
    } catch (const std::logic_error& error) {
        return error.what();
    }
}

/// The mutex and its plain form, which must give the same answers.
class Pair {
  public:
    testing::AssertionResult agree(unsigned thread, unsigned operation) {
        const auto expected = ask(plain_, thread, operation);
        const auto answer = ask(mutex_, thread, operation, expected == "would wait");
        if (answer == expected) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "operation " << operation << " of thread " << thread
                                           << ": " << answer << ", expected: " << expected;
    }

  private:
    RecursiveSharedMutex mutex_;
    PlainForm plain_;
};

#define REQUIRE_THREAD_NUMBERS()                                                     \
    if (helpers::kThreadSanitizer) {                                                 \
        GTEST_SKIP() << "threads keep their own numbers under the thread sanitizer"; \
    }

TEST(RecursiveSharedMutexModel, AnswersAsThePlainFormInEveryOrderOfSteps) {
    REQUIRE_THREAD_NUMBERS()
    struct Row {
        unsigned threads;
        std::size_t steps;
    };
    for (const auto& row : {Row{2, helpers::kSlow ? 4 : 5}, Row{3, helpers::kSlow ? 3 : 4}}) {
        std::vector<unsigned> order(row.steps, 0);
        for (bool more = true; more;) {
            Pair pair;
            for (const unsigned choice : order) {
                ASSERT_TRUE(pair.agree(choice / kLock, choice % kLock))
                    << testing::PrintToString(order);
            }
            more = false;
            for (std::size_t i = order.size(); i-- > 0 && !more;) {
                order[i] = (order[i] + 1) % (row.threads * kLock);
                more = order[i] != 0;
            }
        }
    }
}

TEST(RecursiveSharedMutexModel, AnswersAsThePlainFormOnLongWalksOfManyThreads) {
    REQUIRE_THREAD_NUMBERS()
    std::mt19937 random(11);
    // Fewer threads than slots, as many, and more; the rarer unlocks are, the fuller it gets.
    for (const unsigned threads : {2u, 4u, 8u, 9u, 12u, 20u}) {
        for (const unsigned unlocks : {2u, 4u, 6u}) {
            Pair pair;
            for (int i = 0; i < (helpers::kSlow ? 1'000 : 10'000); ++i) {
                constexpr Operation kLocks[] = {kTryLock, kTryShare, kLock, kShare};
                const unsigned chance = random() % (4 + unlocks);
                const auto operation =
                    chance < 4 ? kLocks[chance] : (chance % 2 == 0 ? kUnlock : kUnshare);
                ASSERT_TRUE(pair.agree(random() % threads, operation))
                    << threads << " threads, step " << i;
            }
        }
    }
}

}  // namespace
