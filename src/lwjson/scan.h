// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "lwjson/escapes.h"

namespace vorn::common::internal {

/// A machine word of characters, for targets without (or with slow transfers from) vector
/// registers. A mask has the top bit of every matching byte set, and no other.
class WordBlock {
  public:
    using Mask = std::size_t;
    static constexpr std::size_t kWidth = sizeof(Mask);

    explicit WordBlock(const char* from) noexcept { std::memcpy(&word_, from, kWidth); }

    [[nodiscard]] Mask equal(char wanted) const noexcept {
        const Mask difference = word_ ^ (kOnes * static_cast<unsigned char>(wanted));
        return ~(((difference & ~kTops) + ~kTops) | difference) & kTops;
    }
    /// The bytes below 32.
    [[nodiscard]] Mask control() const noexcept {
        return ~(((word_ & ~kTops) + kOnes * 0x60) | word_) & kTops;
    }
    [[nodiscard]] static Mask invert(Mask mask) noexcept { return mask ^ kTops; }
    [[nodiscard]] static std::size_t first(Mask mask) noexcept {
        const int bits = std::endian::native == std::endian::little ? std::countr_zero(mask)
                                                                    : std::countl_zero(mask);
        return static_cast<std::size_t>(bits) / 8;
    }
    /// The mask without its first byte.
    [[nodiscard]] static Mask withoutFirst(Mask mask) noexcept {
        return std::endian::native == std::endian::little ? mask & (mask - 1)
                                                          : mask ^ std::bit_floor(mask);
    }

  private:
    static constexpr Mask kOnes = static_cast<Mask>(0x0101010101010101ULL);
    static constexpr Mask kTops = kOnes << 7;

    Mask word_;
};

#ifdef __SSE2__
/// Sixteen characters; a mask has one bit for each.
class VectorBlock {
  public:
    using Mask = unsigned;
    static constexpr std::size_t kWidth = 16;

    explicit VectorBlock(const char* from) noexcept { std::memcpy(&vector_, from, kWidth); }

    /// The first and the last eight characters of a text of 8 to 16, which may overlap.
    [[nodiscard]] static VectorBlock ends(const char* from, const char* end) noexcept {
        std::uint64_t words[2];
        std::memcpy(&words[0], from, sizeof words[0]);
        std::memcpy(&words[1], end - sizeof words[1], sizeof words[1]);
        return VectorBlock(_mm_set_epi64x(static_cast<std::int64_t>(words[1]),
                                          static_cast<std::int64_t>(words[0])));
    }

    [[nodiscard]] Mask equal(char wanted) const noexcept {
        return bits(_mm_cmpeq_epi8(vector_, _mm_set1_epi8(wanted)));
    }
    [[nodiscard]] Mask control() const noexcept {
        return bits(_mm_cmpeq_epi8(_mm_min_epu8(vector_, _mm_set1_epi8(31)), vector_));
    }
    [[nodiscard]] static Mask invert(Mask mask) noexcept { return mask ^ 0xFFFFU; }
    [[nodiscard]] static std::size_t first(Mask mask) noexcept {
        return static_cast<std::size_t>(std::countr_zero(mask));
    }
    [[nodiscard]] static Mask withoutFirst(Mask mask) noexcept { return mask & (mask - 1); }
    /// Where `wanted` stands among 64 characters.
    [[nodiscard]] static std::uint64_t mask64(const char* from, char wanted) noexcept {
        const auto part = [=](unsigned at) {
            return std::uint64_t{VectorBlock(from + at).equal(wanted)} << at;
        };
        return part(0) | part(16) | part(32) | part(48);
    }
    /// The bytes up to ' ' and the six structural characters: whatever may end a token.
    [[nodiscard]] Mask mayEndToken() const noexcept {
        const __m128i low = _mm_min_epu8(vector_, _mm_set1_epi8(' '));
        // '[' and ']' differ from '{' and '}' in this bit only.
        const __m128i folded = _mm_or_si128(vector_, _mm_set1_epi8(0x20));
        const __m128i brackets = _mm_or_si128(_mm_cmpeq_epi8(folded, _mm_set1_epi8('{')),
                                              _mm_cmpeq_epi8(folded, _mm_set1_epi8('}')));
        const __m128i marks = _mm_or_si128(_mm_cmpeq_epi8(vector_, _mm_set1_epi8(',')),
                                           _mm_cmpeq_epi8(vector_, _mm_set1_epi8(':')));
        return bits(_mm_or_si128(_mm_cmpeq_epi8(low, vector_), _mm_or_si128(brackets, marks)));
    }

