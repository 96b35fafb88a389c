// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <unordered_map>

#include <vorn/common/export.h>
#include <vorn/common/lwjson/Deserializer.h>

namespace vorn::common {

/// Arguments by flat key, each the raw text of a JSON value: strings keep their quotes and escapes.
using Args = std::unordered_map<std::string, std::string>;

/// Flattens a service's JSON arguments; the keys are the member names joined by '_'.
///
///     const auto args = loadArgs(lwjson::Deserializer(R"({"net":{"port":8080,"host":"a"}})"));
///     const auto port = GetTypedArgHelper<unsigned short>::get(args.at("net_port"));
///     const auto host = GetTypedArgHelper<std::string>::get(args.at("net_host"));
///
/// Array elements have no names, so only the first of them is kept, under the array's key and a
/// '_'. Empty objects and arrays, and a document that is a single value, give nothing.
///
/// Not guaranteed: memory in proportion to the document. A long name is part of the key of every
/// value below it, so that a hostile document of N bytes can make keys of N * N / 28 bytes: 10 MB
/// from 16 KB, 150 MB from 64 KB. Nor time in proportion: names chosen for one value of `std::hash`
/// are each held against all before, by the map and by every look-up in it. Refuse documents of
/// strangers that are longer than 16 KB.
[[nodiscard]] VORN_GW_COMMON_EXPORT Args loadArgs(const lwjson::Deserializer& root);

/// Adds the members of `node` to `args`, with `prefix` before each key. An existing key is kept as
/// it is, and so is the first of several equal ones.
VORN_GW_COMMON_EXPORT void loadArgs(Args& args, const std::string& prefix,
                                    const lwjson::Deserializer& node);

/// The types that an argument can be turned into; `char` is not among them.
template <class T>
concept TypedArg =
    std::same_as<T, bool> || std::same_as<T, std::string_view> || std::same_as<T, std::string> ||
    std::same_as<T, signed char> || std::same_as<T, unsigned char> || std::same_as<T, short> ||
    std::same_as<T, unsigned short> || std::same_as<T, int> || std::same_as<T, unsigned> ||
    std::same_as<T, long> || std::same_as<T, unsigned long> || std::same_as<T, long long> ||
    std::same_as<T, unsigned long long> || std::same_as<T, float> || std::same_as<T, double> ||
    std::same_as<T, long double>;

/// Turns one argument text into a value: `GetTypedArgHelper<T>::get(text)`. Other types than those
/// of `TypedArg` do not compile.
///
/// `get` throws `std::invalid_argument` when the text has not the expected form:
///
/// | T | accepted | text of the exception |
/// |---|---|---|
/// | `bool` | exactly "true" or "false" | "Invalid argument: boolean value expected" |
/// | `std::string_view`, `std::string` | a double quote, anything, a double quote | |
/// | | | "Invalid argument: string value expected" |
/// | unsigned integers | decimal digits | "Invalid argument: unsigned integer value expected" |
/// | signed integers | '-' or nothing, then digits | |
/// | | | "Invalid argument: signed integer value expected" |
/// | `float`, `double`, `long double` | what `strtold` reads in the "C" locale | |
/// | | | "Invalid argument: floating point value expected" |
///
/// Integers: neither blanks nor a '+' may come first; a number that does not fit `T` is refused.
/// Floating point: blanks before the number are skipped, hexadecimal, "inf" and "nan" forms are
/// read; a number outside the range of `long double` (as `strtold` reports it, so too small a one
/// as well) is refused.
///
/// Deliberate: what follows a number is not looked at, so "12abc" is 12.
/// Deliberate: a floating point value is narrowed to `T` without a range test, so "1e300" is
/// infinite as a `float`.
///
/// Threads: safe from all of them; the process's locale does not matter.
template <TypedArg T>
struct VORN_GW_COMMON_EXPORT GetTypedArgHelper {
    /// `text` is one value of `Args`.
    [[nodiscard]] static T get(std::string_view text);
};

/// Case matters, and nothing may stand around the word.
template <>
struct VORN_GW_COMMON_EXPORT GetTypedArgHelper<bool> {
    /// Throws as the table says.
    [[nodiscard]] static bool get(std::string_view text);
};

/// The characters between the first and the last one; quotes and escapes among them stay as they
/// are. Lifetime: the result is a view into `text`.
template <>
struct VORN_GW_COMMON_EXPORT GetTypedArgHelper<std::string_view> {
    /// Throws as the table says.
    [[nodiscard]] static std::string_view get(std::string_view text);
};

/// The same characters, copied.
template <>
struct VORN_GW_COMMON_EXPORT GetTypedArgHelper<std::string> {
    /// Throws as the table says.
    [[nodiscard]] static std::string get(std::string_view text);
};

}  // namespace vorn::common
