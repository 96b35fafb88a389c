// SPDX-License-Identifier: MIT
#include "vorn/common/BinaryDeserializer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <stdexcept>
#include <utility>

namespace vorn::common {

namespace {

/// Through a local, so that a source that fails half-way leaves the caller's value as it was.
template <class Number>
Number readNumber(const BinaryDeserializer::ReadFunction& read) {
    Number number{};
    read(reinterpret_cast<char*>(&number), sizeof number);
    return number;
}

}  // namespace

BinaryDeserializer::BinaryDeserializer(std::istream& stream)
    : read_([&stream](char* data, unsigned size) {
          stream.read(data, static_cast<std::streamsize>(size));
          // The count, not the state: a stream that was broken before delivers nothing either.
          if (stream.gcount() != static_cast<std::streamsize>(size)) {
              throw std::runtime_error("No data left in the file for deserialization");
          }
      }) {}

BinaryDeserializer::BinaryDeserializer(const std::vector<char>& bytes)
    : read_([&bytes, offset = std::size_t{0}](char* data, unsigned size) mutable {
          // By subtraction: offset + size could wrap on 32 bits. The vector may have shrunk since
          // the last read.
          if (offset > bytes.size() || size > bytes.size() - offset) {
              throw std::runtime_error("No data left in the buffer for deserialization");
          }
          std::copy_n(bytes.data() + offset, size, data);
          offset += size;
      }) {}

BinaryDeserializer::BinaryDeserializer(ReadFunction read) : read_(std::move(read)) {
    if (!read_) {
        throw std::logic_error("Read function cannot be null");
    }
}

BinaryDeserializer& BinaryDeserializer::operator>>(bool& value) {
    // A byte other than 0 and 1 must never get into a bool itself.
    value = readNumber<unsigned char>(read_) != 0;
    return *this;
}

BinaryDeserializer& BinaryDeserializer::operator>>(UnixTime& value) {
    value = UnixTime::fromSeconds(readNumber<double>(read_), true);
    return *this;
}

BinaryDeserializer& BinaryDeserializer::operator>>(std::string& value) {
    // At most 64 KiB are allocated on a stranger's word, so nothing needs to be read in pieces.
    const auto length = readNumber<std::uint16_t>(read_);
    value.assign(length, '\0');
    read_(value.data(), length);
    return *this;
}

}  // namespace vorn::common
