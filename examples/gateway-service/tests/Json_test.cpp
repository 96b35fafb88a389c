#include "json.h"

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"

namespace gateway {

namespace {

using vorn::common::lwjson::Deserializer;

std::string decoded(const std::string& json) {
    return textOf(Deserializer(json.c_str()));
}

}  // namespace

TEST(JsonText, QuotesAnyBytesAsValidJson) {
    const std::pair<std::string, std::string> rows[] = {
        {"", R"("")"},
        {"a/b", R"("a/b")"},
        {"\"\\", R"("\"\\")"},
        {"a\nb\tc\r", R"("a\nb\tc\u000d")"},
        {std::string("\0\x1f\x7f", 3), "\"\\u0000\\u001f\x7f\""},
        {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\""},
        {"\xff", "\"\xef\xbf\xbd\""},
        {"\xc0\x80", "\"\xef\xbf\xbd\xef\xbf\xbd\""},                  // overlong
        {"\xed\xa0\x80", "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\""},  // a surrogate
        {"\xf4\x90\x80\x80x", "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbdx\""},
        {"\xe2\x82", "\"\xef\xbf\xbd\xef\xbf\xbd\""},  // cut short
    };
    for (const auto& [text, json] : rows) {
        EXPECT_EQ(jsonString(text), json);
    }
}

TEST(JsonText, DecodesEveryEscapeOnce) {
    const std::pair<std::string, std::string> rows[] = {
        {R"("")", ""},
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("\\n")", "\\n"},
        {R"("\\\\n\\t")", "\\\\n\\t"},
        {R"("\u0041\u00e9\u20AC")", "A\xc3\xa9\xe2\x82\xac"},
        {R"("\ud83d\ude00")", "\xf0\x9f\x98\x80"},
        {R"("\u0000")", std::string(1, '\0')},
    };
    for (const auto& [json, text] : rows) {
        EXPECT_EQ(decoded(json), text) << json;
    }
}

TEST(JsonText, EveryByteStringOfAsciiComesBack) {
    std::string all;
    for (int code = 0; code < 128; ++code) {
        all += static_cast<char>(code);
    }
    const std::string json = jsonString(all);
    EXPECT_EQ(json.find('\n'), std::string::npos);
    EXPECT_EQ(decoded(json), all);
}

TEST(JsonText, RefusesWhatIsNoString) {
    const std::pair<std::string, std::string> rows[] = {
        {"7", "a string is expected"},
        {"null", "a string is expected"},
        {"[\"a\"]", "a string is expected"},
        {R"("\x")", "there is no escape \\x"},
        {R"("\'")", "there is no escape \\'"},
        {R"("\u12g4")", "a \\u escape needs four hexadecimal digits"},
        {R"("\u12")", "a \\u escape needs four hexadecimal digits"},
        {R"("\ud83d")", "a \\u escape holds half of a surrogate pair"},
        {R"("\ude00\ud83d")", "a \\u escape holds half of a surrogate pair"},
    };
    for (const auto& [json, text] : rows) {
        EXPECT_THROW_TEXT(decoded(json), std::invalid_argument, text);
    }
}

TEST(JsonLine, IsOneLineInTheOrderOfTheCalls) {
    EXPECT_EQ(JsonLine()
                  .text("a", "x\ny")
                  .number("b", -1)
                  .flag("c", true)
                  .texts("d", {"1", "\""})
                  .jsons("e", {"1", "{}"})
                  .jsons("f", {})
                  .uuid("g", vorn::common::Uuid())
                  .take(),
              "{\"a\":\"x\\ny\",\"b\":-1,\"c\":true,\"d\":[\"1\",\"\\\"\"],\"e\":[1,{}],\"f\":[],"
              "\"g\":\"00000000-0000-0000-0000-000000000000\"}");
}

}  // namespace gateway
