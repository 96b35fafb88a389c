// SPDX-License-Identifier: MIT
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/settings/JsonSettings.h>

#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"

namespace vorn::common::settings {
namespace {

static_assert(std::is_base_of_v<stream::IStreamable, JsonSettings>);
static_assert(std::is_abstract_v<JsonSettings>);

class Settings : public JsonSettings {
  public:
    bool loadSettings(const std::string& newVersion,
                      const lwjson::Deserializer& settings) override {
        ++loads;
        version = newVersion;
        type = settings.type();
        const auto* loadedName = settings.findMember("name");
        loaded = loadedName == nullptr ? "" : loadedName->as<std::string>();
        return result;
    }

    std::pair<std::string, lwjson::Serializer> saveSettings() const override {
        lwjson::Serializer settings(format);
        settings.appendKey("name");
        settings.addValue(name);
        if (finalized) {
            settings.finalize();
        }
        return {version, settings};
    }

    std::string version = "1.2";
    std::string name = "gate\"way";
    std::string loaded;
    lwjson::Deserializer::MemberType type = lwjson::Deserializer::MemberType::Undefined;
    lwjson::Serializer::Format format = lwjson::Serializer::Pretty;
    bool finalized = true;
    bool result = true;
    int loads = 0;
};

bool read(Settings& settings, const std::string& text) {
    std::istringstream in(text);
    return settings.deserialize(in);
}

std::string written(const Settings& settings) {
    std::ostringstream out;
    settings.serialize(out);
    return out.str();
}

TEST(JsonSettings, WritesVersionAndSettingsInThisOrder) {
    Settings settings;
    EXPECT_EQ(
        written(settings),
        "{\n  \"version\": \"1.2\",\n  \"settings\":\n  {\n    \"name\": \"gate\\\"way\"\n  }\n}");
    settings.format = lwjson::Serializer::Compact;
    EXPECT_EQ(written(settings),
              "{\n  \"version\": \"1.2\",\n  \"settings\":\n  {\"name\":\"gate\\\"way\"}\n}");
}

TEST(JsonSettings, ReadsBackWhatItWrote) {
    Settings source;
    source.version = "a \"quoted\"\n version";
    Settings target;
    EXPECT_TRUE(read(target, written(source)));
    EXPECT_EQ(target.version, source.version);
    EXPECT_EQ(target.loaded, source.name);
    EXPECT_EQ(target.loads, 1);
}

TEST(JsonSettings, WritesNothingWhenTheSettingsAreNotFinalized) {
    Settings settings;
    settings.finalized = false;
    std::ostringstream out;
    EXPECT_THROW(settings.serialize(out), std::invalid_argument);
    EXPECT_EQ(out.str(), "");
}

TEST(JsonSettings, WithoutBothMembersNothingIsCalled) {
    for (const auto* text :
         {"", "{}", R"({"version":"1"})", R"({"settings":{}})", R"({"Version":"1","Settings":{}})",
          "[]", "[1,2]", "null", "5", R"("version")", R"({"a":{"version":"1","settings":{}}})",
          "\xEF\xBB\xBF{\"version\":\"1\",\"settings\":{}}"}) {
        Settings settings;
        EXPECT_FALSE(read(settings, text)) << text;
        EXPECT_EQ(settings.loads, 0) << text;
    }
}

TEST(JsonSettings, AStreamThatIsNotGoodGivesFalse) {
    for (const auto state :
         {std::ios_base::failbit, std::ios_base::badbit, std::ios_base::eofbit}) {
        std::istringstream in(R"({"version":"1","settings":{}})");
        in.setstate(state);
        Settings settings;
        EXPECT_FALSE(settings.deserialize(in));
        EXPECT_EQ(settings.loads, 0);
    }
}

TEST(JsonSettings, VersionsThatAreNoText) {
    const std::string text = "Cannot get value from a non-scalar or null";
    for (const auto* version : {"null", "{}", R"({"a":1})", "[]", "[1]"}) {
        Settings settings;
        const auto document = std::string(R"({"version":)") + version + R"(,"settings":{}})";
        EXPECT_THROW_TEXT(read(settings, document), std::runtime_error, text);
        EXPECT_EQ(settings.loads, 0);
    }
    for (const auto* version : {"3", "1.5", "true", "bare"}) {
        Settings settings;
        const auto document = std::string(R"({"version":)") + version + R"(,"settings":{}})";
        EXPECT_THROW_TEXT(read(settings, document), std::invalid_argument,
                          "lwjson::deserializer \"version\" is not a string");
        EXPECT_EQ(settings.loads, 0);
    }
}

TEST(JsonSettings, SettingsOfAnyShapeReachTheDerivedClass) {
    using Type = lwjson::Deserializer::MemberType;
    const std::pair<const char*, Type> rows[] = {
        {"{}", Type::Object},  {R"({"a":1})", Type::Object}, {"[1,2]", Type::Array},
        {"null", Type::Value}, {"5", Type::Value},           {R"("text")", Type::Value}};
    for (const auto& [value, type] : rows) {
        Settings settings;
        EXPECT_TRUE(read(settings, std::string(R"({"settings":)") + value + R"(,"version":"7"})"));
        EXPECT_EQ(settings.version, "7");
        EXPECT_EQ(settings.type, type) << value;
    }
}

TEST(JsonSettings, DeliberatelyIgnoresTheResultOfLoading) {
    Settings settings;
    settings.result = false;
    EXPECT_TRUE(read(settings, R"({"version":"1","settings":{}})"));
    EXPECT_EQ(settings.loads, 1);
}

TEST(JsonSettings, WhatIsNoJsonIsReportedByTheReader) {
    for (const std::string text :
         {" ", "{", R"({"version":"1","settings":{})", R"({"version":"1","settings":{}} x)"}) {
        Settings settings;
        EXPECT_THROW(read(settings, text), std::runtime_error) << text;
        EXPECT_EQ(settings.loads, 0);
    }
}

TEST(JsonSettings, AHundredLevels) {
    for (const int levels : {99, 100}) {
        // The document's own object is one of the levels.
        const auto depth = static_cast<std::size_t>(levels);
        const auto text = R"({"version":"1","settings":)" + std::string(depth, '[') +
                          std::string(depth, ']') + "}";
        Settings settings;
        if (levels == 99) {
            EXPECT_TRUE(read(settings, text));
        } else {
            EXPECT_THROW(read(settings, text), std::runtime_error);
        }
    }
}

TEST(JsonSettings, LivesInAFileManager) {
    const helpers::TempDir dir;
    const auto path = dir.write("settings", R"({"version":"1","settings":{"name":"stored"}})");
    dir.write("settings.bak", "{ broken");
    fs::CachedFileManager files;
    files.add(std::make_unique<Settings>(), path);
    const auto locked = files.getHandler(typeid(Settings)).lock();
    EXPECT_EQ(static_cast<Settings&>(locked.get()).loaded, "stored");
    EXPECT_EQ(helpers::contentOf(path), written(static_cast<Settings&>(locked.get())))
        << "rewritten in the current format";
}

}  // namespace
}  // namespace vorn::common::settings
