// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>

#include <vorn/common/export.h>

namespace conv {

/// What a service tells about the device or service that it represents. A plain record: nothing
/// checks the fields, and `uuid` is a text. Threads: one object, one thread at a time.
struct VORN_GW_COMMON_EXPORT Identification {
    /// All fields are empty.
    Identification() = default;
    /// In the order of the fields below.
    Identification(std::string uuid, std::string vendor, std::string model, std::string serial,
                   std::string physicalName, std::string name, std::string interface,
                   std::string version, std::string location, std::string contact);

    std::string uuid;          ///< canonical text (8-4-4-4-12) of the device's identifier
    std::string vendor;        ///< who made it
    std::string model;         ///< its maker's name for the model
    std::string serial;        ///< its maker's serial number
    std::string physicalName;  ///< the name of the hardware, as in a device file
    std::string name;          ///< the name that its owner gave it
    std::string interface;     ///< the name of the interface that it speaks
    std::string version;       ///< of its software
    std::string location;      ///< where it stands
    std::string contact;       ///< who looks after it

    /// Equal when all ten fields are.
    [[nodiscard]] bool operator==(const Identification&) const = default;
};

/// Writes "identification:" and the ten fields in order, each on a line of its own that begins with
/// two tabs, the field's name and " = ". The last line has no line end. Flushes after each line.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& out, const Identification& record);

}  // namespace conv

/// @cond
namespace vorn::common {
namespace conv = ::conv;
}  // namespace vorn::common
/// @endcond
