#include "vorn/common/lwjson/Serializer.h"

#include <locale.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

#include "internal/cLocale.h"
#include "lwjson/Detached.h"
#include "lwjson/scan.h"

namespace vorn::common::lwjson {
namespace {

/// Sign, digits of the largest number, point, 255 decimals.
using NumberText = std::array<char, std::numeric_limits<double>::max_exponent10 + 3 + 256>;

[[nodiscard]] std::string_view scientific(long double value, NumberText& text) {
    const locale_t before = ::uselocale(internal::cLocale());
    const int length = std::snprintf(text.data(), text.size(), "%.16Le", value);
    ::uselocale(before);
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

void Serializer::addValue(bool value) {
    requireOpen();
    append(value ? "true" : "false");
}

void Serializer::addValue(std::string_view value) {
    requireOpen();
    const internal::Detached detached(value, *output_);
    const char* from = detached.view().data();
    const char* const end = from + detached.view().size();
    *output_ += '"';
    for (;;) {
        const char* found = internal::scan::escapable(from, end);
        output_->append(from, static_cast<std::size_t>(found - from));
        if (found == end) {
            break;
        }
        const char escape[] = {'\\', internal::escapeLetter(*found)};
        output_->append(escape, sizeof escape);
        from = found + 1;
    }
    *output_ += "\",";
}

void Serializer::addValue(const char* value) {
    addValue(std::string_view(value));
}

void Serializer::addValue(const std::string& value) {
    addValue(std::string_view(value));
}

void Serializer::appendNumber(double value, std::optional<unsigned char> fixedDecimals,
                              int decimals) {
    requireOpen();
    NumberText text;
    const auto result = fixedDecimals ? std::to_chars(text.data(), text.data() + text.size(), value,
                                                      std::chars_format::fixed, *fixedDecimals)
                                      : std::to_chars(text.data(), text.data() + text.size(), value,
                                                      std::chars_format::scientific, decimals);
    append({text.data(), static_cast<std::size_t>(result.ptr - text.data())});
}

void Serializer::addValue(const float& value, std::optional<unsigned char> precision) {
    appendNumber(value, precision, 8);
}

void Serializer::addValue(const double& value, std::optional<unsigned char> precision) {
    appendNumber(value, precision, 16);
}

void Serializer::addValue(const long double& value) {
    if constexpr (std::numeric_limits<long double>::digits == std::numeric_limits<double>::digits) {
        appendNumber(static_cast<double>(value), std::nullopt, 16);
    } else {
        requireOpen();
        NumberText text;
        append(scientific(value, text));
    }
}

template <class Integer>
void Serializer::appendInteger(Integer value) {
    requireOpen();
    std::array<char, std::numeric_limits<Integer>::digits10 + 3> text;
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    *result.ptr = ',';
    output_->append(text.data(), static_cast<std::size_t>(result.ptr + 1 - text.data()));
}

void Serializer::addValue(signed char value) {
    appendInteger(value);
}

void Serializer::addValue(unsigned char value) {
    appendInteger(value);
}

void Serializer::addValue(short value) {
    appendInteger(value);
}

void Serializer::addValue(unsigned short value) {
    appendInteger(value);
}

void Serializer::addValue(int value) {
    appendInteger(value);
}

void Serializer::addValue(unsigned value) {
    appendInteger(value);
}

void Serializer::addValue(long value) {
    appendInteger(value);
}

void Serializer::addValue(unsigned long value) {
    appendInteger(value);
}

void Serializer::addValue(long long value) {
    appendInteger(value);
}

void Serializer::addValue(unsigned long long value) {
    appendInteger(value);
}

void Serializer::addValue(const time::UnixTime& value) {
    appendNumber(value.seconds(), std::nullopt, 16);
}

void Serializer::addValue(const time::SecondsDuration& value) {
    requireOpen();
    if (value.isInfinite()) {
        append("-1");
    } else {
        appendInteger(value.count());
    }
}

void Serializer::addValue(const Uuid& value) {
    appendValueAsString(value.to_string().c_str());
}

}  // namespace vorn::common::lwjson
