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
    None = 1,       ///< an outlet without a connector; the text is "none"
    IecC13 = 2,     ///< IEC 60320 C13
    IecC19 = 3,     ///< IEC 60320 C19
    UK = 4,         ///< the plug of the United Kingdom
    French = 5,     ///< the plug of France
    Schuko = 6,     ///< the plug of Germany
    Nema515 = 7,    ///< NEMA 5-15
    Ema51520 = 8,   ///< NEMA 5-15/20
    Nema520 = 9,    ///< NEMA 5-20
    NemaL520 = 10,  ///< NEMA L5-20
    NemaL530 = 11,  ///< NEMA L5-30
    Nema615 = 12,   ///< NEMA 6-15
    Nema620 = 13,   ///< NEMA 6-20
    NemaL620 = 14,  ///< NEMA L6-20
    NemaL630 = 15,  ///< NEMA L6-30
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
