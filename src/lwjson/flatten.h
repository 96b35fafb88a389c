// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_map>

#include <vorn/common/lwjson/Deserializer.h>

namespace vorn::common::internal {

/// Turns the members of a node into a flat map: a member for which `isEntry` holds gives its raw
/// text under its path, the names joined by '_'; members of members follow. The first of equal keys
/// stays. `path` begins as the prefix and ends as it began. The reader's nesting limit bounds the
/// recursion.
///
/// A key is copied into the map only: one buffer holds the path and is cut back behind each member,
/// so that under a long name members without an entry cost no more than elsewhere.
template <class IsEntry>
void flatten(std::unordered_map<std::string, std::string>& entries, std::string& path,
             const lwjson::Deserializer& node, IsEntry isEntry) {
    const auto length = path.size();
    bool haveUnnamed = false;
    for (const auto& member : node.members()) {
        // All plain elements of an array have one key, the path itself. Looking it up once keeps a
        // long array under a long name linear.
        const bool isUnnamed = member.key().size == 0;
        const bool isNew = isEntry(member) && !(isUnnamed && haveUnnamed);
        if (!isNew && member.members().empty()) {
            continue;
        }
        path.append(member.key().view());
        if (isNew) {
            entries.try_emplace(path, member.value.data, member.value.size);
            haveUnnamed = haveUnnamed || isUnnamed;
        }
        if (!member.members().empty()) {
            path += '_';
            flatten(entries, path, member, isEntry);
        }
        path.resize(length);
    }
}

}  // namespace vorn::common::internal
