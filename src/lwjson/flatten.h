#pragma once

#include <string>
#include <unordered_map>

#include <vorn/common/lwjson/Deserializer.h>

namespace vorn::common::internal {

/// Turns the members of a node into a flat map: a member for which `isEntry` holds gives its raw
/// text under its path, the names joined by '_'; members of members follow. The first of equal keys
/// stays. The reader's nesting limit bounds the recursion.
template <class IsEntry>
void flatten(std::unordered_map<std::string, std::string>& entries, const std::string& prefix,
             const lwjson::Deserializer& node, IsEntry isEntry) {
    for (const auto& member : node.members()) {
        const auto key = prefix + member.name();
        if (isEntry(member)) {
            entries.try_emplace(key, member.value.data, member.value.size);
        }
        if (!member.members().empty()) {
            flatten(entries, key + "_", member, isEntry);
        }
    }
}

}  // namespace vorn::common::internal
