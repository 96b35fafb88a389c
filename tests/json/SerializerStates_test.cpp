// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Serializer.h"

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"

/// The table in the header, row by row.
namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

enum State : std::size_t { kEmpty, kPlain, kObject, kContinued, kFinalized };

constexpr std::array<std::string_view, 5> kStates = {"empty", "plain", "object", "continued",
                                                     "finalized"};

Serializer in(State state) {
    if (state == kContinued || state == kFinalized) {
        return Serializer(std::string(state == kContinued ? R"({"a":1)" : R"({"a":1})"),
                          Serializer::Compact);
    }
    Serializer json(Serializer::Compact);
    if (state == kObject) {
        json.appendKey("a");
    }
    if (state != kEmpty) {
        json.addValue(1);
    }
    return json;
}

/// Found by what the next steps do: finalized and empty show; an object is closed by a brace; only
/// a continued one puts a comma before a key by itself. Ends the serializer's use.
State stateOf(Serializer json) {
    if (json.isFinalized()) {
        return kFinalized;
    }
    if (json.json().empty()) {
        return kEmpty;
    }
    std::string& text = json.mutableJson();
    text += '1';  // no longer ends with a comma
    const std::string before = text;
    Serializer probe = json;
    probe.finalize();
    const bool closed = text.back() == '}';
    text = before;
    json.appendKey("probe");
    return !closed ? kPlain : text.starts_with(before + ',') ? kContinued : kObject;
}

using Operation = std::function<void(Serializer&)>;

const Operation kKeyOperations[] = {
    [](Serializer& json) { json.appendKey("k"); },
    [](Serializer& json) { json.addNull("k"); },
};
const Operation kValueOperations[] = {
    [](Serializer& json) { json.appendValue("2"); },
    [](Serializer& json) { json.appendValueAsString("2"); },
    [](Serializer& json) { json.addValue(true); },
    [](Serializer& json) { json.addValue("2"); },
    [](Serializer& json) { json.addValue(std::string("2")); },
    [](Serializer& json) { json.addValue(std::string_view("2")); },
    [](Serializer& json) { json.addValue(2.5F); },
    [](Serializer& json) { json.addValue(2.5, 1); },
    [](Serializer& json) { json.addValue(2.5L); },
    [](Serializer& json) { json.addValue(2); },
    [](Serializer& json) { json.addValue(vorn::common::Uuid()); },
    [](Serializer& json) { json.addValue(vorn::common::time::SecondsDuration(2)); },
    [](Serializer& json) { json.addValue(vorn::common::time::UnixTime::fromSeconds(2)); },
    [](Serializer& json) { json.addValue(in(kFinalized)); },
    [](Serializer& json) {
        json.addValue(std::vector<int>{2, 3});
    },
    [](Serializer& json) { json.addValue(Deserializer("[2]")); },
};
const Operation kSetNull[] = {[](Serializer& json) { json.setNull(); }};
const Operation kFinalize[] = {[](Serializer& json) { json.finalize(); }};

/// `to` below `kStates.size()` is the state that follows; `kThrows` keeps text and state.
constexpr std::size_t kThrows = kStates.size();

template <std::size_t kCount>
void expectRow(State from, const Operation (&operations)[kCount], std::size_t to) {
    for (std::size_t i = 0; i < kCount; ++i) {
        SCOPED_TRACE(std::string(kStates[from]) + ", operation " + std::to_string(i));
        Serializer json = in(from);
        ASSERT_EQ(kStates[stateOf(in(from))], kStates[from]);
        if (to == kThrows) {
            const std::string before = json.json();
            EXPECT_THROW_TEXT(operations[i](json), std::runtime_error,
                              "Trying to append value on a finalized Serializer");
            EXPECT_EQ(json.json(), before);
            EXPECT_EQ(kStates[stateOf(json)], kStates[from]);
        } else {
            operations[i](json);
            EXPECT_EQ(kStates[stateOf(json)], kStates[to]) << json.json();
        }
    }
}

TEST(SerializerStates, EveryOperationLeadsFromEveryStateWhereTheTableSays) {
    const struct {
        State from;
        std::size_t byKey;
        std::size_t byValue;
        std::size_t bySetNull;
        std::size_t byFinalize;
    } rows[] = {
        {kEmpty, kObject, kPlain, kPlain, kFinalized},
        {kPlain, kObject, kPlain, kPlain, kFinalized},
        {kObject, kObject, kObject, kPlain, kFinalized},
        {kContinued, kObject, kContinued, kPlain, kFinalized},
        {kFinalized, kThrows, kThrows, kThrows, kFinalized},
    };
    for (const auto& row : rows) {
        expectRow(row.from, kKeyOperations, row.byKey);
        expectRow(row.from, kValueOperations, row.byValue);
        expectRow(row.from, kSetNull, row.bySetNull);
        expectRow(row.from, kFinalize, row.byFinalize);
    }
}

TEST(SerializerStates, FinalizeClosesWhatIsOpen) {
    constexpr std::array<std::string_view, 5> kTexts = {"null", "1", R"({"a":1})", R"({"a":1})",
                                                        R"({"a":1})"};
    for (const State state : {kEmpty, kPlain, kObject, kContinued, kFinalized}) {
        Serializer json = in(state);
        json.finalize();
        EXPECT_EQ(json.json(), kTexts[state]);
        json.finalize();
        EXPECT_EQ(json.json(), kTexts[state]);
    }
}

TEST(SerializerStates, TheTextTellsTheStateToBeginWith) {
    const std::pair<const char*, State> rows[] = {
        {"", kEmpty},
        {"{", kContinued},
        {R"({"a":1,)", kContinued},
        {R"({"a":{}})", kFinalized},
        {"{}", kFinalized},
        {"[1", kFinalized},
        {" {", kFinalized},
        {"1,", kFinalized},
    };
    for (const auto& [text, state] : rows) {
        std::string given = text;
        EXPECT_EQ(Serializer(given, Serializer::Compact).isFinalized(), state == kFinalized);
        Serializer json(std::string(text), Serializer::Compact);
        json.init(512, Serializer::Compact);
        EXPECT_EQ(json.isFinalized(), state == kFinalized) << text;
        if (state == kContinued) {
            json.appendKey("k");
            json.addValue(2);
            json.finalize();
            EXPECT_EQ(Deserializer(json.json().c_str())["k"].as<int>(), 2) << text;
        }
    }
}

}  // namespace
