// SPDX-License-Identifier: MIT
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dump.h"
#include "helpers/expect_throw.h"

namespace {

using vorn::common::lwjson::Deserializer;

/// Long enough not to live inside the string object.
const std::string kFiller(200, 'f');

TEST(DeserializerImport, EveryFormReadsTheText) {
    const std::string text = R"({"a":[1,2]})";
    Deserializer fromView;
    fromView.importJson(std::string_view(text));
    Deserializer fromCharacters;
    fromCharacters.importJson(text.c_str());
    Deserializer fromString;
    fromString.importJson(std::string(text));
    for (const Deserializer* reader : {&fromView, &fromCharacters, &fromString}) {
        EXPECT_EQ(dump(*reader), "{a=[1;2]}");
        EXPECT_EQ(reader->text().view(), text);
    }
    EXPECT_EQ(dump(Deserializer(text.c_str())), "{a=[1;2]}");
    EXPECT_EQ(dump(Deserializer(std::string_view(text))), "{a=[1;2]}");
    EXPECT_EQ(dump(Deserializer(text)), "{a=[1;2]}");
    EXPECT_EQ(dump(Deserializer(std::string(text))), "{a=[1;2]}");
    EXPECT_EQ(fromView.value.data, text.data());
    EXPECT_EQ(fromCharacters.value.data, text.data());
}

TEST(DeserializerImport, AGivenStringIsTakenOverWithoutACopy) {
    std::string first = "[\"" + kFiller + "\"]";
    std::string second = first;
    const char* firstCharacters = first.data();
    const char* secondCharacters = second.data();
    Deserializer reader(std::move(first));
    EXPECT_EQ(reader.text().data, firstCharacters);
    reader.importJson(std::move(second));
    EXPECT_EQ(reader.text().data, secondCharacters);
}

TEST(DeserializerImport, CopiesShareAnOwnedText) {
    auto root = std::make_unique<Deserializer>("{\"key\":[\"" + kFiller + "\"]}");
    const Deserializer copy = *root;
    Deserializer moved = std::move(*root);
    Deserializer assigned;
    assigned = copy;
    const char* value = copy["key"][0].value.data;
    root.reset();
    EXPECT_EQ(moved["key"][0].value.data, value);
    EXPECT_EQ(assigned["key"][0].value.data, value);
    EXPECT_EQ(copy["key"][0].value.view(), "\"" + kFiller + "\"");
    const auto& itself = assigned;
    assigned = itself;
    EXPECT_EQ(dump(assigned), dump(copy));
    moved = Deserializer("1");
    EXPECT_EQ(dump(moved), "1");
    EXPECT_EQ(dump(copy), "{key=[\"" + kFiller + "\"]}");
}

TEST(DeserializerImport, ShortOwnedTextsSurviveMovesOfTheReader) {
    std::vector<Deserializer> readers;
    for (int i = 0; i < 20; ++i) {
        readers.emplace_back("[" + std::to_string(i) + "]");
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(dump(readers[static_cast<std::size_t>(i)]), "[" + std::to_string(i) + "]");
    }
}

TEST(DeserializerImport, AReaderTakesOverAMemberOfItsOwn) {
    const std::string text = R"({"a":{"b":[1,2,3]}})";
    Deserializer root{std::string_view(text)};
    root = root["a"];
    EXPECT_EQ(dump(root), "{b=[1;2;3]}");
    root = root["b"];
    EXPECT_EQ(dump(root), "[1;2;3]");
}

TEST(DeserializerImport, ASecondTextAppendsItsMembers) {
    Deserializer reader("[1," + kFiller + "]");
    reader.importJson("{\"k\":" + kFiller + "2}");
    EXPECT_EQ(reader.type(), Deserializer::MemberType::Object);
    EXPECT_EQ(dump(reader), "{=1;=" + kFiller + ";k=" + kFiller + "2}");
    EXPECT_EQ(reader.value.view(), "{\"k\":" + kFiller + "2}");
    reader.importJson("null");
    EXPECT_TRUE(reader.isNull());
    EXPECT_EQ(reader.members().size(), 3U);
    reader.importJson("[4]");
    EXPECT_FALSE(reader.isNull());
    EXPECT_EQ(dump(reader), "[1;" + kFiller + ";" + kFiller + "2;4]");
}

TEST(DeserializerImport, EarlierOwnedTextsLiveAsLongAsTheirMembers) {
    Deserializer copy;
    {
        Deserializer reader;
        for (int i = 0; i < 50; ++i) {
            reader.importJson("[" + kFiller + std::to_string(i) + "]");
        }
        copy = reader;
        reader.importJson(std::string("[]"));
    }
    ASSERT_EQ(copy.members().size(), 50U);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(copy[static_cast<unsigned>(i)].value.view(), kFiller + std::to_string(i));
    }
}

