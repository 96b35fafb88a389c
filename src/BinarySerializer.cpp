// SPDX-License-Identifier: MIT
#include "vorn/common/BinarySerializer.h"

#include <cstdint>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace vorn::common {

BinarySerializer::BinarySerializer(std::ostream& stream)
    : write_([&stream](const char* data, unsigned size) {
          stream.write(data, static_cast<std::streamsize>(size));
      }) {}

BinarySerializer::BinarySerializer(std::vector<char>& bytes)
    : write_([&bytes](const char* data, unsigned size) {
          bytes.insert(bytes.end(), data, data + size);
      }) {}

BinarySerializer::BinarySerializer(WriteFunction write) : write_(std::move(write)) {
    if (!write_) {
        throw std::logic_error("Write function cannot be null");
    }
}

BinarySerializer& BinarySerializer::operator<<(const bool& value) {
    const char byte = value ? 1 : 0;
    write_(&byte, 1);
    return *this;
}

BinarySerializer& BinarySerializer::operator<<(const std::nullopt_t&) {
    return *this << false;
}

BinarySerializer& BinarySerializer::operator<<(const UnixTime& value) {
    // As one piece: a sink of the caller's may count or frame what it gets.
    const double seconds = value.seconds();
    char bytes[sizeof seconds];
    std::memcpy(bytes, &seconds, sizeof seconds);
    write_(bytes, sizeof bytes);
    return *this;
}

BinarySerializer& BinarySerializer::operator<<(const std::string& value) {
    return *this << std::string_view(value);
}

BinarySerializer& BinarySerializer::operator<<(const std::string_view& value) {
    // The cut text, not only the cut length: what follows must still be found by the reader.
    const auto length = static_cast<std::uint16_t>(value.size());
    char bytes[sizeof length];
    std::memcpy(bytes, &length, sizeof length);
    write_(bytes, sizeof bytes);
    write_(value.data(), length);
    return *this;
}

BinarySerializer& BinarySerializer::operator<<(const char* value) {
    return *this << (value == nullptr ? std::string_view() : std::string_view(value));
}

}  // namespace vorn::common
