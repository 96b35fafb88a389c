// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Serializer.h"

#include <locale.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

#include "internal/cLocale.h"
#include "lwjson/Tail.h"
#include "lwjson/scan.h"
#include "lwjson/scientific.h"

namespace vorn::common::lwjson {
namespace {

/// Sign, digits of the largest number, point, 255 decimals.
using NumberText = std::array<char, std::numeric_limits<double>::max_exponent10 + 3 + 256>;

[[nodiscard]] std::string_view scientific(long double value, NumberText& text) {
    // The C library writes the decimal point of the thread's locale.
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
    if (internal::liesIn(value, *output_)) {
        return addValue(std::string(value));
    }
    const char* from = value.data();
    const char* const end = from + value.size();
    const char* found = internal::scan::escapable(from, end);
    if (found == end) {
        return internal::appendQuoted(*output_, value);
    }
    internal::Tail text(*output_, value.size() + 3);
    // One pass equals the seven, one for each kind: only the first makes backslashes of
    // backslashes, and what the others put in is replaced by none behind them.
    text.put('"');
    for (; found != end; found = internal::scan::escapable(from, end)) {
        text.put({from, static_cast<std::size_t>(found - from)});
        text.put('\\');
        text.put(internal::escapeLetter(*found));
        from = found + 1;
    }
    text.put({from, static_cast<std::size_t>(end - from)});
    text.put("\",");
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
    if (!fixedDecimals && decimals == internal::kScientificDecimals) {
        internal::Tail tail(*output_, internal::kScientificRoom + 1);
        char* const end = internal::writeScientific(tail.room(0), value);
        *end = ',';
        tail.advanceTo(end + 1);
        return;
    }
    NumberText text;
    char* const last = text.data() + text.size();
    const std::to_chars_result result =
        fixedDecimals
            ? std::to_chars(text.data(), last, value, std::chars_format::fixed, *fixedDecimals)
            : std::to_chars(text.data(), last, value, std::chars_format::scientific, decimals);
    append({text.data(), static_cast<std::size_t>(result.ptr - text.data())});
}

void Serializer::addValue(const float& value, std::optional<unsigned char> precision) {
    appendNumber(value, precision, 8);
}

void Serializer::addValue(const double& value, std::optional<unsigned char> precision) {
    appendNumber(value, precision, internal::kScientificDecimals);
}

void Serializer::addValue(const long double& value) {
    // On ARM a long double is a double.
    if constexpr (std::numeric_limits<long double>::digits == std::numeric_limits<double>::digits) {
        appendNumber(static_cast<double>(value), std::nullopt, internal::kScientificDecimals);
    } else {
        requireOpen();
        NumberText text;
        append(scientific(value, text));
    }
}

template <class Integer>
void Serializer::appendInteger(Integer value) {
    requireOpen();
    constexpr std::size_t kSignDigitsComma = std::numeric_limits<Integer>::digits10 + 3;
    internal::appendWritten(*output_, kSignDigitsComma, [value](char* to) {
        to = std::to_chars(to, to + kSignDigitsComma, value).ptr;
        *to++ = ',';
        return to;
    });
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
    appendNumber(value.seconds(), std::nullopt, internal::kScientificDecimals);
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
