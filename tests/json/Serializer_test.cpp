// SPDX-License-Identifier: MIT
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "ReferenceWriter.h"
#include "helpers/expect_throw.h"
#include "vorn/common/lwjson/Serializer.h"

namespace {

using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;
using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

static_assert(Serializer::Pretty == 0 && Serializer::Compact == 1);
static_assert(std::is_nothrow_move_constructible_v<Serializer>);
static_assert(std::is_nothrow_move_assignable_v<Serializer>);

const std::string kFinalized = "Trying to append value on a finalized Serializer";
const std::string kNotFinalized =
    "lwjson::Serializer::addValue(const Serializer & object) - object is not finalized";

template <class Fill>
std::string written(Serializer::Format format, Fill fill) {
    Serializer json(format);
    fill(json);
    json.finalize();
    EXPECT_TRUE(json.isFinalized());
    return json.json();
}

template <class Value>
std::string single(const Value& value) {
    return written(Serializer::Compact, [&](Serializer& json) { json.addValue(value); });
}

TEST(Serializer, WritesAnObject) {
    const auto fill = [](Serializer& json) {
        json.appendKey("a");
        json.addValue(1.0, 2);
        json.appendKey("b");
        json.addValue("x");
    };
    EXPECT_EQ(written(Serializer::Compact, fill), R"({"a":1.00,"b":"x"})");
    EXPECT_EQ(written(Serializer::Pretty, fill), "{\n  \"a\": 1.00,\n  \"b\": \"x\"\n}");
    EXPECT_EQ(written(static_cast<Serializer::Format>(7), fill), R"({"a":1.00,"b":"x"})");
}

TEST(Serializer, WritesPlainValues) {
    EXPECT_EQ(written(Serializer::Pretty, [](Serializer&) {}), "null");
    EXPECT_EQ(single(5), "5");
    EXPECT_EQ(written(Serializer::Pretty,
                      [](Serializer& json) {
                          json.addValue(5);
                          json.addValue(true);
                          json.appendValue("{raw \"text\"}");
                          json.appendValueAsString("un\"escaped");
                      }),
              "5,true,{raw \"text\"},\"un\"escaped\"");
    EXPECT_EQ(single(true), "true");
    EXPECT_EQ(single(false), "false");
    EXPECT_EQ(single(Uuid::UNKNOWN), "\"ffffffff-ffff-ffff-ffff-ffffffffffff\"");
    EXPECT_EQ(single(SecondsDuration(30)), "30");
    EXPECT_EQ(single(SecondsDuration(4294967294U)), "4294967294");
    EXPECT_EQ(single(UnixTime::fromSeconds(1700000000.25)), "1.7000000002500000e+09");
    EXPECT_EQ(single(UnixTime::UNDEFINED), "-1.0000000000000000e+00");
    EXPECT_EQ(single(UnixTime::INFINITE), "4.2949672950000000e+09");
}

TEST(Serializer, AnEndlessDurationCannotBeReadBack) {
    EXPECT_EQ(single(SecondsDuration::INFINITE), "-1");
    EXPECT_THROW_TEXT(Deserializer("-1").as<SecondsDuration>(), std::out_of_range,
                      "lwjson::deserializer \"\" value out of range");
}

TEST(Serializer, KeysAndValuesNeedNotTakeTurns) {
    const auto fill = [](Serializer& json) {
        json.appendKey("k");
        json.addNull("x");
    };
    EXPECT_EQ(written(Serializer::Compact, fill), R"({"k":"x":null})");
    EXPECT_EQ(written(Serializer::Pretty, fill), "{\n  \"k\": \n  \"x\": null\n}");
    EXPECT_EQ(written(Serializer::Compact, [](Serializer& json) { json.appendKey("k"); }),
              R"({"k":})");
}

TEST(Serializer, KeysAreNotEscaped) {
    EXPECT_EQ(written(Serializer::Compact, [](Serializer& json) { json.addNull("a\"\\\n"); }),
              "{\"a\"\\\n\":null}");
}

TEST(Serializer, StringsAreEscaped) {
    using namespace std::string_view_literals;
    EXPECT_EQ(single("a\"b\\c\td\n"), R"("a\"b\\c\td\n")");
    EXPECT_EQ(single("\b\f\n\r\t"), R"("\b\f\n\r\t")");
    EXPECT_EQ(single("/\x01\x7f\xc3\xa9'"), "\"/\x01\x7f\xc3\xa9'\"");
    EXPECT_EQ(single(std::string("\\n")), R"("\\n")");
    EXPECT_EQ(single(""), "\"\"");
    EXPECT_EQ(single(std::string_view()), "\"\"");
    EXPECT_EQ(single("a\0b"sv), "\"a\0b\""sv);
    EXPECT_EQ(single(std::string("a\0\"", 3)), "\"a\0\\\"\""sv);
    for (std::size_t before = 0; before < 40; ++before) {
        const std::string plain(before, 'x');
        EXPECT_EQ(single(plain + "\"" + plain), "\"" + plain + "\\\"" + plain + "\"");
    }
}

TEST(Serializer, OnePassEqualsTheSevenPasses) {
    const std::string alphabet = "\\\"\b\f\n\r\tn/\x01";
    std::size_t texts = 1;
    for (std::size_t length = 0; length <= 4; ++length, texts *= alphabet.size()) {
        for (std::size_t number = 0; number < texts; ++number) {
            std::string text;
            for (std::size_t rest = number; text.size() < length; rest /= alphabet.size()) {
                text += alphabet[rest % alphabet.size()];
            }
            ASSERT_EQ(single(text), '"' + escapedPassByPass(text) + '"');
        }
    }
}

TEST(Serializer, NothingIsAppendedToAFinalizedText) {
    Serializer finished(Serializer::Compact);
    finished.addValue(1);
    Serializer open;
    finished.finalize();
    finished.finalize();
    const Serializer other = finished;
    const auto expectThrow = [&](auto append) {
        EXPECT_THROW_TEXT(append(), std::runtime_error, kFinalized);
        EXPECT_EQ(finished.json(), "1");
    };
    expectThrow([&] { finished.appendKey("k"); });
    expectThrow([&] { finished.appendValue("v"); });
    expectThrow([&] { finished.appendValueAsString("v"); });
    expectThrow([&] { finished.addNull("k"); });
    expectThrow([&] { finished.addValue(true); });
    expectThrow([&] { finished.addValue("v"); });
    expectThrow([&] { finished.addValue(std::string("v")); });
    expectThrow([&] { finished.addValue(std::string_view("v")); });
    expectThrow([&] { finished.addValue(1.0F); });
    expectThrow([&] { finished.addValue(1.0, 2); });
    expectThrow([&] { finished.addValue(1.0L); });
    expectThrow([&] { finished.addValue(1); });
    expectThrow([&] { finished.addValue(UnixTime()); });
    expectThrow([&] { finished.addValue(SecondsDuration()); });
    expectThrow([&] { finished.addValue(SecondsDuration::INFINITE); });
    expectThrow([&] { finished.addValue(Uuid()); });
    expectThrow([&] { finished.addValue(other); });
    expectThrow([&] { finished.addValue(std::vector<Serializer>()); });
    expectThrow([&] { finished.addValue(Deserializer("[1]")); });
    expectThrow([&] { finished.addValue(Deserializer()); });
    expectThrow([&] { finished.setNull(); });
    EXPECT_THROW_TEXT(finished.addValue(open), std::invalid_argument, kNotFinalized);
}

TEST(Serializer, SetNullReplacesEverything) {
    for (const auto format : {Serializer::Pretty, Serializer::Compact}) {
        Serializer json(format);
        json.appendKey("a");
        json.addValue(1);
        json.setNull();
        EXPECT_EQ(json.json(), "null");
        json.finalize();
        EXPECT_EQ(json.json(), "null");
        Serializer outer(format);
        outer.appendKey("n");
        outer.addValue(json);
        outer.finalize();
        EXPECT_EQ(outer.json(),
                  format == Serializer::Pretty ? "{\n  \"n\": null\n}" : "{\"n\":null}");
        Serializer again(format);
        again.appendKey("a");
        again.setNull();
        again.mutableJson().clear();
        again.addNull("n");
        again.finalize();
        EXPECT_EQ(again.json(), outer.json());
    }
}

TEST(Serializer, GoesOnFromAText) {
    const struct {
        const char* text;
        const char* compact;
        const char* pretty;
    } rows[] = {
        {"{", "{\"k\":1}", "{\n  \"k\": 1\n}"},
        {"{ \n", "{ \n\"k\":1}", "{ \n\n  \"k\": 1\n}"},
        {"{\"a\":1", "{\"a\":1,\"k\":1}", "{\"a\":1,\n  \"k\": 1\n}"},
        {"{\"a\":1,", "{\"a\":1,\"k\":1}", "{\"a\":1,\n  \"k\": 1\n}"},
        {"{\"a\":1, ", "{\"a\":1, \"k\":1}", "{\"a\":1, \n  \"k\": 1\n}"},
        {"{\"a\":1\n", "{\"a\":1\n,\"k\":1}", "{\"a\":1\n,\n  \"k\": 1\n}"},
        {"{\"a\":[]", "{\"a\":[],\"k\":1}", "{\"a\":[],\n  \"k\": 1\n}"},
    };
    for (const auto& row : rows) {
        for (const auto format : {Serializer::Compact, Serializer::Pretty}) {
            std::string text = row.text;
            Serializer json(text, format);
            EXPECT_FALSE(json.isFinalized());
            json.appendKey("k");
            json.addValue(1);
            json.finalize();
            EXPECT_EQ(text, format == Serializer::Pretty ? row.pretty : row.compact);
        }
    }
    std::string open = "{\"a\":1";
    Serializer untouched(open, Serializer::Compact);
    untouched.finalize();
    EXPECT_EQ(open, "{\"a\":1}");
    std::string value = "{\"a\":";
    Serializer valueFirst(value, Serializer::Compact);
    valueFirst.addValue(1);
    valueFirst.addNull("b");
    valueFirst.addNull("c");
    valueFirst.finalize();
    EXPECT_EQ(value, "{\"a\":1,\"b\":null,\"c\":null}");
}

TEST(Serializer, GoesOnFromATextThatHasBecomeBlank) {
    Serializer json(Serializer::Compact);
    json.mutableJson() = "{\"a\":1";
    json.init(0, Serializer::Compact);
    json.mutableJson() = "  ";
    json.appendKey("k");
    EXPECT_EQ(json.json().find(','), std::string::npos);
}

TEST(Serializer, OtherTextsAreFinalized) {
    for (const char* text : {"{}", "{\"a\":1}", "{x}", "[1]", "[", "1", "null", " {", " ", "}"}) {
        std::string content = text;
        Serializer json(content, Serializer::Compact);
        EXPECT_TRUE(json.isFinalized()) << text;
        EXPECT_THROW_TEXT(json.addValue(1), std::runtime_error, kFinalized);
        json.finalize();
        EXPECT_EQ(content, text);
    }
}

TEST(Serializer, WritesIntoTheCallersString) {
    std::string text;
    Serializer json(text, Serializer::Compact);
    EXPECT_EQ(&json.mutableJson(), &text);
    EXPECT_GE(text.capacity(), 512U);
    json.addValue(1);
    EXPECT_EQ(text, "1,");
}

TEST(Serializer, OwnsACopyOrTheStringItself) {
    const std::string text = "{\"a long enough key to need memory\":1";
    Serializer copy(text, Serializer::Compact);
    copy.finalize();
    EXPECT_EQ(copy.json(), text + "}");
    EXPECT_EQ(text.back(), '1');
    std::string given = text;
    const char* characters = given.data();
    const Serializer owner(std::move(given), Serializer::Compact);
    EXPECT_EQ(owner.json().data(), characters);
    EXPECT_FALSE(owner.isFinalized());
}

TEST(Serializer, ReservesRoom) {
    EXPECT_GE(Serializer().json().capacity(), 512U);
    EXPECT_LT(Serializer().json().capacity(), 2000U);
    EXPECT_GE(Serializer(5000U).json().capacity(), 5000U);
    EXPECT_LT(Serializer(20U, Serializer::Compact).json().capacity(), 100U);
    Serializer json(Serializer::Compact);
    const char* before = json.json().data();
    for (int i = 0; i < 100; ++i) {
        json.addValue(1234);
    }
    EXPECT_EQ(json.json().data(), before);
}

TEST(Serializer, PrettyIsTheDefault) {
    struct Record {
        std::string name;
        Serializer json;
    };
    Record record = {};
    record.json.addNull("a");
    record.json.finalize();
    EXPECT_EQ(record.json.json(), "{\n  \"a\": null\n}");
    Serializer again(Serializer::Compact);
    again.init(0);
    again.addNull("a");
    EXPECT_EQ(again.json(), "{\n  \"a\": null,");
}

TEST(Serializer, InitStartsAfresh) {
    Serializer json(Serializer::Compact);
    json.addNull("a");
    json.finalize();
    json.mutableJson().clear();
    json.init(1000, Serializer::Pretty);
    EXPECT_FALSE(json.isFinalized());
    EXPECT_GE(json.json().capacity(), 1000U);
    json.addNull("b");
    json.finalize();
    EXPECT_EQ(json.json(), "{\n  \"b\": null\n}");
}

TEST(Serializer, CopiesShareTheTextButNotTheState) {
    Serializer json(Serializer::Compact);
    json.addNull("a");
    Serializer copy = json;
    copy.addNull("b");
    EXPECT_EQ(json.json(), "{\"a\":null,\"b\":null,");
    copy.finalize();
    EXPECT_FALSE(json.isFinalized());
    EXPECT_EQ(json.json(), "{\"a\":null,\"b\":null}");
    Serializer moved = std::move(copy);
    EXPECT_EQ(&moved.json(), &json.json());
    EXPECT_TRUE(moved.isFinalized());
}

TEST(Serializer, ItsOwnTextMayBeAppended) {
    for (const auto format : {Serializer::Pretty, Serializer::Compact}) {
        Serializer json(1U, format);
        json.appendValue("0123456789012345678901234567890123456789");
        const std::string before = json.json();
        json.mutableJson().shrink_to_fit();
        json.addValue(std::string_view(json.json()));
        json.mutableJson().shrink_to_fit();
        json.appendValueAsString(json.json().c_str());
        const std::string two = before + "\"" + before + "\",";
        EXPECT_EQ(json.json(), two + "\"" + two + "\",");
        json.mutableJson().shrink_to_fit();
        const std::string three = json.json();
        json.appendValue(json.json().c_str());
        EXPECT_EQ(json.json(), three + three + ",");
        json.mutableJson() = "{\"a\": 1234567890123456789012345678901234567890";
        json.init(1, format);
        json.mutableJson().shrink_to_fit();
        const std::string key = json.json();
        json.appendKey(json.json().c_str());
        EXPECT_NE(json.json().find("\"" + key + "\":"), std::string::npos);
        json.mutableJson() = "{\"a\": 1";
        json.init(1, format);
        Serializer finished = json;
        finished.finalize();
        json.mutableJson().shrink_to_fit();
        const std::string text = json.json();
        json.addValue(finished);
        EXPECT_EQ(json.json().substr(0, text.size() - 1), text.substr(0, text.size() - 1));
        EXPECT_EQ(json.json().back(), ',');
    }
}

}  // namespace
