// SPDX-License-Identifier: MIT
#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <unordered_set>

#include <gtest/gtest.h>

#include <vorn/common/Uuid.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::Uuid;

static_assert(!std::is_convertible_v<unsigned long long, Uuid>);
static_assert(std::is_nothrow_default_constructible_v<Uuid>);
static_assert(std::is_nothrow_copy_constructible_v<Uuid>);
static_assert(std::is_nothrow_move_constructible_v<Uuid>);
static_assert(std::is_nothrow_move_assignable_v<Uuid>);
static_assert(std::is_same_v<decltype(std::declval<Uuid>().to_string()), const std::string&>);

const std::string kNamespaceText = "933d6c80-dea9-8c6b-d111-8b3b46a181f1";

struct Forms {
    Uuid::Bytes bytes;
    const char* hex;
    const char* canonical;
    const char* base64;
    const char* base64Url;
};

const Forms kForms[] = {
    {{},
     "00000000000000000000000000000000",
     "00000000-0000-0000-0000-000000000000",
     "AAAAAAAAAAAAAAAAAAAAAA",
     "AAAAAAAAAAAAAAAAAAAAAA"},
    {{255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255},
     "ffffffffffffffffffffffffffffffff",
     "ffffffff-ffff-ffff-ffff-ffffffffffff",
     "/////////////////////w",
     "_____________________w"},
    {{0x93, 0x3D, 0x6C, 0x80, 0xDE, 0xA9, 0x8C, 0x6B, 0xD1, 0x11, 0x8B, 0x3B, 0x46, 0xA1, 0x81,
      0xF1},
     "933d6c80dea98c6bd1118b3b46a181f1",
     "933d6c80-dea9-8c6b-d111-8b3b46a181f1",
     "kz1sgN6pjGvREYs7RqGB8Q",
     "kz1sgN6pjGvREYs7RqGB8Q"},
    {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
     "000102030405060708090a0b0c0d0e0f",
     "00010203-0405-0607-0809-0a0b0c0d0e0f",
     "AAECAwQFBgcICQoLDA0ODw",
     "AAECAwQFBgcICQoLDA0ODw"},
    {{0xFB, 0xFF, 0xFE, 0x3E, 0xBF, 0xFB, 0xFF, 0xFE, 0x3E, 0xBF, 0xFB, 0xFF, 0xFE, 0x3E, 0xBF,
      0xFC},
     "fbfffe3ebffbfffe3ebffbfffe3ebffc",
     "fbfffe3e-bffb-fffe-3ebf-fbfffe3ebffc",
     "+//+Pr/7//4+v/v//j6//A",
     "-__-Pr_7__4-v_v__j6__A"},
};

TEST(Uuid, HasFourTextsOfItsBytes) {
    for (const Forms& row : kForms) {
        const Uuid uuid(row.bytes);
        EXPECT_EQ(uuid.bytes(), row.bytes);
        EXPECT_EQ(uuid.to_hex(), row.hex);
        EXPECT_EQ(uuid.to_string(), row.canonical);
        EXPECT_EQ(uuid.base64(), row.base64);
        EXPECT_EQ(uuid.base64URL(), row.base64Url);
        std::ostringstream stream;
        stream << uuid;
        EXPECT_EQ(stream.str(), row.canonical);
    }
}

TEST(Uuid, ParsesEachOfItsTexts) {
    for (const Forms& row : kForms) {
        for (const std::string text : {row.hex, row.canonical, row.base64, row.base64Url}) {
            EXPECT_EQ(Uuid(text).bytes(), row.bytes) << text;
            EXPECT_EQ(Uuid(text.c_str()).bytes(), row.bytes) << text;
        }
        for (std::string text : {row.hex, row.canonical}) {
            std::transform(text.begin(), text.end(), text.begin(),
                           [](char c) { return c >= 'a' && c <= 'f' ? c - 'a' + 'A' : c; });
            EXPECT_EQ(Uuid(text).to_string(), row.canonical);
        }
    }
}

