// SPDX-License-Identifier: MIT
#include <deque>
#include <memory>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"
#include "thread/BlockQueue.h"

namespace {

using vorn::common::internal::BlockQueue;

TEST(BlockQueue, ReturnsWhatADequeReturns) {
    std::mt19937 random(4);
    // The share of pushes in eight operations: a queue that empties, swings and grows.
    for (const unsigned pushes : {3u, 4u, 5u}) {
        BlockQueue<std::shared_ptr<int>> queue;
        std::deque<int> plain;
        for (int i = 0; i < 5000; ++i) {
            if (random() % 8 < pushes) {
                queue.push(std::make_shared<int>(i));
                plain.push_back(i);
            } else if (!plain.empty()) {
                ASSERT_EQ(*queue.pop(), plain.front());
                plain.pop_front();
            }
            ASSERT_EQ(queue.size(), plain.size());
            ASSERT_EQ(queue.empty(), plain.empty());
        }
    }
}

TEST(BlockQueue, GivesUpItsElements) {
    const auto token = std::make_shared<int>();
    {
        BlockQueue<std::shared_ptr<int>> queue;
        for (int i = 0; i < 200; ++i) {
            queue.push(token);
        }
        for (int i = 0; i < 130; ++i) {
            EXPECT_EQ(queue.pop(), token);
        }
        EXPECT_EQ(token.use_count(), 71);
        BlockQueue<std::shared_ptr<int>> other;
        other.swap(queue);
        EXPECT_TRUE(queue.empty());
        EXPECT_EQ(other.size(), 70u);
        queue.push(token);
        EXPECT_EQ(queue.pop(), token);
    }
    EXPECT_EQ(token.use_count(), 1);
}

TEST(BlockQueue, DestroysTenMillionElementsWithoutRecursion) {
    BlockQueue<char> queue;
    for (int i = 0; i < 10'000'000; ++i) {
        queue.push('x');
    }
    EXPECT_EQ(queue.size(), 10'000'000u);
}

TEST(BlockQueue, RefusesMoreThanItsMaximum) {
    BlockQueue<int, 3> queue;
    for (int i = 0; i < 3; ++i) {
        queue.push(i);
    }
    EXPECT_THROW_TEXT(queue.push(3), std::length_error,
                      "cannot create std::deque larger than max_size()");
    EXPECT_EQ(queue.pop(), 0);
    queue.push(4);
    EXPECT_EQ(queue.pop(), 1);
    EXPECT_EQ(queue.pop(), 2);
    EXPECT_EQ(queue.pop(), 4);
    EXPECT_TRUE(queue.empty());
}

}  // namespace
