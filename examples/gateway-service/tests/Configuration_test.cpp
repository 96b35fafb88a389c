#include "Configuration.h"

#include <gtest/gtest.h>

#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"

namespace gateway {

TEST(Configuration, TakesEveryArgument) {
    const helpers::TempDir directory;
    const Configuration configuration = loadConfiguration(directory.write(
        "c.json",
        R"({"socket": "s", "identity": {"user": "u", "group": "g", "capabilities": "cap_kill"},
            "plugins": "p", "jobs": {"limit": 2, "longestTimeout": 7}, "clients": {"limit": 3},
            "settings": "t", "report": 5, "maintenance": {"share": 6}})"));
    EXPECT_EQ(configuration.socket, "s");
    EXPECT_EQ(configuration.user, "u");
    EXPECT_EQ(configuration.group, "g");
    EXPECT_EQ(configuration.capabilities, "cap_kill");
    EXPECT_EQ(configuration.plugins, "p");
    EXPECT_EQ(configuration.jobLimit, 2U);
    EXPECT_EQ(configuration.longestTimeout, 7U);
    EXPECT_EQ(configuration.clientLimit, 3U);
    EXPECT_EQ(configuration.settings, "t");
    EXPECT_EQ(configuration.report, 5U);
    EXPECT_EQ(configuration.maintenanceShare, 6U);
}

TEST(Configuration, TheSettingsAreBesideTheSocket) {
    const helpers::TempDir directory;
    EXPECT_EQ(loadConfiguration(directory.write("c.json", R"({"socket": "run/s"})")).settings,
              "run/settings.json");
    EXPECT_EQ(loadConfiguration(directory.write("c.json", R"({"socket": "s"})")).settings,
              "settings.json");
}

TEST(Configuration, SaysWhatIsWrong) {
    const helpers::TempDir directory;
    const std::pair<std::string, std::string> rows[] = {
        {"{", "Missing end token"},
        {"[]", "a JSON object is expected"},
        {"{}", "\"socket\" is missing"},
        {R"({"sockt": "s"})", "unknown argument \"sockt\""},
        {R"({"socket": 7})", "\"socket\": Invalid argument: string value expected"},
        {R"({"socket": "s", "identity": {"user": "u"}})",
         "an identity needs both \"user\" and \"group\""},
        {R"({"socket": "s", "jobs": {"limit": "x"}})",
         "\"jobs_limit\": Invalid argument: unsigned integer value expected"},
        {R"({"socket": "s", "jobs": {"limit": 0}})", "\"jobs_limit\": from 1 to 64 is possible"},
        {R"({"socket": "s", "clients": {"limit": 513}})",
         "\"clients_limit\": from 1 to 512 is possible"},
    };
    for (const auto& [text, complaint] : rows) {
        const std::string file = directory.write("c.json", text);
        std::string expected = "configuration \"" + file + "\": ";
        if (text == "{") {
            EXPECT_THROW(static_cast<void>(loadConfiguration(file)), std::runtime_error);
        } else {
            EXPECT_THROW_TEXT(loadConfiguration(file), std::runtime_error, expected + complaint);
        }
    }
    EXPECT_THROW_TEXT(loadConfiguration(directory.file("none")), std::runtime_error,
                      "configuration \"" + directory.file("none") + "\": cannot be read");
}

}  // namespace gateway
