// SPDX-License-Identifier: MIT
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <vorn/common/service/ProcessAttributes.h>

#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "identity.h"

namespace {

using namespace identity;
using vorn::common::service::ServiceError;
using vorn::common::service::setProcessAttributes;

const std::string kPasswd =
    "gateway:x:4001:4002::/:/bin/false\n"
    "nobody:x:4294967295:4002::/:/bin/false\n";
const std::string kGroup =
    "audio:x:29:gateway,nobody\n"
    "services:x:4002:\n"
    "none:x:4294967295:\n";

/// The process as it stands after the root stage.
Identity withRootStage(const std::vector<cap_value_t>& capabilities) {
    auto identity = current();
    identity.permitted = sorted(capabilities, {CAP_CHOWN, CAP_SETGID, CAP_SETUID});
    identity.effective = identity.permitted;
    identity.inheritable = sorted(capabilities);
    return identity;
}

/// The same, after the groups too.
Identity withGroups(const std::vector<cap_value_t>& capabilities) {
    auto identity = withRootStage(capabilities);
    identity.groups = "4002 4002 4002";
    identity.supplementary = "29 4002";
    return identity;
}

/// The same, after the change of user but before the user stage is applied.
Identity withUser(const std::vector<cap_value_t>& capabilities) {
    auto identity = withGroups(capabilities);
    identity.users = "4001 4001 4001";
    identity.effective = "";
    return identity;
}

class ProcessAttributesFailureTest : public testing::Test {
  protected:
    void SetUp() override { VORN_REQUIRE_ROOT(); }
};

TEST(ProcessAttributesLookUp, UnknownNamesFailBeforeAnythingElse) {
    const auto before = current().text();
    EXPECT_THROW_TEXT(setProcessAttributes({"no such user", "no such group", {12}}, "/nowhere"),
                      ServiceError, "Failed to get UID of no such user");
    EXPECT_THROW_TEXT(setProcessAttributes({"", "", {}}, ""), ServiceError,
                      "Failed to get UID of ");
    EXPECT_THROW_TEXT(setProcessAttributes({"root", "no such group", {12}}, "/nowhere"),
                      ServiceError, "Failed to get GID of no such group");
    EXPECT_EQ(current().text(), before);
}

TEST(ProcessAttributesLookUp, NamesWithAnEmbeddedNulAreNotFound) {
    using namespace std::string_literals;
    EXPECT_THROW_TEXT(setProcessAttributes({"root\0"s, "root", {}}, ""), ServiceError,
                      "Failed to get UID of root");
    EXPECT_THROW_TEXT(setProcessAttributes({"root", "root\0x"s, {}}, ""), ServiceError,
                      "Failed to get GID of root");
}

TEST_F(ProcessAttributesFailureTest, MoreCapabilitiesThanTheSetHoldsPlacesFor) {
    const auto before = current();
    const std::vector<cap_value_t> capabilities(61, CAP_NET_ADMIN);
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "services", capabilities}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report, outcome("Failed to set PERMITTED capability flags as root.", before));
}

TEST_F(ProcessAttributesFailureTest, ACapabilityThatTheProcessLacks) {
    const auto lacking = availableCapabilities(1);
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        const cap_t set = cap_get_proc();
        cap_set_flag(set, CAP_PERMITTED, 1, lacking.data(), CAP_CLEAR);
        cap_set_flag(set, CAP_EFFECTIVE, 1, lacking.data(), CAP_CLEAR);
        cap_set_proc(set);
        cap_free(set);
        setProcessAttributes({"gateway", "services", lacking}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    const auto text = "Failed to set capabilities as root.\nusers 0 0 0\n";
    EXPECT_EQ(result.report.substr(0, std::string(text).size()), text);
}

TEST_F(ProcessAttributesFailureTest, KeepingCapabilitiesIsLocked) {
    const auto capabilities = availableCapabilities(1);
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        ::prctl(PR_SET_SECUREBITS, static_cast<unsigned long>(SECBIT_KEEP_CAPS_LOCKED), 0L, 0L, 0L);
        setProcessAttributes({"gateway", "services", capabilities}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report, outcome("Failed to retain capabilities set across identity change.",
                                     withRootStage(capabilities)));
}

TEST_F(ProcessAttributesFailureTest, AMissingOwnedFileLeavesTheRootStage) {
    const helpers::TempDir dir;
    const auto missing = dir.file("missing");
    const auto capabilities = availableCapabilities(2);
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"gateway", "services", capabilities}, missing);
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report, outcome("Failed to change file " + missing + " user/group",
                                     withRootStage(capabilities)));
}

TEST_F(ProcessAttributesFailureTest, AnImpossibleSupplementaryGroup) {
    const auto result = runSwitch(kPasswd, "services:x:4002:\nnone:x:4294967295:gateway\n", [&] {
        setProcessAttributes({"gateway", "services", {}}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report,
              outcome("Failed to switch to set supplementary group IDS", withRootStage({})));
}

TEST_F(ProcessAttributesFailureTest, AnImpossibleUserLeavesTheGroupsChanged) {
    const auto capabilities = availableCapabilities(1);
    const auto result = runSwitch(kPasswd, kGroup, [&] {
        setProcessAttributes({"nobody", "services", capabilities}, "");
    });
    SKIP_WITHOUT_ACCOUNTS(result);
    EXPECT_EQ(result.report,
              outcome("Failed to switch to user with UID: 4294967295", withGroups(capabilities)));
}

/// Deliberate: the capability number cuts the text instead of ending it.
TEST_F(ProcessAttributesFailureTest, ARefusedAmbientCapabilityCutsItsText) {
    const std::string whole = "Failed to set AMBIENT capability flags as user for cap ";
    for (const cap_value_t capability : {CAP_CHOWN, CAP_NET_BIND_SERVICE, CAP_NET_ADMIN}) {
        SCOPED_TRACE(capability);
        const auto result = runSwitch(kPasswd, kGroup, [&] {
            ::prctl(PR_SET_SECUREBITS, static_cast<unsigned long>(SECBIT_NO_CAP_AMBIENT_RAISE), 0L,
                    0L, 0L);
            setProcessAttributes({"gateway", "services", {capability}}, "");
        });
        SKIP_WITHOUT_ACCOUNTS(result);
        EXPECT_EQ(result.report, outcome(whole.substr(static_cast<std::size_t>(capability)),
                                         withUser({capability})));
    }
}

/// Deliberate, as above: numbers that no kernel knows pass the flags and fail here.
TEST_F(ProcessAttributesFailureTest, AnUnknownCapabilityCutsItsText) {
    const std::string whole = "Failed to set AMBIENT capability flags as user for cap ";
    const std::pair<cap_value_t, std::string> rows[] = {
        {-1, whole}, {54, " "}, {55, ""}, {1000, ""}};
    for (const auto& [capability, text] : rows) {
        SCOPED_TRACE(capability);
        const auto result = runSwitch(kPasswd, kGroup, [unknown = capability] {
            setProcessAttributes({"gateway", "services", {unknown}}, "");
        });
        SKIP_WITHOUT_ACCOUNTS(result);
        EXPECT_EQ(result.report, outcome(text, withUser({})));
    }
}

}  // namespace
