// SPDX-License-Identifier: MIT
#include "vorn/common/conv/ConnectorType.h"

#include "internal/EnumTexts.h"

namespace conv {
namespace {

// Stored and exchanged texts: "Ema51520" is one of them, with its missing letter.
constexpr std::array<vorn::common::internal::EnumText<ConnectorType>, 15> kTypes{{
    {ConnectorType::None, "none"},
    {ConnectorType::IecC13, "IecC13"},
    {ConnectorType::IecC19, "IecC19"},
    {ConnectorType::UK, "UK"},
    {ConnectorType::French, "French"},
    {ConnectorType::Schuko, "Schuko"},
    {ConnectorType::Nema515, "Nema515"},
    {ConnectorType::Ema51520, "Ema51520"},
    {ConnectorType::Nema520, "Nema520"},
    {ConnectorType::NemaL520, "NemaL520"},
    {ConnectorType::NemaL530, "NemaL530"},
    {ConnectorType::Nema615, "Nema615"},
    {ConnectorType::Nema620, "Nema620"},
    {ConnectorType::NemaL620, "NemaL620"},
    {ConnectorType::NemaL630, "NemaL630"},
}};

}  // namespace

std::string toString(ConnectorType type) {
    return vorn::common::internal::textOf(kTypes, type, "unknown");
}

template <>
ConnectorType from_string<ConnectorType>(const std::string& text) {
    // No row has the value 0, so it means "none of them".
    return vorn::common::internal::valueOf(kTypes, text, ConnectorType(0));
}

}  // namespace conv
