// SPDX-License-Identifier: MIT
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "lwjson/characters.h"

namespace {

using vorn::common::internal::sameCharacters;
using vorn::common::internal::spread;

/// In memory of exactly its size, so that the address sanitizer sees a step outside.
std::unique_ptr<char[]> exact(const std::string& text) {
    auto memory = std::make_unique<char[]>(text.size());
    text.copy(memory.get(), text.size());
    return memory;
}

TEST(Characters, ADifferenceIsSeenAtEveryPlace) {
    for (std::size_t size = 0; size <= 40; ++size) {
        const std::string text(size, 'x');
        const auto left = exact(text);
        EXPECT_TRUE(sameCharacters(left.get(), exact(text).get(), size)) << size;
        for (std::size_t place = 0; place < size; ++place) {
            std::string other = text;
            other[place] = 'y';
            EXPECT_FALSE(sameCharacters(left.get(), exact(other).get(), size))
                << size << " " << place;
        }
    }
}

TEST(Characters, NumberedNamesSpreadOverTheHighestBits) {
    for (const std::string prefix : {"", "k", "outlet", "setting", "a long name before number "}) {
        std::set<std::uint32_t> slots;
        for (int i = 0; i < 1000; ++i) {
            const std::string name = prefix + std::to_string(i);
            const auto memory = exact(name);
            slots.insert(spread(memory.get(), name.size()) >> 21);
        }
        // 1000 names at random hit about 790 of 2048 places.
        EXPECT_GT(slots.size(), 600U) << prefix;
    }
}

}  // namespace
