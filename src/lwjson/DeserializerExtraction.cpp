// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "internal/cLocale.h"
#include "lwjson/escapes.h"
#include "lwjson/scan.h"

namespace vorn::common::lwjson {
namespace {

[[nodiscard]] std::string about(const char* name, const char* problem) {
    return std::string("lwjson::deserializer \"") + (name == nullptr ? "" : name) + "\" " + problem;
}

[[noreturn, gnu::noinline]] void throwOutOfRange(const char* name) {
    throw std::out_of_range(about(name, "value out of range"));
}

[[nodiscard]] constexpr bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// A plain decimal number well inside the type's range, for which `from_chars` and `strtod` agree;
/// everything else (0 and with it "0x1" too) is left to the latter.
template <class Number>
[[nodiscard]] bool readPlainNumber(const char* text, Number& out) {
    const char* digits = *text == '-' ? text + 1 : text;
    if (!isDigit(*digits)) {
        return false;
    }
    const char* end = digits + 1;
    while (isDigit(*end) || *end == '.' || *end == 'e' || *end == 'E' || *end == '+' ||
           *end == '-') {
        ++end;
    }
    Number number{};
    const auto result = std::from_chars(text, end, number);
    if (result.ec != std::errc() || !(std::abs(number) > std::numeric_limits<Number>::min())) {
        return false;
    }
    out = number;
    return true;
}

template <class Number>
[[nodiscard]] Number readNumber(const char* text, const char* conversion,
                                Number (*convert)(const char*, char**, locale_t)) {
    // The value of a node without text.
    if (text == nullptr) {
        throw std::invalid_argument(conversion);
    }
    Number number{};
    if constexpr (!std::is_same_v<Number, long double>) {
        if (readPlainNumber(text, number)) {
            return number;
        }
    }
    // Only errno tells a result out of range from an infinity that was written; it is the caller's.
    const int savedErrno = errno;
    errno = 0;
    char* stop = nullptr;
    number = convert(text, &stop, internal::cLocale());
    const bool outOfRange = errno == ERANGE;
    errno = savedErrno;
    if (stop == text) {
        throw std::invalid_argument(conversion);
    }
    if (outOfRange) {
        throw std::out_of_range(conversion);
    }
    return number;
}

struct Decimal {
    std::uint64_t magnitude = 0;
    bool negative = false;
    bool hasDigits = false;
    bool overflows = false;
};

/// What `strtoull` reads: white space, a sign, digits; up to the first other character.
[[nodiscard]] Decimal readDecimal(const char* text) {
    Decimal decimal;
    if (text == nullptr) {
        return decimal;
    }
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) {
        ++text;
    }
    if (*text == '-' || *text == '+') {
        decimal.negative = *text == '-';
        ++text;
    }
    decimal.hasDigits = isDigit(*text);
    constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
    // Tested before the step, since unsigned numbers wrap silently.
    for (; isDigit(*text) && !decimal.overflows; ++text) {
        const auto digit = static_cast<std::uint64_t>(*text - '0');
        decimal.overflows = decimal.magnitude > (kLargest - digit) / 10;
        decimal.magnitude = decimal.magnitude * 10 + digit;
    }
    return decimal;
}

template <class Integer>
void extractInteger(const char* text, Integer& out, const char* name) {
    const Decimal decimal = readDecimal(text);
    if (!decimal.hasDigits) {
        throw std::invalid_argument(about(name, "is not an integer"));
    }
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max());
    // There is one more negative number than positive ones.
    const std::uint64_t limit =
        decimal.negative ? (std::is_signed_v<Integer> ? kLargest + 1 : 0) : kLargest;
    if (decimal.overflows || decimal.magnitude > limit) {
        throwOutOfRange(name);
    }
    out = static_cast<Integer>(decimal.negative ? 0 - decimal.magnitude : decimal.magnitude);
}

