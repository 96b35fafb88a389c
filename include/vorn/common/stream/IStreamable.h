// SPDX-License-Identifier: MIT
#pragma once

#include <istream>
#include <ostream>

#include <vorn/common/export.h>

namespace vorn::common::stream {

/// An object that can be written to and read from a stream, wherever its bytes live.
///
///     class Counter : public stream::IStreamable {
///         void serialize(std::ostream& out) const override { out << value; }
///         bool deserialize(std::istream& in) override { return static_cast<bool>(in >> value); }
///         ...
///
/// Threads: as the implementation says; a StreamableHandler calls both under its object lock.
class VORN_GW_COMMON_EXPORT IStreamable {
  public:
    virtual ~IStreamable() = default;

    /// Writes the whole object. May throw; what the stream holds then is not used.
    virtual void serialize(std::ostream& out) const = 0;

    /// Reads the whole object; returns whether that succeeded. May throw. An implementation should
    /// leave the object as it was when it fails.
    virtual bool deserialize(std::istream& in) = 0;
};

}  // namespace vorn::common::stream
