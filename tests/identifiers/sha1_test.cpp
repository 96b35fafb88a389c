// SPDX-License-Identifier: MIT
#include <array>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/sha1.h>

namespace {

using Digest = std::array<std::uint8_t, 20>;

const std::uint8_t* bytesOf(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::string hex(const Digest& digest) {
    std::string text;
    for (const std::uint8_t byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string digestOf(const std::string& text, std::size_t piece) {
    SHA1Context context;
    EXPECT_EQ(SHA1Reset(&context), 0);
    for (std::size_t at = 0; at < text.size(); at += piece) {
        const auto size = static_cast<unsigned>(std::min(piece, text.size() - at));
        EXPECT_EQ(SHA1Input(&context, bytesOf(text) + at, size), 0);
    }
    Digest digest{};
    EXPECT_EQ(SHA1Result(&context, digest.data()), 0);
    return hex(digest);
}

struct Row {
    std::string message;
    const char* digest;
};

const Row kRows[] = {
    {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
    {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
     "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
    {std::string(55, 'a'), "c1c8bbdc22796e28c0e15163d20899b65621d65a"},
    {std::string(56, 'a'), "c2db330f6083854c99d4b5bfb6e8f29f201be699"},
    {std::string(63, 'a'), "03f09f5b158a7a8cdad920bddc29b81c18a551f5"},
    {std::string(64, 'a'), "0098ba824b5c16427bd7a1122a5a442a25ec644d"},
    {std::string(65, 'a'), "11655326c708d70319be2610e8a57d9a5b959d3b"},
    {std::string(119, 'a'), "ee971065aaa017e0632a8ca6c77bb3bf8b1dfc56"},
    {std::string(120, 'a'), "f34c1488385346a55709ba056ddd08280dd4c6d6"},
    {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
};

TEST(Sha1, KnownDigests) {
    for (const Row& row : kRows) {
        EXPECT_EQ(digestOf(row.message, row.message.size() + 1), row.digest);
    }
}

TEST(Sha1, PiecesOfEverySizeGiveTheSameDigest) {
    for (const Row& row : kRows) {
        if (row.message.size() > 1000) {
            continue;
        }
        for (std::size_t piece = 1; piece < 130; ++piece) {
            ASSERT_EQ(digestOf(row.message, piece), row.digest) << piece;
        }
    }
}

TEST(Sha1, ResultMayBeRepeated) {
    SHA1Context context;
    SHA1Reset(&context);
    SHA1Input(&context, bytesOf("abc"), 3);
    Digest first{};
    Digest second{};
    EXPECT_EQ(SHA1Result(&context, first.data()), 0);
    EXPECT_EQ(SHA1Result(&context, second.data()), 0);
    EXPECT_EQ(hex(first), kRows[1].digest);
    EXPECT_EQ(first, second);
}

TEST(Sha1, NullPointersAreReported) {
    SHA1Context context;
    Digest digest{};
    SHA1Reset(&context);
    EXPECT_EQ(SHA1Reset(nullptr), shaNull);
    EXPECT_EQ(SHA1Input(nullptr, digest.data(), 1), shaNull);
    EXPECT_EQ(SHA1Input(&context, nullptr, 1), shaNull);
    EXPECT_EQ(SHA1Input(nullptr, nullptr, 0), shaSuccess);
    EXPECT_EQ(SHA1Result(nullptr, digest.data()), shaNull);
    EXPECT_EQ(SHA1Result(&context, nullptr), shaNull);
    EXPECT_EQ(SHA1Result(&context, digest.data()), shaSuccess);
    EXPECT_EQ(hex(digest), kRows[0].digest);
}

TEST(Sha1, InputAfterTheResultIsAnErrorUntilTheNextReset) {
    SHA1Context context;
    Digest digest{};
    SHA1Reset(&context);
    SHA1Result(&context, digest.data());
    EXPECT_EQ(SHA1Input(&context, bytesOf("abc"), 0), shaSuccess);
    EXPECT_EQ(SHA1Result(&context, digest.data()), shaSuccess);
    EXPECT_EQ(SHA1Input(&context, bytesOf("abc"), 3), shaStateError);
    EXPECT_EQ(SHA1Input(&context, bytesOf("abc"), 3), shaStateError);
    EXPECT_EQ(SHA1Result(&context, digest.data()), shaStateError);
    EXPECT_EQ(SHA1Reset(&context), shaSuccess);
    EXPECT_EQ(SHA1Input(&context, bytesOf("abc"), 3), shaSuccess);
    EXPECT_EQ(SHA1Result(&context, digest.data()), shaSuccess);
    EXPECT_EQ(hex(digest), kRows[1].digest);
}

TEST(Sha1, MoreThanTheLengthFieldHoldsIsAnError) {
    SHA1Context context;
    Digest digest{};
    SHA1Reset(&context);
    context.length = std::numeric_limits<std::uint64_t>::max() / 8 - 1;
    EXPECT_EQ(SHA1Input(&context, bytesOf("a"), 1), shaSuccess);
    EXPECT_EQ(SHA1Input(&context, bytesOf("a"), 1), shaInputTooLong);
    EXPECT_EQ(SHA1Result(&context, digest.data()), shaInputTooLong);
}

TEST(Sha1, CopiedContextsGoOnIndependently) {
    SHA1Context context;
    SHA1Reset(&context);
    SHA1Input(&context, bytesOf("ab"), 2);
    SHA1Context copy = context;
    SHA1Input(&copy, bytesOf("x"), 1);
    SHA1Input(&context, bytesOf("c"), 1);
    Digest digest{};
    SHA1Result(&context, digest.data());
    EXPECT_EQ(hex(digest), kRows[1].digest);
    Digest other{};
    SHA1Result(&copy, other.data());
    EXPECT_NE(other, digest);
}

}  // namespace
