// SPDX-License-Identifier: MIT
#include "chosenNames.h"

#include <cstdint>
#include <cstring>
#include <string_view>

namespace limits {
namespace {

// Two words: the first one counts, the second one takes back what the first one did to the hash.
// Both hashes are steps that can be undone, so that it is computed and not searched for.

constexpr bool kWide = sizeof(std::size_t) == 8;
constexpr std::size_t kFactor = static_cast<std::size_t>(kWide ? 0xC6A4A7935BD1E995U : 0x5BD1E995U);
constexpr std::size_t kSeed = 0xC70F6907U;

template <class Word>
constexpr Word inverse(Word odd) {
    Word result = odd;
    for (int i = 0; i < 6; ++i) {
        result *= 2 - odd * result;
    }
    return result;
}

/// Its own inverse.
std::size_t folded(std::size_t word) {
    return word ^ word >> (kWide ? 47 : 24);
}

std::size_t mixed(std::size_t word) {
    return folded(word * kFactor) * kFactor;
}

std::size_t unmixed(std::size_t word) {
    return folded(word * inverse(kFactor)) * inverse(kFactor);
}

/// The second word for a first one, in the standard library's hash of a text of two words.
std::size_t secondForOneHash(std::size_t first) {
    constexpr std::size_t kSize = 2 * sizeof(std::size_t);
    if constexpr (kWide) {
        return unmixed(((kSeed ^ kSize * kFactor) ^ mixed(first)) * kFactor);
    } else {
        return unmixed(((kSeed ^ kSize) * kFactor ^ mixed(first)) * kFactor);
    }
}

/// The same in the comparison's.
std::uint64_t secondForTheComparison(std::uint64_t first) {
    const std::uint64_t hash = (16U ^ first) * 0x9E3779B97F4A7C15U;
    return (hash ^ hash >> 32) ^ 0x7A7A7A7A7A7A7A7AU;
}

template <class Word>
std::vector<std::string> made(std::size_t count, Word (*second)(Word)) {
    constexpr std::string_view kForbidden("\"\\\0", 3);
    std::vector<std::string> names;
    for (Word number = 0; names.size() < count; ++number) {
        std::string name(2 * sizeof(Word), 'A');
        Word left = number;
        for (std::size_t i = 0; i < sizeof(Word); ++i, left /= 64) {
            name[i] = static_cast<char>('\x80' + left % 64);
        }
        Word first = 0;
        std::memcpy(&first, name.data(), sizeof(Word));
        const Word last = second(first);
        std::memcpy(name.data() + sizeof(Word), &last, sizeof(Word));
        if (name.find_first_of(kForbidden) == std::string::npos) {
            names.push_back(name);
        }
    }
    return names;
}

}  // namespace

std::vector<std::string> namesOfOneHash(std::size_t count) {
    return made<std::size_t>(count, secondForOneHash);
}

std::vector<std::string> namesThatTheComparisonConfuses(std::size_t count) {
    return made<std::uint64_t>(count, secondForTheComparison);
}

}  // namespace limits
