// SPDX-License-Identifier: MIT
#include <functional>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/Uuid.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/time/UnixTime.h>

#include "ladders/Ladder.h"

namespace {

using ladders::Row;
using ladders::Trial;
using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;
using vorn::common::time::UnixTime;

/// Every kind of value, with texts too long for the short form of a string.
const std::string kDocument =
    R"({"name":"a \"text\" with\nescapes that needs memory of its own","list":[1,-2.5,true,null,)"
    R"({"deep":[[],{},"x"]}],"id":"11111111-2222-3333-4444-555555555555",)"
    R"("numbers":[1,2,3],"texts":["a text that needs memory of its own","b"],)"
    R"("a long key that needs memory of its own":{"since":1700000000.25}})";

/// Imports add to what is there.
bool addsMembers(Deserializer& reader) {
    const auto before = reader.members().size();
    reader.importJson("[1,[2]]");
    return reader.members().size() == before + 2;
}

void reading(Trial& trial) {
    Deserializer reader;
    trial.operate([&] { reader.importJson(kDocument); });
    trial.require(trial.threw() || reader.members().size() == 6, "members are missing");
    trial.require(addsMembers(reader), "the next import");
}

void readingOwned(Trial& trial) {
    std::string text = kDocument;
    Deserializer reader;
    trial.operate([&] { reader.importJson(std::move(text)); });
    trial.require(trial.threw() || reader.members().size() == 6, "members are missing");
    trial.require(addsMembers(reader), "the next import");
}

void readingMore(Trial& trial) {
    Deserializer reader(std::string(R"({"first":[1,"a text that needs memory of its own"]})"));
    std::string more = R"({"second":["a text that needs memory of its own"]})";
    trial.operate([&] { reader.importJson(std::move(more)); });
    trial.require(reader["first"].members().size() == 2, "what was there is lost");
    trial.require(addsMembers(reader), "the next import");
}

void copying(Trial& trial) {
    const Deserializer reader(std::string{kDocument});
    Deserializer copy("[7]");
    trial.operate([&] { copy = reader; });
    trial.require(copy.members().size() == (trial.threw() ? 1U : 6U),
                  "neither as before nor a copy");
    trial.require(addsMembers(copy), "the next import");
}

template <class Value>
std::function<void(Trial&)> extracting(const char* name, Value before) {
    return [name, before](Trial& trial) {
        const Deserializer reader{std::string_view(kDocument)};
        const auto& node = reader[name];
        Value value = before;
        trial.operate(
            [&] { Deserializer::extractValue(node.value.data, node.value.size, value, "name"); });
        trial.require(value == (trial.threw() ? before : node.as<Value>()),
                      "neither as before nor the value");
    };
}

void comparing(Trial& trial) {
    const Deserializer left{std::string_view(kDocument)};
    const Deserializer right(R"({"list":[2],"name":"a"})");
    bool equal = true;
    trial.operate([&] { equal = left.compare(right); });
    trial.require(trial.threw() || !equal, "equal");
    trial.require(left.compare(left), "the next comparison");
}

void reporting(Trial& trial) {
    const Deserializer left{std::string_view(kDocument)};
    const Deserializer right(R"({"list":[2],"name":"a"})");
    std::ostringstream report;
    report.exceptions(std::ios_base::badbit);
    bool equal = true;
    trial.operate([&] { equal = left.compare(right, report); });
    trial.require(trial.threw() || !equal, "equal");
}

/// The same text again after every failure.
template <class Action>
std::function<void(Trial&)> writing(Action action) {
    return [action](Trial& trial) {
        Serializer expected(Serializer::Compact);
        action(expected);
        Serializer writer(Serializer::Compact);
        trial.operate([&] { action(writer); });
        trial.require(trial.threw() || writer.json() == expected.json(), "another text");
        Serializer next(Serializer::Compact);
        action(next);
        trial.require(next.json() == expected.json(), "the next writer");
    };
}

const std::string kLongText(100, 't');
const Deserializer kTree(R"({"a":[1,{"b":"a text that needs memory of its own"}]})");

const Row kRows[] = {
    {"Deserializer()", [](Trial& trial) { trial.operate([] { const Deserializer reader; }); }},
    {"Deserializer::importJson of a view", reading},
    {"Deserializer::importJson of a text", readingOwned},
    {"Deserializer::importJson once more", readingMore},
    {"Deserializer = Deserializer", copying},
    {"Deserializer::extractValue of a string", extracting<std::string>("name", "before")},
    {"Deserializer::extractValue of a Uuid", extracting("id", Uuid::UNKNOWN)},
    {"Deserializer::compare", comparing},
    {"Deserializer::compare with a report", reporting},
    {"Serializer: an object", writing([](Serializer& writer) {
         writer.appendKey("a key that needs memory of its own");
         writer.addValue(kLongText);
         writer.appendKey("number");
         writer.addValue(1.5);
         writer.finalize();
     })},
    {"Serializer: a list", writing([](Serializer& writer) {
         writer.addValue(std::vector<int>(40, 12345678));
         writer.finalize();
     })},
    {"Serializer: another serializer", writing([](Serializer& writer) {
         Serializer inner;
         inner.addValue(kLongText);
         inner.finalize();
         writer.appendKey("inner");
         writer.addValue(inner);
         writer.finalize();
     })},
    {"Serializer: a tree", writing([](Serializer& writer) {
         writer.addValue(kTree);
         writer.finalize();
     })},
    {"Serializer: a time and a Uuid", writing([](Serializer& writer) {
         writer.appendKey("time");
         writer.addValue(UnixTime(1700000000, 250000000));
         writer.appendKey("id");
         writer.addValue(Uuid::NIL);
         writer.finalize();
     })},
};

TEST(JsonLadder, Allocations) {
    ladders::climbAllocations({std::begin(kRows), std::end(kRows)});
}

}  // namespace