TEST(Uuid, ConstantsHaveTheirValues) {
    EXPECT_EQ(Uuid::NIL.bytes(), kForms[0].bytes);
    EXPECT_EQ(Uuid::UNKNOWN.bytes(), kForms[1].bytes);
    EXPECT_EQ(Uuid::VORN_NAMESPACE.bytes(), kForms[2].bytes);
    EXPECT_EQ(Uuid::NIL.base64(), std::string(22, 'A'));
    EXPECT_EQ(Uuid::UNKNOWN.to_hex(), std::string(32, 'f'));
    EXPECT_EQ(Uuid::VORN_NAMESPACE.to_string(), kNamespaceText);
    EXPECT_EQ(Uuid("933D6C80DEA98C6BD1118B3B46A181F1"), Uuid::VORN_NAMESPACE);
    EXPECT_EQ(Uuid(), Uuid::NIL);
    EXPECT_EQ(Uuid().base64(), std::string(22, 'A'));
}

TEST(Uuid, PredicatesCompareWithTheConstants) {
    EXPECT_TRUE(Uuid::NIL.isNil());
    EXPECT_TRUE(Uuid(kForms[0].hex).isNil());
    EXPECT_FALSE(Uuid::NIL.isUnknown());
    EXPECT_TRUE(Uuid::UNKNOWN.isUnknown());
    EXPECT_TRUE(Uuid(kForms[1].base64).isUnknown());
    EXPECT_FALSE(Uuid::UNKNOWN.isNil());
    EXPECT_FALSE(Uuid::VORN_NAMESPACE.isNil() || Uuid::VORN_NAMESPACE.isUnknown());
}

TEST(Uuid, VersionAndVariantAreBitsOfBytesSixAndEight) {
    for (unsigned bits = 0; bits < 256; ++bits) {
        Uuid::Bytes bytes{};
        bytes[6] = static_cast<unsigned char>(bits);
        bytes[8] = static_cast<unsigned char>(255 - bits);
        EXPECT_EQ(Uuid(bytes).version(), bits >> 4);
        EXPECT_EQ(Uuid(bytes).variant(), (255 - bits) >> 5);
    }
}

TEST(Uuid, TakesVectorsOfSixteenBytes) {
    for (std::size_t size = 0; size < 40; ++size) {
        const std::vector<unsigned char> bytes(size, 0xFF);
        if (size == 16) {
            EXPECT_EQ(Uuid(bytes), Uuid::UNKNOWN);
        } else {
            EXPECT_THROW_TEXT(Uuid(bytes), std::invalid_argument, "invalid vector size in UUID");
        }
    }
}

TEST(Uuid, RefusesOtherSizes) {
    for (std::size_t size = 0; size < 80; ++size) {
        if (size == 22 || size == 32 || size == 36) {
            continue;
        }
        const std::string text(size, 'A');
        EXPECT_THROW_TEXT(Uuid(text), std::invalid_argument, "invalid UUID size " + text);
    }
    EXPECT_THROW_TEXT(Uuid(static_cast<const char*>(nullptr)), std::invalid_argument,
                      "invalid UUID size ");
    const std::string embedded("933d6c80-dea9-8c6b-d111-8b3b46a181f1\0", 37);
    EXPECT_THROW_TEXT(Uuid(embedded), std::invalid_argument,
                      std::string("invalid UUID size ") + embedded.c_str());
}

TEST(Uuid, RefusesMisplacedHyphensBeforeLookingAtDigits) {
    for (const std::string text :
         {"933d6c80-dea98-c6b-d111-8b3b46a181f1", "933d6c8-0dea9-8c6b-d111-8b3b46a181f1",
          "933d6c80-dea9-8c6bd-111-8b3b46a181f1", "933d6c80-dea9-8c6b-d1118-b3b46a181f1",
          "933d6c800dea9-8c6b-d111-8b3b46a181f1", "xxxxxxxx-xxxx-xxxx-xxxxxxxxxxxxxxxxx",
          "------------------------------------"}) {
        if (text.find_first_not_of('-') == std::string::npos) {
            EXPECT_THROW_TEXT(Uuid(text), std::invalid_argument, "invalid hex character in UUID -");
        } else {
            EXPECT_THROW_TEXT(Uuid(text), std::invalid_argument,
                              "invalid hyphen position in UUID " + text);
        }
    }
}

