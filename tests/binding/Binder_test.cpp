// SPDX-License-Identifier: MIT
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/Binder.h>
#include <vorn/common/time/now.h>

namespace {

using vorn::common::Binder;
using vorn::common::time::SecondsDuration;

constexpr unsigned kTop = 0xFFFFFFFFu;

class FixedBinder : public Binder {
  public:
    explicit FixedBinder(unsigned now) : now_(now) {}
    [[nodiscard]] unsigned syncTime() const override { return now_; }

  private:
    unsigned now_;
};

unsigned localNow() {
    return static_cast<unsigned>(vorn::common::time::now());
}

/// Calls until the local clock shows the same second before and after.
template <class Call>
unsigned withinOneSecond(Call call, unsigned& now) {
    for (;;) {
        now = localNow();
        const unsigned result = call();
        if (localNow() == now) {
            return result;
        }
    }
}

TEST(BinderError, NumbersAndTexts) {
    static_assert(std::is_same_v<std::underlying_type_t<Binder::Error>, unsigned>);
    struct Row {
        unsigned number;
        Binder::Error error;
        const char* text;
    };
    constexpr Row kRows[] = {
        {0, Binder::BINDER_SUCCESS, "BINDER_SUCCESS"},
        {1, Binder::BINDER_ERROR_UNKNOWN, "BINDER_ERROR_UNKNOWN"},
        {2, Binder::BINDER_ERROR_BUSY, "BINDER_ERROR_BUSY"},
        {3, Binder::BINDER_ERROR_TIMEOUT, "BINDER_ERROR_TIMEOUT"},
        {4, Binder::BINDER_ERROR_REJECTED, "BINDER_ERROR_REJECTED"},
        {5, Binder::BINDER_ERROR_ALREADY_BOUND, "BINDER_ERROR_ALREADY_BOUND"},
        {6, Binder::BINDER_ERROR_TOO_MANY_CLIENTS, "BINDER_ERROR_TOO_MANY_CLIENTS"},
        {7, Binder::BINDER_ERROR_NOT_BOUND, "BINDER_ERROR_NOT_BOUND"},
        {8, Binder::BINDER_ERROR_BOUND_BUT_NOT_SYNC, "BINDER_ERROR_BOUND_BUT_NOT_SYNC"},
        {9, Binder::BINDER_ERROR_ABORTED, "BINDER_ERROR_ABORTED"},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(static_cast<unsigned>(row.error), row.number);
        EXPECT_EQ(toString(row.error), row.text);
    }
    for (const unsigned other : {10u, 11u, 0x80000000u, kTop}) {
        EXPECT_EQ(toString(Binder::Error(other)), "unknown") << other;
    }
    static_assert(Binder::Error::BINDER_ERROR_BUSY == 2u);
}

TEST(Binder, DurationUntilATimestamp) {
    struct Row {
        unsigned now;
        unsigned timestamp;
        unsigned duration;
    };
    constexpr Row kRows[] = {
        {0, 0, 0},
        {0, 1, 1},
        {1, 0, 0},
        {1, 1, 0},
        {100, 130, 30},
        {130, 100, 0},
        {0, kTop - 1, kTop - 1},
        {1, kTop - 1, kTop - 2},
        {kTop - 1, 0, 0},
        {kTop - 2, kTop - 1, 1},
        {kTop - 1, kTop - 1, 0},
        {kTop, 0, 0},
        {kTop, kTop - 1, 0},
        {0, kTop, kTop},
        {1, kTop, kTop},
        {kTop - 1, kTop, kTop},
        {kTop, kTop, kTop},
    };
    for (const auto& row : kRows) {
        const auto duration = FixedBinder(row.now).getDurationUntil(row.timestamp);
        EXPECT_EQ(duration.count(), row.duration) << row.timestamp << " at " << row.now;
        EXPECT_EQ(duration == SecondsDuration::INFINITE, row.timestamp == kTop);
    }
}

TEST(Binder, TimestampAfterADelaySaturates) {
    struct Row {
        unsigned now;
        unsigned delay;
        unsigned timestamp;
    };
    constexpr Row kRows[] = {
        {0, 0, 0},
        {0, 1, 1},
        {100, 30, 130},
        {0, kTop - 1, kTop - 1},
        {0, kTop, kTop},
        {1, kTop - 3, kTop - 2},
        {1, kTop - 2, kTop - 1},
        {1, kTop - 1, kTop},
        {1, kTop, kTop},
        {2, kTop - 1, kTop},
        {kTop - 2, 1, kTop - 1},
        {kTop - 2, 2, kTop},
        {kTop - 1, 0, kTop - 1},
        {kTop - 1, 1, kTop},
        {kTop - 1, 2, kTop},
        {kTop - 1, kTop, kTop},
        {0x80000000u, 0x80000000u, kTop},
        {kTop, 0, kTop},
        {kTop, 1, kTop},
        {kTop, kTop, kTop},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(FixedBinder(row.now).getDelayedTimestamp(SecondsDuration(row.delay)),
                  row.timestamp)
            << row.now << " + " << row.delay;
    }
}

TEST(Binder, TheReservedMarkPassesBothConversions) {
    for (const unsigned now : {0u, 1u, 1000u, kTop - 1, kTop}) {
        const FixedBinder binder(now);
        EXPECT_EQ(binder.toSyncTimeBase(kTop), kTop);
        EXPECT_EQ(binder.fromSyncTimeBase(kTop), kTop);
    }
}

TEST(Binder, ConvertsFromTheLocalClockToThePeers) {
    for (const unsigned sync : {0u, 1u, 1000u, 0x80000000u, kTop - 1, kTop}) {
        for (const unsigned timestamp : {0u, 1u, 1000u, 0x80000000u, kTop - 1}) {
            unsigned now = 0;
            const unsigned result =
                withinOneSecond([&] { return FixedBinder(sync).toSyncTimeBase(timestamp); }, now);
            const unsigned sum = timestamp + sync;
            EXPECT_EQ(result, sum > now ? sum - now : 0) << timestamp << " at " << sync;
        }
    }
}

TEST(Binder, ConvertsFromThePeersClockToTheLocalOne) {
    for (const unsigned sync : {0u, 1u, 1000u, 0x80000000u, kTop - 1, kTop}) {
        for (const unsigned timestamp : {0u, 1u, 1000u, 0x80000000u, kTop - 1}) {
            unsigned now = 0;
            const unsigned result =
                withinOneSecond([&] { return FixedBinder(sync).fromSyncTimeBase(timestamp); }, now);
            const unsigned sum = timestamp + now;
            EXPECT_EQ(result, sum > sync ? sum - sync : 0) << timestamp << " at " << sync;
        }
    }
}

TEST(Binder, ConversionsAreEachOthersInverseAwayFromTheEnds) {
    unsigned now = 0;
    EXPECT_EQ(withinOneSecond(
                  [&] {
                      const FixedBinder binder(5000000);
                      return binder.fromSyncTimeBase(binder.toSyncTimeBase(localNow() + 60)) -
                             localNow();
                  },
                  now),
              60u);
}

TEST(Binder, TerminateDoesNothingByItself) {
    FixedBinder binder(7);
    binder.terminate();
    EXPECT_EQ(binder.syncTime(), 7u);
    static_assert(std::is_abstract_v<Binder>);
    static_assert(std::has_virtual_destructor_v<Binder>);
}

}  // namespace