/// The text between `from` and `end`, which begins with a backslash, with its escapes replaced kind
/// by kind in one pass: of a run of n backslashes, the one before a quote is taken first, the
/// others are halved (rounding up), and of those the last one belongs to the letter behind the run.
/// Returns the end of what is written to `out`, which has room for as many characters: whole blocks
/// may be copied there, since a result is never longer than what it is made from.
char* unescape(const char* from, const char* end, char* out) {
    using internal::Block;
    for (;;) {
        const char* behind = from;
        while (behind != end && *behind == '\\') {
            ++behind;
        }
        const char letter = behind == end ? '\0' : *behind;
        const char replacement = internal::unescaped(letter);
        auto backslashes = static_cast<std::size_t>(behind - from);
        if (letter == '"') {
            backslashes = backslashes / 2;
        } else {
            backslashes = (backslashes + 1) / 2 - (replacement == '\0' ? 0 : 1);
        }
        if (backslashes != 0) {
            std::memset(out, '\\', backslashes);
            out += backslashes;
        }
        from = behind;
        if (replacement != '\0') {
            *out++ = replacement;
            ++from;
        }
        for (;;) {
            if (end - from < static_cast<std::ptrdiff_t>(Block::kWidth)) {
                while (from != end && *from != '\\') {
                    *out++ = *from++;
                }
                if (from == end) {
                    return out;
                }
                break;
            }
            const Block block(from);
            std::memcpy(out, from, Block::kWidth);
            const auto found = block.equal('\\');
            const std::size_t plain = found == 0 ? Block::kWidth : Block::first(found);
            from += plain;
            out += plain;
            if (found != 0) {
                break;
            }
        }
    }
}

}  // namespace

void Deserializer::extractValue(const char* text, unsigned size, bool& out, const char* name) {
    const std::string_view value(text, size);
    if (value != "true" && value != "false") {
        throw std::invalid_argument(about(name, "is not a boolean"));
    }
    out = value == "true";
}

void Deserializer::extractValue(const char* text, unsigned, double& out, const char*) {
    out = readNumber<double>(text, "stod", ::strtod_l);
}

void Deserializer::extractValue(const char* text, unsigned, float& out, const char*) {
    out = readNumber<float>(text, "stof", ::strtof_l);
}

void Deserializer::extractValue(const char* text, unsigned, long double& out, const char*) {
    out = readNumber<long double>(text, "stold", ::strtold_l);
}

void Deserializer::extractValue(const char* text, unsigned size, std::string& out,
                                const char* name) {
    if (text == nullptr || size == 0 || *text != '"') {
        throw std::invalid_argument(about(name, "is not a string"));
    }
    const char* const begin = text + 1;
    const char* const end = begin + (size < 2 ? 0 : size - 2);
    const auto* const first =
        static_cast<const char*>(std::memchr(begin, '\\', static_cast<std::size_t>(end - begin)));
    if (first == nullptr) {
        out.assign(begin, end);
        return;
    }
    // Not in `out`: it may hold the text, and stays as it was when memory is short.
    std::string result(begin, end);
    char* const written = unescape(first, end, result.data() + (first - begin));
    result.resize(static_cast<std::size_t>(written - result.data()));
    out = std::move(result);
}

void Deserializer::extractValue(const char* text, unsigned size, Uuid& out, const char* name) {
    // Both steps may throw; `out` changes behind them.
    std::string uuid;
    extractValue(text, size, uuid, name);
    out = Uuid(uuid);
}

void Deserializer::extractValue(const char* text, unsigned size, time::UnixTime& out,
                                const char* name) {
    double seconds = 0;
    try {
        extractValue(text, size, seconds, name);
    } catch (const std::out_of_range&) {
        out = time::UnixTime::UNDEFINED;
        return;
    }
    // Written so that it holds for NaN too.
    if (!(seconds >= 0)) {
        out = time::UnixTime::UNDEFINED;
    } else if (seconds >= time::UnixTime::INFINITE.seconds()) {
        out = time::UnixTime::INFINITE;
    } else {
        // -0 counts as 0.
        out = time::UnixTime::fromSeconds(std::abs(seconds));
    }
}

void Deserializer::extractValue(const char* text, unsigned, time::SecondsDuration& out,
                                const char* name) {
    const Decimal decimal = readDecimal(text);
    if (!decimal.hasDigits) {
        out = time::SecondsDuration::INFINITE;
        return;
    }
    if (decimal.overflows || decimal.magnitude > std::numeric_limits<std::uint32_t>::max() ||
        (decimal.negative && decimal.magnitude != 0)) {
        throwOutOfRange(name);
    }
    out = time::SecondsDuration(static_cast<std::uint32_t>(decimal.magnitude));
}

void Deserializer::extractValue(const char* text, unsigned, signed char& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, unsigned char& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, short& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, unsigned short& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, int& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, unsigned& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, long& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, unsigned long& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, long long& out, const char* name) {
    extractInteger(text, out, name);
}

void Deserializer::extractValue(const char* text, unsigned, unsigned long long& out,
                                const char* name) {
    extractInteger(text, out, name);
}

}  // namespace vorn::common::lwjson
