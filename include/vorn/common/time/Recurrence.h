// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vorn::common::time {

/// How often a started timer fires.
enum class Recurrence : std::uint32_t {
    Recurrent = 0,  ///< every period, until it is stopped
    OneShot = 1,    ///< once; it is disarmed when it fires
};

}  // namespace vorn::common::time
