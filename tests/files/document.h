// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>

#include <vorn/common/stream/IStreamable.h>

namespace files {

/// How long a document is, about.
inline std::size_t documentSize = 40000;

/// "<number>\n", `documentSize` characters that depend on the number, "<number>." Every part
/// counts.
inline std::string documentOf(long number) {
    const auto digits = std::to_string(number);
    std::string text = digits + '\n';
    while (text.size() < documentSize) {
        text += digits + ',';
    }
    return text + digits + '.';
}

/// The number of a complete document, or nothing.
inline std::optional<long> numberIn(const std::string& document) {
    const auto number = std::atol(document.c_str());
    return document == documentOf(number) ? std::optional(number) : std::nullopt;
}

/// An object whose stored form tells whether it is complete, and which version it is.
class Document : public vorn::common::stream::IStreamable {
  public:
    void serialize(std::ostream& out) const override { out << documentOf(number); }
    bool deserialize(std::istream& in) override {
        const auto read = numberIn({std::istreambuf_iterator<char>(in), {}});
        number = read.value_or(number);
        return read.has_value();
    }
    long number = -1;
};

}  // namespace files
