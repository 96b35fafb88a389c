// SPDX-License-Identifier: MIT
#include "lwjson/scientific.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace vorn::common::internal {

#ifdef __SIZEOF_INT128__
namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint64_t kSmallest = 10'000'000'000'000'000;  // of 17 digits
constexpr int kPowers = 56;                                  // 5^55 is the last below 2^128

constexpr auto kPowersOfFive = [] {
    std::array<Wide, kPowers> powers{};
    Wide power = 1;
    for (Wide& entry : powers) {
        entry = power;
        power *= 5;
    }
    return powers;
}();

constexpr auto kPairs = [] {
    std::array<char, 200> pairs{};
    for (unsigned i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

/// An integer of 192 bits, the lowest first.
struct Product {
    std::uint64_t words[3];

    Product(std::uint64_t factor, Wide power) noexcept {
        const Wide low = Wide{factor} * static_cast<std::uint64_t>(power);
        const Wide high = Wide{factor} * static_cast<std::uint64_t>(power >> 64) + (low >> 64);
        words[0] = static_cast<std::uint64_t>(low);
        words[1] = static_cast<std::uint64_t>(high);
        words[2] = static_cast<std::uint64_t>(high >> 64);
    }

    /// The 64 bits from `bit` upwards.
    [[nodiscard]] std::uint64_t from(int bit) const noexcept {
        const int word = bit / 64;
        const int shift = bit % 64;
        const std::uint64_t above = word < 2 ? words[word + 1] : 0;
        return shift == 0 ? words[word] : words[word] >> shift | above << (64 - shift);
    }
    [[nodiscard]] bool hasBitsBelow(int bit) const noexcept {
        const int word = bit / 64;
        std::uint64_t bits = words[word] & ((std::uint64_t{1} << bit % 64) - 1);
        for (int i = 0; i < word; ++i) {
            bits |= words[i];
        }
        return bits != 0;
    }
};

void writePairs(char* to, std::uint32_t eightDigits) noexcept {
    for (int i = 3; i >= 0; --i) {
        std::memcpy(to + 2 * i, &kPairs[2 * (eightDigits % 100)], 2);
        eightDigits /= 100;
    }
}

/// Numbers of which all 17 digits come from integers: value = m * 2^e, so that with k more decimal
/// places it is m * 5^k * 2^(e + k), and m * 5^k fits. Null for others.
[[nodiscard]] char* writeExactly(char* to, double value) noexcept {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int field = static_cast<int>(bits >> 52 & 0x7FF);
    if (field == 0 || field == 0x7FF) {
        return nullptr;
    }
    const std::uint64_t mantissa = (bits & 0xF'FFFF'FFFF'FFFF) | std::uint64_t{1} << 52;
    const int exponent = field - 1075;
    // floor(log10(2^(exponent + 52))), one below that of the value at most.
    int decimal = (exponent + 52) * 78913 >> 18;
    for (;; ++decimal) {
        const int places = kScientificDecimals - decimal;
        const int shift = -(exponent + places);
        if (places < 0 || places >= kPowers || shift <= 0) {
            return nullptr;
        }
        const Product product(mantissa, kPowersOfFive[static_cast<std::size_t>(places)]);
        std::uint64_t digits = product.from(shift);
        if (digits >= 10 * kSmallest) {
            continue;
        }
        const bool half = (product.from(shift - 1) & 1) != 0;
        if (half && ((digits & 1) != 0 || product.hasBitsBelow(shift - 1))) {
            ++digits;
        }
        if (digits == 10 * kSmallest) {
            digits = kSmallest;
            ++decimal;
        }
        if ((bits >> 63) != 0) {
            *to++ = '-';
        }
        *to++ = static_cast<char>('0' + digits / kSmallest);
        *to++ = '.';
        const std::uint64_t rest = digits % kSmallest;
        writePairs(to, static_cast<std::uint32_t>(rest / 100'000'000));
        writePairs(to + 8, static_cast<std::uint32_t>(rest % 100'000'000));
        to[16] = 'e';
        to[17] = decimal < 0 ? '-' : '+';
        // Two digits, since the powers of five end at 55.
        std::memcpy(to + 18,
                    &kPairs[2 * static_cast<std::size_t>(decimal < 0 ? -decimal : decimal)], 2);
        return to + 20;
    }
}

}  // namespace
#endif

char* writeScientific(char* to, double value) noexcept {
#ifdef __SIZEOF_INT128__
    if (char* end = writeExactly(to, value)) {
        return end;
    }
#endif
    return std::to_chars(to, to + kScientificRoom, value, std::chars_format::scientific,
                         kScientificDecimals)
        .ptr;
}

}  // namespace vorn::common::internal
