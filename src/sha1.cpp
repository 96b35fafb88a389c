// SPDX-License-Identifier: MIT
#include "vorn/common/sha1.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>

namespace {

constexpr std::size_t kBlockSize = 64;
constexpr std::size_t kLengthPosition = 56;
constexpr std::uint64_t kMostBytes = std::numeric_limits<std::uint64_t>::max() / 8;

std::uint32_t readBigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U |
           std::uint32_t{bytes[2]} << 8U | std::uint32_t{bytes[3]};
}

void writeBigEndian(std::uint8_t* bytes, std::uint32_t word) {
    for (unsigned i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (24U - 8U * i));
    }
}

struct Registers {
    std::uint32_t a, b, c, d, e;

    void step(std::uint32_t mixed, std::uint32_t constant, std::uint32_t word) {
        const std::uint32_t next = std::rotl(a, 5) + mixed + e + word + constant;
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = next;
    }
    [[nodiscard]] std::uint32_t choose() const { return d ^ (b & (c ^ d)); }
    [[nodiscard]] std::uint32_t parity() const { return b ^ c ^ d; }
    [[nodiscard]] std::uint32_t majority() const { return (b & c) | (d & (b | c)); }
};

/// The message schedule, of which only the last 16 words are needed at any time: they stay in
/// registers and the first-level cache.
class Schedule {
  public:
    explicit Schedule(const std::uint8_t* block) {
        for (unsigned i = 0; i < 16; ++i) {
            words_[i] = readBigEndian(block + 4 * i);
        }
    }

    /// The word of step `i`; to be asked for in order.
    std::uint32_t operator[](unsigned i) {
        auto& word = words_[i % 16];
        if (i >= 16) {
            word = std::rotl(
                words_[(i + 13) % 16] ^ words_[(i + 8) % 16] ^ words_[(i + 2) % 16] ^ word, 1);
        }
        return word;
    }

  private:
    std::uint32_t words_[16];
};

void processBlock(std::uint32_t (&state)[5], const std::uint8_t* block) {
    Schedule words(block);
    Registers r{state[0], state[1], state[2], state[3], state[4]};
    // Unrolled, the five registers change their names instead of their contents.
#pragma GCC unroll 20
    for (unsigned i = 0; i < 20; ++i) {
        r.step(r.choose(), 0x5A827999U, words[i]);
    }
#pragma GCC unroll 20
    for (unsigned i = 20; i < 40; ++i) {
        r.step(r.parity(), 0x6ED9EBA1U, words[i]);
    }
#pragma GCC unroll 20
    for (unsigned i = 40; i < 60; ++i) {
        r.step(r.majority(), 0x8F1BBCDCU, words[i]);
    }
#pragma GCC unroll 20
    for (unsigned i = 60; i < 80; ++i) {
        r.step(r.parity(), 0xCA62C1D6U, words[i]);
    }
    state[0] += r.a;
    state[1] += r.b;
    state[2] += r.c;
    state[3] += r.d;
    state[4] += r.e;
}

void padMessage(SHA1Context& context) {
    std::size_t used = context.length % kBlockSize;
    context.block[used++] = 0x80;
    if (used > kLengthPosition) {
        std::fill(context.block + used, context.block + kBlockSize, std::uint8_t{0});
        processBlock(context.state, context.block);
        used = 0;
    }
    std::fill(context.block + used, context.block + kLengthPosition, std::uint8_t{0});
    const std::uint64_t bits = context.length * 8;
    writeBigEndian(context.block + kLengthPosition, static_cast<std::uint32_t>(bits >> 32U));
    writeBigEndian(context.block + kLengthPosition + 4, static_cast<std::uint32_t>(bits));
    processBlock(context.state, context.block);
}

}  // namespace

int SHA1Reset(SHA1Context* context) {
    if (context == nullptr) {
        return shaNull;
    }
    *context = SHA1Context{};
    constexpr std::uint32_t kInitial[5] = {0x67452301U, 0xEFCDAB89U, 0x98BADCFEU, 0x10325476U,
                                           0xC3D2E1F0U};
    std::copy(std::begin(kInitial), std::end(kInitial), context->state);
    return shaSuccess;
}

int SHA1Input(SHA1Context* context, const std::uint8_t* bytes, unsigned length) {
    if (length == 0) {
        return shaSuccess;
    }
    if (context == nullptr || bytes == nullptr) {
        return shaNull;
    }
    if (context->computed) {
        context->error = shaStateError;
    }
    if (context->error == shaSuccess && length > kMostBytes - context->length) {
        context->error = shaInputTooLong;
    }
    if (context->error != shaSuccess) {
        return context->error;
    }

    std::size_t used = context->length % kBlockSize;
    std::size_t remaining = length;
    context->length += length;
    while (remaining != 0) {
        if (used == 0 && remaining >= kBlockSize) {
            processBlock(context->state, bytes);
            bytes += kBlockSize;
            remaining -= kBlockSize;
            continue;
        }
        const std::size_t taken = std::min(kBlockSize - used, remaining);
        std::memcpy(context->block + used, bytes, taken);
        bytes += taken;
        remaining -= taken;
        used = (used + taken) % kBlockSize;
        if (used == 0) {
            processBlock(context->state, context->block);
        }
    }
    return shaSuccess;
}

int SHA1Result(SHA1Context* context, std::uint8_t digest[20]) {
    if (context == nullptr || digest == nullptr) {
        return shaNull;
    }
    if (context->error != shaSuccess) {
        return context->error;
    }
    if (!context->computed) {
        padMessage(*context);
        std::fill(std::begin(context->block), std::end(context->block), std::uint8_t{0});
        context->computed = true;
    }
    for (unsigned i = 0; i < 5; ++i) {
        writeBigEndian(digest + 4 * i, context->state[i]);
    }
    return shaSuccess;
}
