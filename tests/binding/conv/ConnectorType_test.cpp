// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vorn/common/conv/ConnectorType.h>

namespace {

using conv::ConnectorType;

struct Row {
    std::uint32_t number;
    ConnectorType type;
    const char* text;
};

constexpr Row kRows[] = {
    {1, ConnectorType::None, "none"},          {2, ConnectorType::IecC13, "IecC13"},
    {3, ConnectorType::IecC19, "IecC19"},      {4, ConnectorType::UK, "UK"},
    {5, ConnectorType::French, "French"},      {6, ConnectorType::Schuko, "Schuko"},
    {7, ConnectorType::Nema515, "Nema515"},    {8, ConnectorType::Ema51520, "Ema51520"},
    {9, ConnectorType::Nema520, "Nema520"},    {10, ConnectorType::NemaL520, "NemaL520"},
    {11, ConnectorType::NemaL530, "NemaL530"}, {12, ConnectorType::Nema615, "Nema615"},
    {13, ConnectorType::Nema620, "Nema620"},   {14, ConnectorType::NemaL620, "NemaL620"},
    {15, ConnectorType::NemaL630, "NemaL630"},
};

TEST(ConnectorType, EveryTypeIsWrittenAndReadByItsText) {
    for (const auto& row : kRows) {
        EXPECT_EQ(static_cast<std::uint32_t>(row.type), row.number);
        EXPECT_EQ(conv::toString(row.type), row.text);
        EXPECT_EQ(conv::from_string<ConnectorType>(row.text), row.type) << row.text;
    }
}

TEST(ConnectorType, Ema51520LacksTheNOfItsNeighbours) {
    EXPECT_EQ(toString(ConnectorType(8)), "Ema51520");
    EXPECT_EQ(conv::from_string<ConnectorType>("Nema51520"), ConnectorType(0));
}

TEST(ConnectorType, OtherValuesAreUnknown) {
    for (const std::uint32_t other : {0u, 16u, 0xFFFFFFFFu}) {
        EXPECT_EQ(conv::toString(ConnectorType(other)), "unknown") << other;
    }
}

TEST(ConnectorType, OtherTextsReadAsZero) {
    for (const char* text : {"", "unknown", "None", "NONE", "uk", "Uk", "schuko", "Nema51", " UK",
                             "UK ", "NemaL6300", "0", "4"}) {
        EXPECT_EQ(conv::from_string<ConnectorType>(text), ConnectorType(0)) << text;
    }
    EXPECT_EQ(conv::from_string<ConnectorType>(std::string("UK\0", 3)), ConnectorType(0));
}

TEST(ConnectorType, IsReachableThroughTheLibrarysNamespace) {
    static_assert(std::is_same_v<vorn::common::conv::ConnectorType, ::conv::ConnectorType>);
    EXPECT_EQ(vorn::common::conv::from_string<vorn::common::conv::ConnectorType>("UK"),
              vorn::common::conv::ConnectorType::UK);
}

}  // namespace
