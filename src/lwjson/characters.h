// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorn::common::internal {

template <class Word>
[[nodiscard]] inline Word load(const char* from) noexcept {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

/// Whether two texts of `size` characters are the same. Names and values are short: up to 16
/// characters are two words at each end, which may overlap, and no call.
[[nodiscard]] inline bool sameCharacters(const char* left, const char* right,
                                         std::size_t size) noexcept {
    const auto ends = [&](auto word) {
        using Word = decltype(word);
        const std::size_t last = size - sizeof(Word);
        return ((load<Word>(left) ^ load<Word>(right)) |
                (load<Word>(left + last) ^ load<Word>(right + last))) == 0;
    };
    if (size > 16) {
        return std::memcmp(left, right, size) == 0;
    }
    if (size >= 8) {
        return ends(std::uint64_t{});
    }
    if (size >= 4) {
        return ends(std::uint32_t{});
    }
    return size == 0 || (left[0] == right[0] && left[size / 2] == right[size / 2] &&
                         left[size - 1] == right[size - 1]);
}

/// Spreads names over a table; the highest bits are the best ones, each depends on all characters
/// that are looked at. Not for texts chosen to collide: who uses it counts the steps.
[[nodiscard]] inline std::uint32_t spread(const char* text, std::size_t size) noexcept {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15ULL;
    std::uint64_t hash = size;
    const auto mix = [&](std::uint64_t word) { hash = ((hash ^ hash >> 32) ^ word) * kFactor; };
    if (size >= 8) {
        for (std::size_t at = 0; at + 8 < size; at += 8) {
            mix(load<std::uint64_t>(text + at));
        }
        mix(load<std::uint64_t>(text + size - 8));
    } else if (size >= 4) {
        mix(std::uint64_t{load<std::uint32_t>(text)} << 32 | load<std::uint32_t>(text + size - 4));
    } else if (size != 0) {
        mix(static_cast<std::uint64_t>(static_cast<unsigned char>(text[0])) << 16 |
            static_cast<std::uint64_t>(static_cast<unsigned char>(text[size / 2])) << 8 |
            static_cast<unsigned char>(text[size - 1]));
    }
    return static_cast<std::uint32_t>(hash >> 32);
}

}  // namespace vorn::common::internal
