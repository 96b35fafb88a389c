// SPDX-License-Identifier: MIT

// The secret setting, enciphered by a plug-in.

#include <filesystem>

#include <gtest/gtest.h>

#include "programs.h"

namespace gateway_tests {

namespace {

const std::string kKey = std::string(64, 'a');
const std::string kOtherKey = std::string(64, 'b');

/// A plug-in file with the cipher and its key.
class Keys {
  public:
    Keys() {
        std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
        use(kKey);
        directory_.write("plugins.json", R"({"plugins": [{"path": ")" SECRETBOX_PLUGIN
                                         R"(", "args": {"keyFile": ")" +
                                             directory_.file("key") + R"("}}]})");
    }
    void use(const std::string& key) { directory_.write("key", key + "\n"); }
    [[nodiscard]] std::string member() const {
        return R"(, "plugins": ")" + directory_.file("plugins.json") + R"(")";
    }

  private:
    helpers::TempDir directory_;
};

std::string stored(const RunningService& service) {
    return helpers::contentOf(service.settingsFile());
}

Outcome useSecret(const RunningService& service) {
    return service.control(
        {"run", "--wait", "--secret", "test \"$GATEWAY_SECRET\" = 'open \"1\"'"});
}

}  // namespace

TEST(Secret, IsStoredOnlyEncipheredAndSurvivesARestart) {
    const Keys keys;
    RunningService service(keys.member());
    const Outcome set = service.control({"set", "secret", "-"}, "open \"1\"\n");
    EXPECT_EQ(set.exitCode, 0) << set.errors;
    EXPECT_NE(set.output.find("secret         true\n"), std::string::npos);
    EXPECT_EQ(useSecret(service).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    EXPECT_EQ(stored(service).find("open"), std::string::npos);
    EXPECT_NE(stored(service).find("\"secret\": \""), std::string::npos);
    service.start();
    EXPECT_EQ(useSecret(service).exitCode, 0);
    EXPECT_EQ(service.control({"run", "--wait", "test -z \"$GATEWAY_SECRET\""}).exitCode, 0);
    EXPECT_EQ(service.control({"set", "secret", ""}).exitCode, 0);
    const Outcome none = useSecret(service);
    EXPECT_EQ(none.exitCode, 75);
    EXPECT_NE(none.errors.find("there is no secret"), std::string::npos);
}

TEST(Secret, AWrongKeyIsToldSo) {
    Keys keys;
    RunningService service(keys.member());
    EXPECT_EQ(service.control({"set", "secret", "open \"1\""}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    keys.use(kOtherKey);
    service.start();
    const Outcome outcome = useSecret(service);
    EXPECT_EQ(outcome.exitCode, 75);
    EXPECT_NE(outcome.errors.find("the key is wrong or the text was changed"), std::string::npos);
}

TEST(Secret, AChangedTextIsToldSo) {
    const Keys keys;
    RunningService service(keys.member());
    EXPECT_EQ(service.control({"set", "secret", "open \"1\""}).exitCode, 0);
    EXPECT_EQ(service.stop(), 0);
    std::string text = stored(service);
    const std::size_t start = text.find("\"secret\": \"");
    ASSERT_NE(start, std::string::npos) << text;
    const std::size_t place = start + 20;
    text[place] = text[place] == 'A' ? 'B' : 'A';
    service.directory().write("run/gatewayd.settings.json", text);
    service.start();
    EXPECT_NE(useSecret(service).errors.find("the key is wrong or the text was changed"),
              std::string::npos);
    EXPECT_EQ(service.stop(), 0);
    text.replace(place, 1, "!");
    service.directory().write("run/gatewayd.settings.json", text);
    service.start();
    EXPECT_NE(useSecret(service).errors.find("this is no enciphered text"), std::string::npos);
}

TEST(Secret, WithoutThePluginItIsRefused) {
    RunningService service;
    const Outcome outcome = service.control({"set", "secret", "x"});
    EXPECT_EQ(outcome.exitCode, 75);
    EXPECT_NE(outcome.errors.find("no plug-in provides the cipher \"secretbox\""),
              std::string::npos);
}

TEST(Secret, AKeyFileThatHoldsNoKeyIsReported) {
    Keys keys;
    keys.use("short");
    RunningService service(keys.member());
    EXPECT_NE(service.process().errors().find("does not hold 64 hexadecimal digits"),
              std::string::npos);
}

}  // namespace gateway_tests
