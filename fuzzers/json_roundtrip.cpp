// SPDX-License-Identifier: MIT
// A text that can be read is written, in both layouts, as the step by step writer of the tests
// writes it, and what was written reads as what was read. The first byte holds the options.
#include <algorithm>
#include <string>
#include <string_view>

#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#include "fuzz.h"
#include "json/ReferenceWriter.h"

namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

/// Raw line feeds in strings gain indentation when they are copied.
bool hasRawLineFeed(const Deserializer& node) {
    if (node.type() == Deserializer::MemberType::Value) {
        return node.value.view().find('\n') != std::string_view::npos;
    }
    for (const Deserializer& member : node.members()) {
        if (member.key().view().find('\n') != std::string_view::npos || hasRawLineFeed(member)) {
            return true;
        }
    }
    return false;
}

unsigned levels(const Deserializer& node) {
    unsigned deepest = 0;
    for (const Deserializer& member : node.members()) {
        deepest = std::max(deepest, levels(member));
    }
    return node.type() == Deserializer::MemberType::Value ? 0 : deepest + 1;
}

/// Objects without members have become null.
void sameContent(const Deserializer& expected, const Deserializer& found) {
    if (expected.type() == Deserializer::MemberType::Object && expected.members().empty()) {
        fuzz::require(found.isNull(), "an empty object is null");
        return;
    }
    fuzz::same(static_cast<int>(expected.type()), static_cast<int>(found.type()), "type");
    fuzz::same(expected.isNull(), found.isNull(), "null flag");
    if (expected.type() == Deserializer::MemberType::Value) {
        fuzz::same(expected.value.view(), found.value.view(), "value");
    }
    fuzz::same(expected.members().size(), found.members().size(), "number of members");
    for (std::size_t i = 0; i < expected.members().size(); ++i) {
        fuzz::same(expected.members()[i].name(), found.members()[i].name(), "name");
        sameContent(expected.members()[i], found.members()[i]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto options = static_cast<Deserializer::Options>((input.byte() & 3U) * 2);
    Deserializer read(options);
    if (!fuzz::errorOf([&] { read.importJson(std::string(input.rest())); }).empty()) {
        return 0;
    }
    for (const auto format : {Serializer::Pretty, Serializer::Compact}) {
        for (const bool underKey : {false, true}) {
            Serializer written(format);
            ReferenceWriter expected(format == Serializer::Pretty);
            if (underKey) {
                written.appendKey("k");
                expected.appendKey("k");
            }
            written.addValue(read);
            expected.add(read);
            written.finalize();
            expected.finalize();
            fuzz::same(expected.text, written.json(), "written text");
            // Under a key is one level deeper.
            if (options == Deserializer::None && !hasRawLineFeed(read) &&
                !(underKey && levels(read) == Deserializer::kMaxNestingDepth)) {
                const Deserializer again(written.json());
                sameContent(read, underKey ? again["k"] : again);
            }
        }
    }
    return 0;
}
