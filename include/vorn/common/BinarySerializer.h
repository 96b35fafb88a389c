// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <vorn/common/export.h>
#include <vorn/common/time/UnixTime.h>

namespace vorn::common {

/// Writes values as raw bytes to a vector, a stream or any sink; BinaryDeserializer reads them
/// back.
///
///     std::vector<char> bytes;
///     BinarySerializer(bytes) << true << "ab" << false;       // 01 02 00 61 62 00
///
/// There is no header, tag or version: the reader must ask for the same types in the same order.
///
/// | Value             | Bytes, numbers in the machine's byte order                   |
/// |-------------------|--------------------------------------------------------------|
/// | bool              | 1: 0 or 1                                                    |
/// | std::nullopt      | 1: 0, like false                                             |
/// | UnixTime          | 8: the seconds as a double; the precision is not written     |
/// | text              | 2: its length, unsigned; then its bytes                      |
///
/// Deliberate: a text of 65536 bytes and more is cut to its length modulo 65536.
///
/// Lifetime: the vector, stream or whatever the function refers to must outlive the serializer and
/// its copies, which all write to the same place. A moved-from serializer can only be assigned to.
/// Threads: one at a time per target.
/// Not guaranteed: that a stream took the bytes; look at the stream's state.
class VORN_GW_COMMON_EXPORT BinarySerializer {
  public:
    /// Takes all `size` bytes at `data`, which are valid during the call only, or throws.
    using WriteFunction = std::function<void(const char* data, unsigned size)>;

    /// Writes with `ostream::write`.
    explicit BinarySerializer(std::ostream& stream);
    /// Appends to the vector.
    explicit BinarySerializer(std::vector<char>& bytes);
    /// Hands the bytes to the function; what it throws passes through. Throws std::logic_error
    /// "Write function cannot be null" when it is empty.
    explicit BinarySerializer(WriteFunction write);

    /// Appends the bytes of the table above.
    /// @{
    BinarySerializer& operator<<(const bool& value);
    BinarySerializer& operator<<(const std::nullopt_t& value);
    BinarySerializer& operator<<(const UnixTime& value);
    BinarySerializer& operator<<(const std::string& value);
    BinarySerializer& operator<<(const std::string_view& value);
    /// @}
    /// A text up to its NUL; a null pointer is written as an empty text.
    BinarySerializer& operator<<(const char* value);

    /// Other numbers have no form; without this they would be written as truth values.
    template <class Number>
    requires(std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool>) BinarySerializer&
    operator<<(Number) = delete;

  private:
    WriteFunction write_;
};

}  // namespace vorn::common
