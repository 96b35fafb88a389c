// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include <vorn/common/lwjson/Deserializer.h>

/// What a search from the front for every key finds: the lines of the report in their order, and
/// the short text of the first difference (empty for none).
struct ReferenceComparison {
    std::string report;
    std::string first;
    unsigned differences = 0;

    void compare(const vorn::common::lwjson::Deserializer& expected,
                 const vorn::common::lwjson::Deserializer& found, const std::string& path = {}) {
        using MemberType = vorn::common::lwjson::Deserializer::MemberType;
        if (expected.type() != found.type()) {
            differ("Type mismatch", path,
                   std::string("type mismatch: found ") + word(found) + ", expected " +
                       word(expected));
            return;
        }
        const auto& members = expected.members();
        const auto& others = found.members();
        const std::string sizes = " size mismatch: found " + std::to_string(others.size()) +
                                  ", expected " + std::to_string(members.size());
        if (expected.type() == MemberType::Object) {
            if (members.size() != others.size()) {
                differ("Object size mismatch", path, "object" + sizes);
            }
            for (const auto& member : members) {
                const auto* const other = firstOf(found, member.key().view());
                if (other == nullptr) {
                    differ("Missing key", path, "missing key '" + member.name() + "'");
                } else {
                    compare(member, *other, path + (path.empty() ? "" : ".") + member.name());
                }
            }
            for (const auto& other : others) {
                if (firstOf(expected, other.key().view()) == nullptr) {
                    differ("Unexpected key", path, "unexpected key '" + other.name() + "'");
                }
            }
        } else if (expected.type() == MemberType::Array) {
            if (members.size() != others.size()) {
                differ("Array size mismatch", path, "array" + sizes);
            }
            for (std::size_t i = 0; i < std::min(members.size(), others.size()); ++i) {
                compare(members[i], others[i], path + "[" + std::to_string(i) + "]");
            }
        } else if (expected.type() == MemberType::Value &&
                   expected.value.view() != found.value.view()) {
            differ("Value mismatch", path,
                   "value mismatch: found " + std::string(found.value.view()) + ", expected " +
                       std::string(expected.value.view()));
        }
    }

  private:
    static const vorn::common::lwjson::Deserializer* firstOf(
        const vorn::common::lwjson::Deserializer& node, std::string_view name) {
        for (const auto& member : node.members()) {
            if (member.key().view() == name) {
                return &member;
            }
        }
        return nullptr;
    }

    static const char* word(const vorn::common::lwjson::Deserializer& node) {
        constexpr const char* kWords[] = {"undefined", "value", "object", "array"};
        return kWords[static_cast<int>(node.type())];
    }

    void differ(const char* shortText, const std::string& path, const std::string& longText) {
        ++differences;
        first = first.empty() ? shortText : first;
        report += path + (path.empty() ? "" : " - ") + longText + "\n";
    }
};
