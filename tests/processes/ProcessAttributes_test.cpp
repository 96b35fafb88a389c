// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <vorn/common/service/ProcessAttributes.h>

#include "helpers/environment.h"
#include "identity.h"

namespace {

using namespace identity;
using vorn::common::service::ProcessAttrs;
using vorn::common::service::setProcessAttributes;

const std::string kPasswd =
    "root:x:0:0::/:/bin/sh\n"
    "gateway:x:4001:4002::/:/bin/false\n";
const std::string kGroup =
    "root:x:0:gateway\n"
    "audio:x:29:gateway\n"
    "services:x:4002:gateway\n"
    "video:x:44:other,gateway\n"
    "gatewa:x:45:gatewa,gateways\n"
    "net:x:46:gateway\n";

Identity switched(const std::vector<cap_value_t>& capabilities) {
    const auto list = sorted(capabilities);
    return {.users = "4001 4001 4001",
            .groups = "4002 4002 4002",
            .supplementary = "29 44 46 4002",
            .permitted = list,
            .effective = list,
            .inheritable = list,
            .ambient = list};
}

class ProcessAttributesTest : public testing::Test {
  protected:
    void SetUp() override { VORN_REQUIRE_ROOT(); }
};

TEST_F(ProcessAttributesTest, BecomesTheUserWithTheChosenCapabilities) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{3}}) {
        const auto capabilities = availableCapabilities(count);
        ASSERT_EQ(capabilities.size(), count);
        SCOPED_TRACE(count);
        const auto result = runSwitch(kPasswd, kGroup, [&] {
            setProcessAttributes({"gateway", "services", capabilities}, "");
        });
        SKIP_WITHOUT_ACCOUNTS(result);
        EXPECT_EQ(result.report, outcome("", switched(capabilities)));
    }
}

TEST_F(ProcessAttributesTest, TheThreeOfTheSwitchStayWhenAskedFor) {
    const std::vector<cap_value_t> capabilities{CAP_CHOWN, CAP_SETGID, CAP_SETUID};
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "services", capabilities}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report, outcome("", switched(capabilities)));
}

TEST_F(ProcessAttributesTest, RepeatedCapabilitiesCountOnce) {
    const auto one = availableCapabilities(1);
    const std::vector<cap_value_t> capabilities(60, one.front());
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "services", capabilities}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report, outcome("", switched(one)));
}

TEST_F(ProcessAttributesTest, TheCapabilitiesSurviveExecve) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{2}}) {
        const auto capabilities = availableCapabilities(count);
        SCOPED_TRACE(count);
        const helpers::TempDir dir;
        const auto status = dir.file("status");
        const auto result = runWithAccounts(kPasswd, kGroup, [&](const auto&) {
            const int out = ::open(status.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
            ::dup2(out, STDOUT_FILENO);
            setProcessAttributes({"gateway", "services", capabilities}, "");
            ::execl("/bin/cat", "cat", "/proc/self/status", nullptr);
            return 1;
        });
        SKIP_WITHOUT_ACCOUNTS(result);
        ASSERT_EQ(result.exitCode, 0) << result.report;
        const auto text = helpers::contentOf(status);
        const auto list = sorted(capabilities);
        const auto after = capabilitiesOfStatus(text);
        EXPECT_EQ(after.permitted, list);
        EXPECT_EQ(after.effective, list);
        EXPECT_EQ(after.inheritable, list);
        EXPECT_EQ(after.ambient, list);
        EXPECT_NE(text.find("Uid:\t4001\t4001\t4001\t4001\n"), std::string::npos) << text;
        EXPECT_NE(text.find("Gid:\t4002\t4002\t4002\t4002\n"), std::string::npos) << text;
    }
}

TEST_F(ProcessAttributesTest, TheUserCannotBecomeRootAgain) {
    const auto result = runWithAccounts(kPasswd, kGroup, [&](const auto&) {
        setProcessAttributes({"gateway", "services", availableCapabilities(2)}, "");
        return ::setresuid(0, 0, 0) == -1 && ::setresgid(0, 0, 0) == -1 ? 0 : 1;
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.exitCode, 0) << result.report;
}

TEST_F(ProcessAttributesTest, TheOwnedFileIsHandedOver) {
    const helpers::TempDir dir;
    const auto owned = dir.write("owned", "");
    const auto other = dir.write("other", "");
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "services", {}}, owned);
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report, outcome("", switched({})));
    struct stat status {};
    ASSERT_EQ(::stat(owned.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 4001u);
    EXPECT_EQ(status.st_gid, 4002u);
    ASSERT_EQ(::stat(other.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0u);
}

TEST_F(ProcessAttributesTest, DeliberateALinkHandsOverWhatItNames) {
    const helpers::TempDir dir;
    const auto named = dir.write("named", "");
    const auto link = dir.file("link");
    std::filesystem::create_symlink(named, link);
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "services", {}}, link);
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    struct stat status {};
    ASSERT_EQ(::stat(named.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 4001u);
    ASSERT_EQ(::lstat(link.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0u) << "the link itself";
}

TEST_F(ProcessAttributesTest, TheGroupNeedNotBeTheUsersOwn) {
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "net", {}}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    auto expected = switched({});
    expected.groups = "46 46 46";
    expected.supplementary = "29 44 46 4002";
    EXPECT_EQ(result.report, outcome("", expected));
}

TEST_F(ProcessAttributesTest, ExistingSupplementaryGroupsAreReplaced) {
    const auto result = runSwitch("lonely:x:4003:4004::/:/bin/false\n", "alone:x:4004:\n", [&] {
        setProcessAttributes({"lonely", "alone", {}}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    auto expected = switched({});
    expected.users = "4003 4003 4003";
    expected.groups = "4004 4004 4004";
    expected.supplementary = "4004";
    EXPECT_EQ(result.report, outcome("", expected));
}

}  // namespace
