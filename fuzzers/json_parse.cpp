// SPDX-License-Identifier: MIT
// A text is read as the step by step reader of the tests reads it: the same error or the same tree,
// every span inside the text, nothing read behind its end. The first byte holds the options.
#include <cstdlib>
#include <string>
#include <string_view>

#include <vorn/common/lwjson/Deserializer.h>

#include "fuzz.h"
#include "json/ReferenceReader.h"

namespace {

using vorn::common::lwjson::Deserializer;

/// What a value text looks like, by the C library's conversions of a copy.
Deserializer::ValueType referenceValueType(const std::string& value) {
    if (value.empty()) {
        return Deserializer::ValueType::None;
    }
    if (value[0] == '"') {
        return Deserializer::ValueType::String;
    }
    if (value.starts_with("false") || value.starts_with("true")) {
        return Deserializer::ValueType::Boolean;
    }
    char* end = nullptr;
    static_cast<void>(std::strtol(value.c_str(), &end, 10));
    if (end == value.data() + value.size()) {
        return Deserializer::ValueType::Integer;
    }
    static_cast<void>(std::strtof(value.c_str(), &end));
    return end == value.data() + value.size() ? Deserializer::ValueType::Float
                                              : Deserializer::ValueType::None;
}

bool liesIn(const Deserializer::String& span, std::string_view text) {
    return span.data == nullptr
               ? span.size == 0
               : span.data >= text.data() && span.data + span.size <= text.data() + text.size();
}

void sameTree(const ReferenceReader& expected, std::string_view expectedText,
              const Deserializer& found, std::string_view foundText) {
    fuzz::same(expected.type, static_cast<int>(found.type()), "type");
    fuzz::same(expected.isNull, found.isNull(), "null flag");
    fuzz::same(expected.name, found.name(), "name");
    fuzz::same(expected.value, found.value.view(), "value");
    fuzz::same(expected.begin - expectedText.data(), found.text().data - foundText.data(),
               "begin of the node's text");
    fuzz::same(expected.end - expected.begin, static_cast<std::ptrdiff_t>(found.text().size),
               "length of the node's text");
    fuzz::require(liesIn(found.key(), foundText), "the name lies in the text");
    fuzz::require(liesIn(found.value, foundText), "the value lies in the text");
    fuzz::same(static_cast<int>(referenceValueType(expected.value)),
               static_cast<int>(found.getValueType()), "value type");
    fuzz::same(expected.members.size(), found.members().size(), "number of members");
    for (std::size_t i = 0; i < expected.members.size(); ++i) {
        sameTree(expected.members[i], expectedText, found.members()[i], foundText);
    }
}

/// Every member is found by its name, the first of that name; what is not there is an error.
void lookUp(const Deserializer& node) {
    for (const Deserializer& member : node.members()) {
        const Deserializer* first = node.members().data();
        while (first->name() != member.name()) {
            ++first;
        }
        fuzz::require(node.findMember(member.name().c_str()) == first, "the first of that name");
    }
    const std::string by = "lwjson::deserializer operator";
    fuzz::same(node.type() == Deserializer::MemberType::Array
                   ? "range: " + by + "[index] called with index out of range \"\""
                   : "invalid: " + by + "[index] called on non-array type \"\"",
               fuzz::errorOf(
                   [&] { static_cast<void>(node[static_cast<unsigned>(node.members().size())]); }),
               "look-up behind the last element");
    fuzz::same(node.type() == Deserializer::MemberType::Object
                   ? "range: lwjson::deserializer \"\x01\" value not found in object \"\""
                   : "invalid: " + by + "[member] called on non-object type \"\"",
               fuzz::errorOf([&] { static_cast<void>(node["\x01"]); }), "look-up by name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned flags = input.byte() & 3U;
    const std::string text(input.rest());
    const fuzz::ExactCopy exact(text);

    ReferenceReader expected;
    expected.singleQuotedKeys = (flags & 1U) != 0;
    expected.emptyValues = (flags & 2U) != 0;
    const std::string expectedError =
        fuzz::errorOf([&] { expected.parse(text.data(), text.data() + text.size(), 100, true); });

    // In the options' own values the two flags are 2 and 4.
    Deserializer found(static_cast<Deserializer::Options>(flags * 2));
    const std::string error = fuzz::errorOf([&] { found.importJson(exact.view()); });
    fuzz::same(expectedError, error, "error");
    if (error.empty()) {
        sameTree(expected, text, found, exact.view());
        if (found.findMember("\x01") == nullptr) {
            lookUp(found);
        }
    }
    return 0;
}
