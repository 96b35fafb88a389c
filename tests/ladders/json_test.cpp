// SPDX-License-Identifier: MIT
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/Uuid.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/UnixTime.h>

#include "ladders/Ladder.h"

namespace {

using ladders::giving;
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

/// A look-up or extraction that is refused: with its own text, or for want of memory.
template <class Error, class Refused>
Row refusing(const std::string& name, const std::string& text, Refused refused) {
    return giving(name, [text, refused] {
        try {
            refused();
        } catch (const Error& error) {
            return error.what() == text;
        }
        return false;
    });
}

template <class Value>
Row extractingNumber(const std::string& name) {
    return giving(name, [] {
        Value value{};
        Deserializer::extractValue("17", 2, value, "a name that needs memory of its own");
        return value;
    });
}

const std::string kName = "a name that needs memory of its own";
const char* const kMembers = R"([1,{"a":["a text"]},[2,3]])";
const char* const kMembersEnd = kMembers + std::char_traits<char>::length(kMembers);

Row parsingAMember() {
    return giving("Deserializer of a member", [] {
        const Deserializer::String name(kName.data(), kName.size());
        const Deserializer node(kMembers, kMembersEnd, 5, name);
        return node.members().size() + node.name().size();
    });
}

Row parsing() {
    return giving("Deserializer::parseJson", [] {
        Deserializer node;
        return node.parseJson(kMembers, kMembersEnd, 5) == kMembersEnd &&
               node.members().size() == 3;
    });
}

Row extractingMembers() {
    return giving("Deserializer::extractMembers", [] {
        Deserializer node;
        return node.extractMembers(kMembers + 1, kMembersEnd, ']', false, 5) == kMembersEnd &&
               node.members().size() == 3;
    });
}

Row parsingAKey() {
    return giving("Deserializer::parseKey", [] {
        const std::string text = "\"a key that needs memory of its own\":1";
        Deserializer::String key;
        return Deserializer().parseKey(key, text.data(), text.data() + text.size()) != nullptr &&
               key.size == text.size() - 4;
    });
}

Row contexts() {
    return giving("CompareContext", [] {
        const Deserializer::CompareContext root(false, nullptr, false);
        return root.member(kName).element(2).member(kName).path();
    });
}

Row comparingInAContext() {
    return giving("Deserializer::compare in a context", [] {
        const Deserializer::CompareContext context(false, nullptr, false);
        Deserializer(R"({"a":[1,{"b":2}]})").compare(Deserializer(R"({"a":[2,{"c":2}]})"), context);
        return context.differences();
    });
}

Row comparingUpToTheFirst() {
    using Context = Deserializer::CompareContext;
    return refusing<Context::Exception>("Deserializer::compare that throws", "Value mismatch", [] {
        const Context context(true, nullptr, false);
        Deserializer("[1]").compare(Deserializer("[2]"), context);
    });
}

Row lookingUp() {
    return refusing<std::out_of_range>(
        "Deserializer::getMember of nothing",
        "lwjson::deserializer \"" + kName + "\" value not found in object \"\"",
        [] { static_cast<void>(kTree.getMember(kName.c_str())); });
}

Row indexing() {
    return refusing<std::out_of_range>(
        "Deserializer[index] out of range",
        "lwjson::deserializer operator[index] called with index out of range \"a\"",
        [] { static_cast<void>(kTree["a"][7]); });
}

Row lookingUpInAnArray() {
    return refusing<std::invalid_argument>(
        "Deserializer[name] of an array",
        "lwjson::deserializer operator[member] called on non-object type \"a\"",
        [] { static_cast<void>(kTree["a"]["b"]); });
}

Row extractingNoBoolean() {
    return refusing<std::invalid_argument>(
        "Deserializer::extractValue of no boolean",
        "lwjson::deserializer \"" + kName + "\" is not a boolean", [] {
            bool value = false;
            Deserializer::extractValue("7", 1, value, kName.c_str());
        });
}

Row extractingNoInteger() {
    return refusing<std::invalid_argument>(
        "Deserializer::extractValue of no integer",
        "lwjson::deserializer \"" + kName + "\" is not an integer", [] {
            int value = 0;
            Deserializer::extractValue("x", 1, value, kName.c_str());
        });
}

Row extractingTooMuch() {
    return refusing<std::out_of_range>(
        "Deserializer::extractValue out of range",
        "lwjson::deserializer \"" + kName + "\" value out of range", [] {
            unsigned char value = 0;
            Deserializer::extractValue("256", 3, value, kName.c_str());
        });
}

/// Rows for one way to make a serializer, which then writes a key.
template <class... Arguments>
Row making(const std::string& name, Arguments... arguments) {
    return giving(name, [=] {
        Serializer writer(arguments...);
        if (!writer.isFinalized()) {
            writer.appendKey("a key that needs memory of its own");
        }
        return writer.json();
    });
}

const std::string kBegun = R"({"begun":"a text that needs memory of its own")";
const std::string kWhole = R"(["a text that needs memory of its own"])";

Row writingIntoAString(const std::string& name, const std::string& begun) {
    return giving(name, [begun] {
        std::string text = begun;
        Serializer writer(text, Serializer::Compact);
        writer.appendKey("a key that needs memory of its own");
        return text;
    });
}

Row beginningAfresh() {
    return giving("Serializer::init", [] {
        Serializer writer(0U);
        writer.init(2000, Serializer::Compact);
        return writer.json().capacity() >= 2000;
    });
}

Row appending() {
    return giving("Serializer::appendValue, appendValueAsString, addNull", [] {
        Serializer writer(0U);
        writer.appendKey("a");
        writer.appendValue(kWhole.c_str());
        writer.appendKey("b");
        writer.appendValueAsString(kName.c_str());
        writer.addNull(kName.c_str());
        writer.finalize();
        return writer.json();
    });
}

Row erasing() {
    return giving("Serializer::setNull", [] {
        Serializer writer(0U);
        writer.setNull();
        return writer.json();
    });
}

template <class Value>
Row addingValue(const std::string& name, Value value) {
    return giving(name, [value] {
        Serializer writer(0U);
        for (int i = 0; i < 20; ++i) {
            writer.addValue(value);
        }
        return writer.json();
    });
}

Row addingAPart() {
    return refusing<std::invalid_argument>(
        "Serializer::addValue of a part",
        "lwjson::Serializer::addValue(const Serializer & object) - object is not finalized", [] {
            Serializer writer(0U);
            writer.addValue(Serializer(0U));
        });
}

Row addingTooLate() {
    return refusing<std::runtime_error>("Serializer::addValue once finalized",
                                        "Trying to append value on a finalized Serializer", [] {
                                            Serializer writer(kWhole);
                                            writer.addValue(1);
                                        });
}

std::vector<Row> readerRows() {
    using vorn::common::time::SecondsDuration;
    return {
        parsingAMember(),
        parsing(),
        extractingMembers(),
        parsingAKey(),
        contexts(),
        comparingInAContext(),
        comparingUpToTheFirst(),
        lookingUp(),
        indexing(),
        lookingUpInAnArray(),
        extractingNoBoolean(),
        extractingNoInteger(),
        extractingTooMuch(),
        extractingNumber<signed char>("Deserializer::extractValue of a signed char"),
        extractingNumber<unsigned short>("Deserializer::extractValue of an unsigned short"),
        extractingNumber<int>("Deserializer::extractValue of an int"),
        extractingNumber<unsigned long long>("Deserializer::extractValue of 64 bits"),
        extractingNumber<float>("Deserializer::extractValue of a float"),
        extractingNumber<double>("Deserializer::extractValue of a double"),
        extractingNumber<long double>("Deserializer::extractValue of a long double"),
        extractingNumber<UnixTime>("Deserializer::extractValue of a time"),
        extractingNumber<SecondsDuration>("Deserializer::extractValue of a duration"),
    };
}

std::vector<Row> writerRows() {
    return {
        making("Serializer(reserve)", 100U),
        making("Serializer(reserve, format)", 100U, Serializer::Compact),
        making("Serializer()"),
        making("Serializer(format)", Serializer::Pretty),
        making("Serializer(const string&)", kBegun),
        making("Serializer(string&&) that is whole", kWhole),
        writingIntoAString("Serializer(string&)", ""),
        writingIntoAString("Serializer(string&) that goes on", kBegun),
        giving("Serializer(string&&)", [] { return Serializer(std::string(kBegun)).json(); }),
        beginningAfresh(),
        appending(),
        erasing(),
        addingValue("Serializer::addValue of a float", 0.5F),
        addingValue("Serializer::addValue of a long double", 0.5L),
        addingValue("Serializer::addValue of an integer", 123456789LL),
        addingValue("Serializer::addValue of a boolean", true),
        addingAPart(),
        addingTooLate(),
    };
}

TEST(JsonLadder, Allocations) {
    ladders::climbAllocations({std::begin(kRows), std::end(kRows)});
}

TEST(JsonReaderLadder, Allocations) {
    ladders::climbAllocations(readerRows());
}

TEST(JsonWriterLadder, Allocations) {
    ladders::climbAllocations(writerRows());
}

}  // namespace
