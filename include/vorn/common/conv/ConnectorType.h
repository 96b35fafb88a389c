// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include <vorn/common/export.h>

/// Records that describe devices. A global namespace, reachable as vorn::common::conv too.
namespace conv {

/// The connector of a power outlet, by its usual name: IEC 60320 C13 and C19, the national plugs of
/// the United Kingdom, France and Germany, and NEMA types, those with an L the locking ones. 0 is
/// no connector type: it is what an unknown text reads as.
///
///     conv::toString(conv::ConnectorType::NemaL520);                // "NemaL520"
///     conv::from_string<conv::ConnectorType>("Schuko");             // ConnectorType::Schuko
///
/// Threads: everything here may be called from any thread.
/// Deliberate: `Ema51520` and its text lack the N of their neighbours.
enum class ConnectorType : std::uint32_t {
    None = 1,
    IecC13 = 2,
    IecC19 = 3,
    UK = 4,
    French = 5,
    Schuko = 6,
    Nema515 = 7,
    Ema51520 = 8,
    Nema520 = 9,
    NemaL520 = 10,
    NemaL530 = 11,
    Nema615 = 12,
    Nema620 = 13,
    NemaL620 = 14,
    NemaL630 = 15,
};

/// Returns the enumerator's name, except that `None` is "none"; "unknown" for any other value.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(ConnectorType type);

/// Reads what toString writes; there is the one below and no other.
template <class Enum>
[[nodiscard]] Enum from_string(const std::string& text) = delete;

/// Exact match with regard to case. Any other text, "unknown" included, gives ConnectorType(0).
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT ConnectorType
from_string<ConnectorType>(const std::string& text);

}  // namespace conv

/// @cond
namespace vorn::common {
namespace conv = ::conv;
}  // namespace vorn::common
/// @endcond
