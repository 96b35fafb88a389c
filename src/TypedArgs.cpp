// SPDX-License-Identifier: MIT
#include "vorn/common/TypedArgs.h"

#include <stdlib.h>

#include <cerrno>
#include <charconv>
#include <stdexcept>
#include <type_traits>

#include "internal/cLocale.h"
#include "lwjson/flatten.h"

namespace vorn::common {
namespace {

[[noreturn]] void refuse(const char* expected) {
    throw std::invalid_argument(std::string("Invalid argument: ") + expected + " value expected");
}

/// `strtold` and not `from_chars`: blanks, '+' and hexadecimal forms are accepted, and it decides
/// what is out of range.
long double floatingPoint(std::string_view text) {
    const std::string terminated(text);
    // errno is the only report of a range error; callers keep theirs.
    const int savedErrno = errno;
    errno = 0;
    char* end = nullptr;
    const long double value = ::strtold_l(terminated.c_str(), &end, internal::cLocale());
    const bool inRange = errno != ERANGE;
    errno = savedErrno;
    if (end == terminated.c_str() || !inRange) {
        refuse("floating point");
    }
    return value;
}

}  // namespace

Args loadArgs(const lwjson::Deserializer& root) {
    Args args;
    loadArgs(args, "", root);
    return args;
}

void loadArgs(Args& args, const std::string& prefix, const lwjson::Deserializer& node) {
    // A copy that grows and is cut back on the way; the caller's prefix may even be a key of
    // `args`.
    std::string path = prefix;
    internal::flatten(args, path, node, [](const lwjson::Deserializer& member) {
        return member.type() == lwjson::Deserializer::MemberType::Value;
    });
}

bool GetTypedArgHelper<bool>::get(std::string_view text) {
    if (text != "true" && text != "false") {
        refuse("boolean");
    }
    return text == "true";
}

std::string_view GetTypedArgHelper<std::string_view>::get(std::string_view text) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
        refuse("string");
    }
    return text.substr(1, text.size() - 2);
}

std::string GetTypedArgHelper<std::string>::get(std::string_view text) {
    return std::string(GetTypedArgHelper<std::string_view>::get(text));
}

template <TypedArg T>
T GetTypedArgHelper<T>::get(std::string_view text) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(floatingPoint(text));
    } else {
        T value{};
        // The form of the header alone: no blanks, no '+', no locale, and what follows is not
        // looked at.
        if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc()) {
            refuse(std::is_signed_v<T> ? "signed integer" : "unsigned integer");
        }
        return value;
    }
}

// The types of TypedArg, so that the conversions live in the library and not in its users.
template struct GetTypedArgHelper<signed char>;
template struct GetTypedArgHelper<unsigned char>;
template struct GetTypedArgHelper<short>;
template struct GetTypedArgHelper<unsigned short>;
template struct GetTypedArgHelper<int>;
template struct GetTypedArgHelper<unsigned>;
template struct GetTypedArgHelper<long>;
template struct GetTypedArgHelper<unsigned long>;
template struct GetTypedArgHelper<long long>;
template struct GetTypedArgHelper<unsigned long long>;
template struct GetTypedArgHelper<float>;
template struct GetTypedArgHelper<double>;
template struct GetTypedArgHelper<long double>;

}  // namespace vorn::common
