// SPDX-License-Identifier: MIT
#include <future>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/Actor.h"
#include "helpers/background.h"
#include "helpers/thread_state.h"
#include "thread/MessageQueue.h"

namespace {

using vorn::common::internal::MessageQueue;
using vorn::common::internal::OverflowPolicy;
using vorn::common::thread::Message;

Message take(MessageQueue& queue) {
    return queue.takeIf([] { return true; }).value();
}

std::vector<unsigned> typesIn(MessageQueue& queue) {
    std::vector<unsigned> types;
    while (queue.size() > 0) {
        types.push_back(take(queue).msgType());
    }
    return types;
}

TEST(MessageQueue, AppliesItsPolicyToEverySend) {
    struct Row {
        OverflowPolicy policy;
        std::uint32_t maximum;
        unsigned sends;
        std::vector<unsigned> left;
    };
    const std::vector<Row> rows{
        {OverflowPolicy::Unbounded, 4294967295u, 4, {0, 1, 2, 3}},
        {OverflowPolicy::Unbounded, 2, 4, {0, 1, 2, 3}},
        {OverflowPolicy::Unbounded, 0, 2, {0, 1}},
        {OverflowPolicy::RejectWhenFull, 3, 2, {0, 1}},
        {OverflowPolicy::RejectWhenFull, 3, 3, {0, 1, 2}},
        {OverflowPolicy::RejectWhenFull, 3, 5, {0, 1, 2}},
        {OverflowPolicy::RejectWhenFull, 0, 3, {}},
        {OverflowPolicy::DropOldest, 3, 3, {0, 1, 2}},
        {OverflowPolicy::DropOldest, 3, 4, {1, 2, 3}},
        {OverflowPolicy::DropOldest, 3, 7, {4, 5, 6}},
        {OverflowPolicy::DropOldest, 1, 3, {2}},
        {OverflowPolicy::DropOldest, 0, 1, {0}},
        {OverflowPolicy::DropOldest, 0, 3, {2}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "policy " << static_cast<unsigned>(row.policy)
                                        << ", maximum " << row.maximum << ", sends " << row.sends);
        MessageQueue queue(row.policy, row.maximum);
        for (unsigned type = 0; type < row.sends; ++type) {
            queue.send(Message(1, type));
        }
        EXPECT_EQ(queue.size(), row.left.size());
        EXPECT_EQ(typesIn(queue), row.left);
    }
}

TEST(MessageQueue, SendsAndTakesByACondition) {
    MessageQueue queue(OverflowPolicy::RejectWhenFull, 2);
    queue.sendIf([] { return false; }, Message(0, 1));
    EXPECT_EQ(queue.size(), 0u);
    for (unsigned type = 2; type <= 4; ++type) {
        queue.sendIf([] { return true; }, Message(0, type));
    }
    EXPECT_EQ(queue.size(), 2u);
    EXPECT_EQ(queue.takeIf([] { return false; }), std::nullopt);
    EXPECT_EQ(queue.takeIf([] { return true; }), Message(0, 3));
    EXPECT_EQ(queue.size(), 0u);
}

TEST(MessageQueue, AcceptsAgainWhenThereIsRoom) {
    MessageQueue queue(OverflowPolicy::RejectWhenFull, 1);
    queue.send(Message(0, 1));
    queue.send(Message(0, 2));
    EXPECT_EQ(take(queue), Message(0, 1));
    queue.send(Message(0, 3));
    EXPECT_EQ(take(queue), Message(0, 3));
    EXPECT_EQ(queue.size(), 0u);
}

TEST(MessageQueue, StoresItsPoliciesAsTheseCodes) {
    EXPECT_EQ(static_cast<int>(OverflowPolicy::Unbounded), 0);
    EXPECT_EQ(static_cast<int>(OverflowPolicy::RejectWhenFull), 1);
    EXPECT_EQ(static_cast<int>(OverflowPolicy::DropOldest), 2);
}

TEST(MessageQueue, LetsTakersWaitForAMessage) {
    MessageQueue queue(OverflowPolicy::Unbounded, 0);
    helpers::Actor taker;
    auto taken = taker.post([&] { return take(queue); });
    ASSERT_TRUE(helpers::waitUntilAsleep(taker.tid()));
    queue.send(Message(8, 9));
    EXPECT_EQ(taken.get(), Message(8, 9));
}

TEST(MessageQueue, LosesNothingBetweenManySendersAndTakers) {
    MessageQueue queue(OverflowPolicy::Unbounded, 0);
    std::vector<std::future<unsigned long>> takers;
    for (int i = 0; i < 2; ++i) {
        takers.push_back(helpers::inBackground([&] {
            unsigned long sum = 0;
            for (int taken = 0; taken < 1000; ++taken) {
                sum += take(queue).msgType();
            }
            return sum;
        }));
    }
    std::vector<std::thread> senders;
    for (int i = 0; i < 4; ++i) {
        senders.emplace_back([&] {
            for (unsigned type = 1; type <= 500; ++type) {
                queue.send(Message(0, type));
            }
        });
    }
    for (auto& sender : senders) {
        sender.join();
    }
    EXPECT_EQ(takers[0].get() + takers[1].get(), 4ul * 500 * 501 / 2);
}

}  // namespace
