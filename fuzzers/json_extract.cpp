// SPDX-License-Identifier: MIT
// Values are taken out of a text as the C library's conversions, and the nine passes over a string,
// say; what fails leaves its target and `errno` as they were. The first byte chooses the types.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <type_traits>

#include <vorn/common/Uuid.h>
#include <vorn/common/lwjson/Deserializer.h>

#include "fuzz.h"
#include "json/referenceExtraction.h"

namespace {

using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

const std::string kAbout = "lwjson::deserializer \"key\" ";

/// The text in a block that ends with its NUL, and what the extraction threw.
template <class T>
std::string extract(const std::string& text, T& out) {
    const fuzz::ExactCopy copy(std::string_view(text.c_str(), text.size() + 1));
    errno = 1234;
    std::string error = fuzz::errorOf([&] {
        Deserializer::extractValue(copy.view().data(), static_cast<unsigned>(text.size()), out,
                                   "key");
    });
    fuzz::same(1234, errno, "errno");
    return error;
}

template <class T>
void compare(const std::string& text, const std::string& expectedError, const T& expected,
             const T& before) {
    T found = before;
    fuzz::same(expectedError, extract(text, found), "error");
    fuzz::require(found == (expectedError.empty() ? expected : before), "value");
}

template <class Number>
void number(const std::string& text, const char* name, Number (*convert)(const char*, char**)) {
    char* end = nullptr;
    errno = 0;
    const Number expected = convert(text.c_str(), &end);
    const std::string error = end == text.c_str() ? std::string("invalid: ") + name
                              : errno == ERANGE   ? std::string("range: ") + name
                                                  : std::string();
    Number found = 1.25;
    fuzz::same(error, extract(text, found), "error of a number");
    if (!error.empty()) {
        fuzz::require(found == Number(1.25), "a number that was refused");
    } else if (expected == expected) {
        fuzz::same(expected, found, "number");
    } else {
        fuzz::require(found != found, "not a number");
    }
}

template <class Integer>
void integer(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    std::string error;
    Integer expected{};
    if constexpr (std::is_signed_v<Integer>) {
        const long long value = std::strtoll(text.c_str(), &end, 10);
        expected = static_cast<Integer>(value);
        error = errno == ERANGE || value != expected ? "range" : "";
    } else {
        const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
        const bool negative =
            value != 0 && text.find('-') < static_cast<std::size_t>(end - text.c_str());
        expected = static_cast<Integer>(value);
        error = errno == ERANGE || value != expected || negative ? "range" : "";
    }
    error = end == text.c_str() ? "invalid: " + kAbout + "is not an integer"
            : error.empty()     ? error
                                : "range: " + kAbout + "value out of range";
    compare<Integer>(text, error, expected, 77);
}

void times(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool isOutOfRange = errno == ERANGE;
    const UnixTime before = UnixTime::fromSeconds(12);
    UnixTime time = before;
    fuzz::same(end == text.c_str() ? "invalid: stod" : "", extract(text, time), "error of a time");
    if (end == text.c_str()) {
        fuzz::require(time == before, "a time that was refused");
    } else if (isOutOfRange || !(seconds >= 0)) {
        fuzz::same(-1.0, time.seconds(), "an undefined time");
    } else if (seconds >= 4294967295.0) {
        fuzz::require(time.isInfinite(), "an infinite time");
    } else {
        fuzz::same(seconds, time.seconds(), "time");
    }

    errno = 0;
    const unsigned long long count = std::strtoull(text.c_str(), &end, 10);
    const bool negative =
        count != 0 && text.find('-') < static_cast<std::size_t>(end - text.c_str());
    const bool outOfRange = errno == ERANGE || count > 4294967295U || negative;
    const SecondsDuration none = SecondsDuration::INFINITE;
    compare(text,
            end != text.c_str() && outOfRange ? "range: " + kAbout + "value out of range" : "",
            end == text.c_str() ? none : SecondsDuration(static_cast<std::uint32_t>(count)),
            SecondsDuration(5));
}

void texts(const std::string& text) {
    const bool isString = !text.empty() && text.front() == '"';
    const std::string error = isString ? "" : "invalid: " + kAbout + "is not a string";
    const std::string value =
        isString && text.size() > 2 ? unescapedPassByPass(text.substr(1, text.size() - 2)) : "";
    compare<std::string>(text, error, value, "before");

    Uuid expected;
    const Uuid before(Uuid::VORN_NAMESPACE);
    compare(text, isString ? fuzz::errorOf([&] { expected = Uuid(value); }) : error, expected,
            before);

    compare(text,
            text == "true" || text == "false" ? "" : "invalid: " + kAbout + "is not a boolean",
            text == "true", text != "true");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned kind = input.byte() & 3U;
    const std::string text(input.rest());
    if (kind == 0) {
        texts(text);
        // Most strings are of the one kind that has a quote at both ends.
        texts('"' + text + '"');
    } else if (kind == 1) {
        number<double>(text, "stod", std::strtod);
        number<float>(text, "stof", std::strtof);
        number<long double>(text, "stold", std::strtold);
    } else if (kind == 2) {
        integer<signed char>(text);
        integer<unsigned char>(text);
        integer<short>(text);
        integer<unsigned short>(text);
        integer<int>(text);
        integer<unsigned>(text);
        integer<long long>(text);
        integer<unsigned long long>(text);
    } else {
        times(text);
    }
    return 0;
}
