// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include <vorn/common/export.h>
#include <vorn/common/time/UnixTime.h>

namespace vorn::common {

/// Reads back what a BinarySerializer wrote, in the same order; its header shows the bytes.
///
///     bool enabled = false;
///     std::string name;
///     BinaryDeserializer(bytes) >> enabled >> name;
///
/// A value that cannot be read throws and leaves its target as it was, except that a text whose
/// length was read is left with that length: what a stream gave before its end, then NUL
/// characters.
///
/// Lifetime: the vector, stream or whatever the function refers to must outlive the deserializer.
/// A copy of one that reads a vector goes on from the same place independently of the original; a
/// moved-from one can only be assigned to. Changing the vector between reads is allowed.
/// Threads: one at a time per object and source.
class VORN_GW_COMMON_EXPORT BinaryDeserializer {
  public:
    /// Fills all `size` bytes at `data`, or throws.
    using ReadFunction = std::function<void(char* data, unsigned size)>;

    /// Reads with `istream::read`. A read that gets fewer bytes than it asks for throws
    /// std::runtime_error "No data left in the file for deserialization".
    explicit BinaryDeserializer(std::istream& stream);
    /// Reads the vector from its beginning. A read past its end throws std::runtime_error
    /// "No data left in the buffer for deserialization" and consumes nothing.
    explicit BinaryDeserializer(const std::vector<char>& bytes);
    /// Reads through a function that fills exactly `size` bytes or throws. Throws std::logic_error
    /// "Read function cannot be null" when it is empty.
    explicit BinaryDeserializer(ReadFunction read);

    /// Any byte but 0 is true.
    BinaryDeserializer& operator>>(bool& value);
    /// The seconds as they were written, with high precision whatever the writer had; the bytes of
    /// a NaN give an undefined time.
    BinaryDeserializer& operator>>(UnixTime& value);
    /// Up to 65535 bytes of any value, NUL among them.
    BinaryDeserializer& operator>>(std::string& value);

  private:
    ReadFunction read_;
};

}  // namespace vorn::common