TEST(Uuid, RefusesEveryCharacterThatIsNoHexDigit) {
    for (unsigned code = 0; code < 256; ++code) {
        const char character = static_cast<char>(static_cast<unsigned char>(code));
        const bool valid =
            std::string("0123456789abcdefABCDEF").find(character) != std::string::npos;
        for (const std::size_t position : {0U, 7U, 19U, 34U, 35U}) {
            std::string text = kNamespaceText;
            text[position] = character;
            const std::string message =
                std::string("invalid hex character in UUID ") + std::string(1, character);
            if (valid) {
                EXPECT_NO_THROW(Uuid{text});
            } else {
                EXPECT_THROW_TEXT(Uuid(text), std::invalid_argument, message.c_str());
            }
        }
    }
}

TEST(Uuid, ReportsTheFirstOfSeveralBadDigits) {
    struct Row {
        const char* text;
        std::string first;
    };
    for (const Row& row : {Row{"933dqc8zdea98c6bd1118b3b46a181f1", "q"},
                           Row{"93x-6c80dea98c6bd1118b3b46a181fy", "x"},
                           Row{"933d6c80-dea9-8cgh-d111-8b3b46a181fi", "g"}}) {
        EXPECT_THROW_TEXT(Uuid(row.text), std::invalid_argument,
                          "invalid hex character in UUID " + row.first);
    }
}

TEST(Uuid, RefusesBase64OfNeitherOrBothAlphabets) {
    for (const std::string text :
         {"AAAAAAAAAAAAAAAAAAAA+_", "-AAAAAAAAAAAAAAAAAAAA/",
          "AAAAAAAAAAAAAAAAAAAA==", "AAAAAAAAAAAA AAAAAAAAA", "<AAAAAAAAAAAAAAAAAAAAA",
          "AAAAAAAAAAA\xFF"
          "AAAAAAAAAA",
          "AAAAAAAAAAAAAAAAAAAAA{", "AAAAAAAAAAAAAAAAAAAAA\x1F"}) {
        ASSERT_EQ(text.size(), 22U);
        EXPECT_THROW_TEXT(Uuid(text), std::invalid_argument,
                          "invalid base64 character in UUID " + text);
    }
}

// Deliberate: the low four bits of the last of 22 characters are ignored.
TEST(Uuid, IgnoresTheLowBitsOfTheLastBase64Character) {
    auto bytes = Uuid::UNKNOWN.bytes();
    bytes[15] = 0xFC;
    EXPECT_EQ(Uuid("/////////////////////A").bytes(), bytes);
    EXPECT_EQ(Uuid("/////////////////////P").bytes(), bytes);
    EXPECT_EQ(Uuid("/////////////////////P").base64(), "/////////////////////A");
    EXPECT_EQ(Uuid("/////////////////////Q").bytes()[15], 0xFD);
    EXPECT_EQ(Uuid("//////////////////////"), Uuid::UNKNOWN);
}

TEST(Uuid, ComparesBytesInOrder) {
    const Uuid low("00ffffff-ffff-ffff-ffff-ffffffffffff");
    const Uuid high("80000000-0000-0000-0000-000000000000");
    EXPECT_TRUE(low < high && low <= high && high > low && high >= low && low != high);
    EXPECT_FALSE(low == high);
    EXPECT_EQ(low, Uuid(low.base64()));
    EXPECT_LT(Uuid::NIL, low);
    EXPECT_LT(high, Uuid::UNKNOWN);
}

TEST(Uuid, IsAKeyOfOrderedAndHashedContainers) {
    std::unordered_set<Uuid> hashed;
    std::set<Uuid> ordered;
    for (unsigned i = 0; i < 1000; ++i) {
        Uuid::Bytes bytes{};
        bytes[15] = static_cast<unsigned char>(i % 100);
        bytes[0] = static_cast<unsigned char>(i % 5);
        hashed.insert(Uuid(bytes));
        ordered.insert(Uuid(bytes));
    }
    EXPECT_EQ(hashed.size(), 100U);
    EXPECT_EQ(ordered.size(), 100U);
    EXPECT_EQ(std::hash<Uuid>()(Uuid(kNamespaceText)), std::hash<Uuid>()(Uuid::VORN_NAMESPACE));
    EXPECT_NE(std::hash<Uuid>()(Uuid::NIL), std::hash<Uuid>()(Uuid::UNKNOWN));
}

}  // namespace