TEST(DeserializerImport, AnEarlierValueOutlivesAnEmptyText) {
    Deserializer reader("\"" + kFiller + "\"", Deserializer::AllowEmptyValues);
    reader.importJson(std::string("  "));
    EXPECT_EQ(dump(reader), "\"" + kFiller + "\"");
    reader.importJson(std::string("1"));
    EXPECT_EQ(dump(reader), "1");
}

TEST(DeserializerImport, AFailureLeavesWhatWasReadBefore) {
    const struct {
        const char* text;
        const char* error;
        const char* left;
    } rows[] = {
        {"[1,[2],[3,4 5],6]", "Invalid token in object", "[1;[2]]"},
        {"[1,2", "Missing end token", "[1;2]"},
        {"{\"a\":1,\"b\":x,c", "Invalid token when looking for key", "{a=1;b=x}"},
        {"{\"a\":1,\"\":2}", "Empty key", "{a=1}"},
        {"[1,nullx]", "Invalid value (\"nullx]\")", "[1]"},
        {"[[[1],2],]", "Empty value (\"]\")", "[[[1];2]]"},
        {"{} x", "Unexpected character 'x' found after value '{}'", "{}"},
        {"null x", "Unexpected character 'x' found after value 'null'", "null!"},
        {"", "Empty value (\"\")", "?"},
        {"nullx", "Invalid value (\"nullx\")", ""},
        {"]", "Empty value (\"]\")", ""},
    };
    for (const auto& row : rows) {
        Deserializer reader;
        EXPECT_THROW_TEXT(reader.importJson(row.text), std::runtime_error, row.error);
        EXPECT_EQ(dump(reader), row.left) << row.text;
    }
}

TEST(DeserializerImport, AFailureKeepsTheEarlierValueReadable) {
    Deserializer reader("\"" + kFiller + "\"");
    EXPECT_THROW(reader.importJson("[" + kFiller), std::runtime_error);
    EXPECT_EQ(reader.type(), Deserializer::MemberType::Array);
    EXPECT_EQ(reader.value.view(), "\"" + kFiller + "\"");
    EXPECT_EQ(reader[0].value.view(), kFiller);
    EXPECT_THROW(reader.importJson(std::string("{")), std::runtime_error);
    EXPECT_EQ(reader.members()[0].value.view(), kFiller);
}

TEST(DeserializerImport, AFailureLeavesTheKindOfTheEarlierValue) {
    using Type = Deserializer::ValueType;
    const std::pair<const char*, Type> rows[] = {
        {"inf", Type::Float},    {"0x1p3", Type::Float},     {"12", Type::Integer},
        {"true", Type::Boolean}, {"\"text\"", Type::String}, {"word", Type::None},
        {"[1]", Type::None}};
    for (const auto& [text, type] : rows) {
        for (const char* broken : {"[", "{", "[1,"}) {
            Deserializer reader;
            reader.importJson(text);
            EXPECT_THROW(reader.importJson(broken), std::runtime_error);
            EXPECT_EQ(reader.getValueType(), type) << text << " then " << broken;
        }
    }
}

TEST(DeserializerImport, EveryParseResetsTheNullFlag) {
    Deserializer reader("null", Deserializer::AllowEmptyValues);
    ASSERT_TRUE(reader.isNull());
    reader.importJson("");
    EXPECT_FALSE(reader.isNull());
    EXPECT_EQ(reader.type(), Deserializer::MemberType::Value);
    EXPECT_EQ(reader.value.view(), "null");
}

}  // namespace
