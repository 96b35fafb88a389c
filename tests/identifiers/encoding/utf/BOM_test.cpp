// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/encoding/utf/BOM.h>

namespace {

using vorn::common::encoding::utf::BOM;
using vorn::common::encoding::utf::getBOM;
using Encoding = BOM::Encoding;
using namespace std::string_literals;

std::optional<BOM> fromBothForms(const std::string& text) {
    const auto bom = getBOM(text.data(), static_cast<unsigned>(text.size()));
    EXPECT_EQ(getBOM(std::vector<char>(text.begin(), text.end())), bom);
    return bom;
}

const std::pair<std::string, BOM> kMarks[] = {
    {"\xFF\xFE\x00\x00"s, {Encoding::utf32, false, true, 4}},
    {"\x00\x00\xFE\xFF"s, {Encoding::utf32, true, true, 4}},
    {"\xEF\xBB\xBF"s, {Encoding::utf8, false, false, 3}},
    {"\xFF\xFE"s, {Encoding::utf16, false, true, 2}},
    {"\xFE\xFF"s, {Encoding::utf16, true, true, 2}},
    {"+/v"s, {Encoding::utf7, false, false, 3}},
};

TEST(BOM, RecognisesItsMarks) {
    for (const auto& [mark, expected] : kMarks) {
        for (const std::string& rest : {""s, "A"s, "text"s}) {
            const auto bom = fromBothForms(mark + rest);
            ASSERT_TRUE(bom.has_value());
            EXPECT_EQ(bom->encoding, expected.encoding);
            EXPECT_EQ(bom->bigEndian, expected.bigEndian);
            EXPECT_EQ(bom->hasByteOrder, expected.hasByteOrder);
            EXPECT_EQ(bom->length, expected.length);
        }
    }
}

// Deliberate: UTF-32 is tried before UTF-16.
TEST(BOM, Utf32GoesBeforeUtf16) {
    EXPECT_EQ(fromBothForms("\xFF\xFE\x00\x00\x41"s)->encoding, Encoding::utf32);
    EXPECT_EQ(fromBothForms("\xFF\xFE\x41\x00"s)->encoding, Encoding::utf16);
    EXPECT_EQ(fromBothForms("\xFF\xFE\x00"s)->encoding, Encoding::utf16);
}

TEST(BOM, OtherTextsHaveNone) {
    for (const std::string& text : {""s, "a"s, "abc"s, "\xFF"s, "\xFE"s, "\xEF\xBB"s, "+/"s, "+/w"s,
                                    "\x00\x00\xFE"s, "\x00\x00\xFF\xFE"s, " \xFF\xFE"s}) {
        EXPECT_FALSE(fromBothForms(text).has_value());
    }
    EXPECT_FALSE(getBOM(nullptr, 0).has_value());
}

TEST(BOM, EncodingTexts) {
    EXPECT_EQ(static_cast<int>(Encoding::utf7), 0);
    EXPECT_EQ(static_cast<int>(Encoding::utf32), 3);
    EXPECT_EQ(BOM::toString(Encoding::utf7), "utf-7");
    EXPECT_EQ(BOM::toString(Encoding::utf8), "utf-8");
    EXPECT_EQ(BOM::toString(Encoding::utf16), "utf-16");
    EXPECT_EQ(BOM::toString(Encoding::utf32), "utf-32");
    EXPECT_EQ(BOM::toString(static_cast<Encoding>(4)), "");
    EXPECT_EQ(BOM::toString(static_cast<Encoding>(4294967295U)), "");
}

TEST(BOM, FieldsAreInOrder) {
    const auto [encoding, bigEndian, hasByteOrder, length] = kMarks[1].second;
    EXPECT_EQ(encoding, Encoding::utf32);
    EXPECT_TRUE(bigEndian && hasByteOrder);
    EXPECT_EQ(length, 4U);
}

}  // namespace
