// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>
#include <typeinfo>

#include <vorn/common/lwjson/Deserializer.h>

/// A short text of a tree: scalars as written, null as "null!", undefined nodes as "?", objects as
/// {key=value;...}, arrays as [value;...].
inline std::string dump(const vorn::common::lwjson::Deserializer& node) {
    using vorn::common::lwjson::Deserializer;
    std::string text;
    switch (node.type()) {
        case Deserializer::MemberType::Undefined:
            return "?";
        case Deserializer::MemberType::Value:
            return std::string(node.value.view()) + (node.isNull() ? "!" : "");
        case Deserializer::MemberType::Object:
            for (const Deserializer& member : node.members()) {
                text += (text.empty() ? "" : ";") + member.name() + "=" + dump(member);
            }
            return "{" + text + "}";
        case Deserializer::MemberType::Array:
            for (const Deserializer& member : node.members()) {
                text += (text.empty() ? "" : ";") + dump(member);
            }
            return "[" + text + "]";
    }
    return "unknown type";
}

/// The dump of a parsed text, or "runtime: ", "invalid: " and the text of the exception.
inline std::string parsed(std::string_view json,
                          vorn::common::lwjson::Deserializer::Options options =
                              vorn::common::lwjson::Deserializer::None) {
    try {
        return dump(vorn::common::lwjson::Deserializer(json, options));
    } catch (const std::runtime_error& error) {
        return std::string("runtime: ") + error.what();
    } catch (const std::invalid_argument& error) {
        return std::string("invalid: ") + error.what();
    }
}