  private:
    explicit VectorBlock(__m128i vector) noexcept : vector_(vector) {}

    static Mask bits(__m128i lanes) noexcept { return static_cast<Mask>(_mm_movemask_epi8(lanes)); }

    __m128i vector_;
};
using Block = VectorBlock;
#else
using Block = WordBlock;
#endif

/// The four characters that count as white space in a JSON text.
[[nodiscard]] constexpr bool isJsonSpace(char character) noexcept {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

/// All of these look at [from, end) only and return `end` when nothing is found.
namespace scan {

/// The first character that is no white space, searched for in blocks.
template <class BlockType = Block>
[[nodiscard]] const char* behindSpaces(const char* from, const char* end) noexcept {
    while (end - from >= static_cast<std::ptrdiff_t>(BlockType::kWidth)) {
        const BlockType block(from);
        const auto others = BlockType::invert(block.equal(' ') | block.equal('\n') |
                                              block.equal('\t') | block.equal('\r'));
        if (others != 0) {
            return from + BlockType::first(others);
        }
        from += BlockType::kWidth;
    }
    while (from != end && isJsonSpace(*from)) {
        ++from;
    }
    return from;
}

/// The same; none and one space (behind a ':') are so common that they are tested first.
template <class BlockType = Block>
[[nodiscard]] inline const char* nonSpace(const char* from, const char* end) noexcept {
    if (from == end || !isJsonSpace(*from)) {
        return from;
    }
    ++from;
    return from == end || !isJsonSpace(*from) ? from : behindSpaces<BlockType>(from, end);
}

/// The end of the last character before `at` that is no white space; there is one.
[[nodiscard]] inline const char* behindLastNonSpace(const char* at) noexcept {
    while (isJsonSpace(at[-1])) {
        --at;
    }
    return at;
}

/// For less than a block: whether its first and its last eight characters, which may overlap, are
/// all of it, and `candidates` finds nothing in them: so are most texts, and they are looked at
/// once. Blocks of a word leave less than a word.
template <class BlockType, class Candidates>
[[nodiscard]] inline bool shortWithout([[maybe_unused]] const char* from,
                                       [[maybe_unused]] const char* end,
                                       [[maybe_unused]] Candidates candidates) noexcept {
    if constexpr (requires { BlockType::ends(from, end); }) {
        return end - from >= 8 && candidates(BlockType::ends(from, end)) == 0;
    } else {
        return false;
    }
}

/// The first line feed.
template <class BlockType = Block>
[[nodiscard]] const char* lineFeed(const char* from, const char* end) noexcept {
    while (end - from >= static_cast<std::ptrdiff_t>(BlockType::kWidth)) {
        if (const auto found = BlockType(from).equal('\n'); found != 0) {
            return from + BlockType::first(found);
        }
        from += BlockType::kWidth;
    }
    if (shortWithout<BlockType>(from, end, [](const auto& block) { return block.equal('\n'); })) {
        return end;
    }
    while (from != end && *from != '\n') {
        ++from;
    }
    return from;
}

/// The first character that the writer escapes.
template <class BlockType = Block>
[[nodiscard]] const char* escapable(const char* from, const char* end) noexcept {
    const auto candidates = [](const auto& block) {
        return block.equal('"') | block.equal('\\') | block.control();
    };
    while (end - from >= static_cast<std::ptrdiff_t>(BlockType::kWidth)) {
        const BlockType block(from);
        const auto found = candidates(block);
        if (found == 0) {
            from += BlockType::kWidth;
            continue;
        }
        from += BlockType::first(found);
        if (escapeLetter(*from) != '\0') {
            return from;
        }
        ++from;
    }
    if (shortWithout<BlockType>(from, end, candidates)) {
        return end;
    }
    while (from != end && escapeLetter(*from) == '\0') {
        ++from;
    }
    return from;
}

inline constexpr auto kTokenStops = [] {
    std::array<bool, 256> stops{};
    for (const char stop : {' ', '\t', '\n', '\r', ',', '[', ']', '{', '}', ':', '\0'}) {
        stops[static_cast<unsigned char>(stop)] = true;
    }
    return stops;
}();

[[nodiscard]] constexpr bool endsToken(char character) noexcept {
    return kTokenStops[static_cast<unsigned char>(character)];
}

/// The first character that ends a bare token: white space, one of ",[]{}:", or NUL. The vector
/// test lets control characters pass that end nothing; the table has the last word.
template <class BlockType = Block>
[[nodiscard]] const char* tokenEnd(const char* from, const char* end) noexcept {
    if constexpr (requires(BlockType block) { block.mayEndToken(); }) {
        for (; end - from >= static_cast<std::ptrdiff_t>(BlockType::kWidth);
             from += BlockType::kWidth) {
            auto found = BlockType(from).mayEndToken();
            for (; found != 0; found = BlockType::withoutFirst(found)) {
                if (const char* at = from + BlockType::first(found); endsToken(*at)) {
                    return at;
                }
            }
        }
    }
    while (from != end && !endsToken(*from)) {
        ++from;
    }
    return from;
}

/// Whether an odd number of backslashes, none of them before `from`, stands directly before `at`.
template <class BlockType = Block>
[[nodiscard]] bool isEscaped(const char* from, const char* at) noexcept {
    if (at == from || at[-1] != '\\') {
        return false;
    }
    const char* first = at - 1;
    while (first - from >= static_cast<std::ptrdiff_t>(BlockType::kWidth) &&
           BlockType::invert(BlockType(first - BlockType::kWidth).equal('\\')) == 0) {
        first -= BlockType::kWidth;
    }
    while (first != from && first[-1] == '\\') {
        --first;
    }
    return (at - first) % 2 != 0;
}

/// Which characters of a text are escaped, told 64 at a time; bit 0 is the first one.
class EscapedCharacters {
  public:
    /// Adding the beginnings of the runs that begin at an odd place to all backslashes carries a
    /// bit along each of those runs to the character behind it, and leaves the other runs alone:
    /// so the parity of every run's length shows behind its end without counting.
    [[nodiscard]] std::uint64_t next(std::uint64_t backslashes) noexcept {
        if (backslashes == 0) {
            return std::exchange(carry_, 0);
        }
        backslashes &= ~carry_;
        const std::uint64_t behind = backslashes << 1 | carry_;
        const std::uint64_t oddBegins = backslashes & ~kEven & ~behind;
        const std::uint64_t ends = oddBegins + backslashes;
        carry_ = ends < backslashes ? 1 : 0;
        return (kEven ^ ends << 1) & behind;
    }

  private:
    static constexpr std::uint64_t kEven = 0x5555555555555555ULL;

    std::uint64_t carry_ = 0;  ///< 1 when the first character of the next 64 is escaped
};

/// `closingQuote` for a string of any length, 64 characters at a time where blocks are wide. In
/// what remains backslashes are looked at only behind a quote, so that each run of them is counted
/// once.
template <class BlockType = Block>
[[nodiscard]] const char* closingQuoteAnywhere(const char* from, const char* end,
                                               char quote) noexcept {
    const char* p = from;
    if constexpr (requires { BlockType::mask64(from, quote); }) {
        EscapedCharacters escaped;
        for (; end - p >= 64; p += 64) {
            const std::uint64_t closing =
                BlockType::mask64(p, quote) & ~escaped.next(BlockType::mask64(p, '\\'));
            if (const auto stops = closing | BlockType::mask64(p, '\0'); stops != 0) {
                p += std::countr_zero(stops);
                return *p == quote ? p : nullptr;
            }
        }
    }
    for (; end - p >= static_cast<std::ptrdiff_t>(BlockType::kWidth); p += BlockType::kWidth) {
        const BlockType block(p);
        auto found = block.equal(quote) | block.equal('\0');
        for (; found != 0; found = BlockType::withoutFirst(found)) {
            const char* at = p + BlockType::first(found);
            if (*at == '\0') {
                return nullptr;
            }
            if (!isEscaped<BlockType>(from, at)) {
                return at;
            }
        }
    }
    for (; p != end && *p != '\0'; ++p) {
        if (*p == quote && !isEscaped<BlockType>(from, p)) {
            return p;
        }
    }
    return nullptr;
}

/// The `quote` that closes the string whose inside begins at `from`: the first one behind an even
/// number of backslashes. Null when a NUL or `end` comes first. Nearly all keys end within a block
/// and hold no backslash.
template <class BlockType = Block>
[[nodiscard]] inline const char* closingQuote(const char* from, const char* end,
                                              char quote) noexcept {
    if (end - from >= static_cast<std::ptrdiff_t>(BlockType::kWidth)) {
        const BlockType block(from);
        const auto quotes = block.equal(quote);
        const auto others = block.equal('\\') | block.equal('\0');
        if (quotes != 0 && (others == 0 || BlockType::first(quotes) < BlockType::first(others))) {
            return from + BlockType::first(quotes);
        }
    }
    return closingQuoteAnywhere<BlockType>(from, end, quote);
}

}  // namespace scan

}  // namespace vorn::common::internal
