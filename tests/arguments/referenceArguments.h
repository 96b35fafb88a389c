// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>

#include <vorn/common/lwjson/Deserializer.h>

/// Arguments flattened and converted step by step, to compare the real ones with.
namespace reference {

/// Adds what is below a node. `onlyLeaves`: a member counts when it has no members, of whatever
/// kind it is; otherwise when it is a value.
inline void flattenArguments(std::unordered_map<std::string, std::string>& arguments,
                             const std::string& prefix,
                             const vorn::common::lwjson::Deserializer& node, bool onlyLeaves) {
    using MemberType = vorn::common::lwjson::Deserializer::MemberType;
    for (const auto& member : node.members()) {
        const std::string key = prefix + member.name();
        if (onlyLeaves ? member.members().empty() : member.type() == MemberType::Value) {
            arguments.emplace(key, member.value.view());
        }
        if (!member.members().empty()) {
            flattenArguments(arguments, key + "_", member, onlyLeaves);
        }
    }
}

/// Nothing for a text that is refused. A sign where the type has one, digits, and anything.
template <class Integer>
std::optional<Integer> integerArgument(std::string_view text) {
    const bool negative = std::is_signed_v<Integer> && text.starts_with('-');
    text.remove_prefix(negative ? 1 : 0);
    if (text.empty() || text.front() < '0' || text.front() > '9') {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const char character : text) {
        if (character < '0' || character > '9') {
            break;
        }
        if (__builtin_mul_overflow(value, 10U, &value) ||
            __builtin_add_overflow(value, static_cast<unsigned>(character - '0'), &value)) {
            return std::nullopt;
        }
    }
    const auto largest = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max());
    if (value > largest + (negative ? 1U : 0U)) {
        return std::nullopt;
    }
    return static_cast<Integer>(negative ? 0 - value : value);
}

template <class Number>
std::optional<Number> floatingArgument(std::string_view text) {
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    const long double value = std::strtold(copy.c_str(), &end);
    const bool refused = end == copy.c_str() || errno == ERANGE;
    errno = 0;
    return refused ? std::nullopt : std::optional(static_cast<Number>(value));
}

}  // namespace reference
