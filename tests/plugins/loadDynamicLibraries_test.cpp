// SPDX-License-Identifier: MIT
#include <cstring>

#include <gtest/gtest.h>

#include <vorn/common/DynamicLibrary.h>

#include "helpers/environment.h"
#include "modules.h"

namespace {

using namespace vorn::common;

using Libraries = std::map<std::string, std::shared_ptr<DynamicLibrary>>;

/// Loads, and returns what went to the standard error stream.
std::string reported(const std::string& configPath, Libraries& libraries) {
    testing::internal::CaptureStderr();
    libraries = loadDynamicLibraries(configPath);
    return testing::internal::GetCapturedStderr();
}

TEST(LoadDynamicLibraries, LoadsEveryPluginByItsPath) {
    const modules::Events events;
    const helpers::TempDir dir;
    const auto second = modules::copy(dir, "good", "second one.so");
    const auto config =
        dir.write("plugins.conf", modules::path("good") + " x \"y z\"\n\"" + second + "\"\n");
    Libraries libraries;
    EXPECT_EQ(reported(config, libraries), "");
    ASSERT_EQ(libraries.size(), 2u);
    for (const auto& path : {modules::path("good"), second}) {
        ASSERT_EQ(libraries.count(path), 1u);
        EXPECT_EQ(libraries[path]->path(), path);
        EXPECT_NE(libraries[path]->object(), nullptr);
    }
    EXPECT_EQ(events.text(), "loaded arg0=x arg1=y z\nloaded\n");
}

TEST(LoadDynamicLibraries, HandsJsonArgumentsOverAsRawTexts) {
    const modules::Events events;
    const helpers::TempDir dir;
    const auto config =
        dir.write("plugins.json", R"({"plugins":[{"path":")" + modules::path("good") +
                                      R"(","args":{"a":{"b":1},"c":"x"}}]})");
    Libraries libraries;
    EXPECT_EQ(reported(config, libraries), "");
    EXPECT_EQ(libraries.size(), 1u);
    EXPECT_EQ(events.text(), "loaded a_b=1 c=\"x\"\n");
}

TEST(LoadDynamicLibraries, APathNamedTwiceKeepsItsFirstLibrary) {
    const modules::Events events;
    const helpers::TempDir dir;
    const auto config =
        dir.write("plugins", modules::path("good") + " 1\n" + modules::path("good") + " 2\n");
    Libraries libraries;
    EXPECT_EQ(reported(config, libraries), "");
    EXPECT_EQ(libraries.size(), 1u);
    EXPECT_EQ(events.text(), "loaded arg0=1\nloaded arg0=2\nobject deleted\n");
}

TEST(LoadDynamicLibraries, ReportsBadPluginsAndGoesOn) {
    const helpers::TempDir dir;
    const auto missing = dir.file("missing.so");
    const auto plain = modules::path("without_entry_point");
    const auto config =
        dir.write("plugins.conf", missing + " b a\n" + plain + "\n" + modules::path("failing") +
                                      "\n" + modules::path("good") + "\n");
    ASSERT_EQ(::dlopen(missing.c_str(), RTLD_LAZY), nullptr);
    const std::string notOpened = ::dlerror();
    Libraries libraries;
    EXPECT_EQ(reported(config, libraries),
              "ERROR: Unable to load library \"" + missing +
                  "\" with arguments:\n\targ0 = b\n\targ1 = a\nError loading " + missing +
                  " library : " + notOpened + "\n" + plain +
                  ": undefined symbol: loadLibrary\n"
                  "ERROR: Unable to load library \"" +
                  plain +
                  "\" with arguments:\nNo function found with name \"loadLibrary\"\n"
                  "ERROR: Unable to load library \"" +
                  modules::path("failing") +
                  "\" with arguments:\n"
                  "the plug-in has a reason that is longer than a short string holds\n");
    ASSERT_EQ(libraries.size(), 1u);
    EXPECT_EQ(libraries.begin()->first, modules::path("good"));
}

TEST(LoadDynamicLibraries, ReportsAFileThatCannotBeOpened) {
    const helpers::TempDir dir;
    Libraries libraries;
    for (const auto& name : {"missing.json", "missing.conf"}) {
        const auto path = dir.file(name);
        const std::string json = path.ends_with(".json") ? " (json)" : "";
        EXPECT_EQ(reported(path, libraries), "ERROR: Unable to open configuration file \"" + path +
                                                 "\": Failed to load configuration file" + json +
                                                 ": " + std::strerror(ENOENT) + "\n");
        EXPECT_TRUE(libraries.empty());
    }
}

TEST(LoadDynamicLibraries, ReportsBadContentAndLoadsNothing) {
    const modules::Events events;
    const helpers::TempDir dir;
    Libraries libraries;
    const auto text = dir.write("plugins.conf", modules::path("good") + "\n\"x\n");
    EXPECT_EQ(reported(text, libraries), "ERROR: Invalid configuration file \"" + text +
                                             "\": Failed to parse line 2: Missing closing \"\n");
    const auto json = dir.write("plugins.json",
                                R"({"plugins":[{"path":")" + modules::path("good") + R"("},{}]})");
    EXPECT_EQ(reported(json, libraries),
              "ERROR: Invalid configuration file \"" + json +
                  "\": Invalid library configuration file: plugin's \"path\" is mandatory\n");
    EXPECT_TRUE(libraries.empty());
    EXPECT_EQ(events.text(), "");
}

}  // namespace
