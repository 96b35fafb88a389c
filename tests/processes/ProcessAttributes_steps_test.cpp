// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <grp.h>
#include <pwd.h>
#include <sys/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/service/ProcessAttributes.h>

#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"

namespace {

using namespace vorn::common::service;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr uid_t kUid = 4001;
constexpr gid_t kGid = 4002;

std::vector<std::string> calls;
std::optional<std::size_t> failingCall;
passwd user{};
group primaryGroup{};
int capabilityObject;
std::string groupFile;
bool ambientSupported;

/// Notes a call; false for the one that is to fail.
bool note(const std::string& call) {
    calls.push_back(call);
    return failingCall != calls.size() - 1;
}

int result(const std::string& call) {
    return note(call) ? 0 : -1;
}

template <class Number>
std::string list(const Number* numbers, std::size_t count) {
    std::string text;
    for (std::size_t index = 0; index < count; ++index) {
        text += " " + std::to_string(numbers[index]);
    }
    return text;
}

std::string ids(unsigned first, unsigned second, unsigned third) {
    return " " + std::to_string(first) + " " + std::to_string(second) + " " + std::to_string(third);
}

constexpr const char* kFlagNames[] = {"EFFECTIVE", "PERMITTED", "INHERITABLE"};

}  // namespace

// This program's own definitions take the place of the C library's and libcap's: most of the calls
// cannot be made to fail from outside, and none is to succeed here. Nothing else in the program
// makes them.
extern "C" {

passwd* getpwnam(const char* name) {
    return note(std::string("user ") + name) ? &user : nullptr;
}

group* getgrnam(const char* name) {
    return note(std::string("group ") + name) ? &primaryGroup : nullptr;
}

cap_t cap_init() {
    return note("init") ? reinterpret_cast<cap_t>(&capabilityObject) : nullptr;
}

int cap_set_flag(cap_t /*set*/, cap_flag_t flag, int count, const cap_value_t* capabilities,
                 cap_flag_value_t value) {
    EXPECT_EQ(value, CAP_SET);
    return result(kFlagNames[flag] + list(capabilities, static_cast<std::size_t>(count)));
}

int cap_get_ambient(cap_value_t capability) {
    return capability == CAP_CHOWN && !ambientSupported ? -1 : 0;
}

int cap_set_ambient(cap_value_t capability, cap_flag_value_t value) {
    EXPECT_EQ(value, CAP_SET);
    return result("ambient " + std::to_string(capability));
}

int cap_set_proc(cap_t /*set*/) {
    return result("apply");
}

int cap_clear(cap_t /*set*/) {
    return result("clear");
}

int cap_free(void* set) {
    EXPECT_EQ(set, &capabilityObject);
    return result("free");
}

int prctl(int option, ...) noexcept {
    va_list arguments;
    va_start(arguments, option);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (option == PR_CAPBSET_READ) {
        // libcap, where it is loaded after all, looks at the bounding set before any test runs.
        return static_cast<int>(::syscall(SYS_prctl, option, argument, 0, 0, 0));
    }
    EXPECT_EQ(option, PR_SET_KEEPCAPS);
    EXPECT_EQ(argument, 1L);
    return result("keep");
}

int chown(const char* path, uid_t owner, gid_t ownerGroup) noexcept {
    return result("chown " + std::string(path) + " " + std::to_string(owner) + " " +
                  std::to_string(ownerGroup));
}

int setgroups(std::size_t count, const gid_t* groups) noexcept {
    return result("groups" + list(groups, count));
}

int setresgid(gid_t real, gid_t effective, gid_t saved) noexcept {
    return result("gid" + ids(real, effective, saved));
}

int setresuid(uid_t real, uid_t effective, uid_t saved) noexcept {
    return result("uid" + ids(real, effective, saved));
}

/// The group database is another file; everything else is opened as usual.
std::FILE* fopen64(const char* path, const char* mode) {
    using Open = std::FILE*(const char*, const char*);
    static auto* const next = reinterpret_cast<Open*>(::dlsym(RTLD_NEXT, "fopen64"));
    return next(path == std::string_view("/etc/group") ? groupFile.c_str() : path, mode);
}

}  // extern "C"

namespace {

/// A switch whose calls are noted instead of made.
class ProcessAttributesSteps : public testing::Test {
  protected:
    ProcessAttributesSteps() {
        calls.clear();
        failingCall.reset();
        groupFile = "/dev/null";
        ambientSupported = true;
        user.pw_uid = kUid;
        primaryGroup.gr_gid = kGid;
    }

    /// The text of the failure, or "" when there is none.
    std::string run(const std::vector<cap_value_t>& capabilities, const std::string& ownedFile) {
        try {
            setProcessAttributes({"service", "services", capabilities}, ownedFile);
        } catch (const ServiceError& error) {
            return error.what();
        }
        return "";
    }
};

struct Step {
    std::string call;
    std::string failure;
};

const std::vector<Step> kAllSteps = {
    {"user service", "Failed to get UID of service"},
    {"group services", "Failed to get GID of services"},
    {"init", "Failed to set PERMITTED capability flags as root."},
    {"PERMITTED 12 10 7 6 0", "Failed to set PERMITTED capability flags as root."},
    {"EFFECTIVE 12 10 7 6 0", "Failed to set EFFECTIVE capability flags as root."},
    {"INHERITABLE 12 10", "Failed to set INHERITABLE capability flags as root."},
    {"apply", "Failed to set capabilities as root."},
    {"keep", "Failed to retain capabilities set across identity change."},
    {"chown /run/file 4001 4002", "Failed to change file /run/file user/group"},
    {"groups 4002", "Failed to switch to set supplementary group IDS"},
    {"gid 4002 4002 4002", "Failed to switch to group with GID: 4002"},
    {"uid 4001 4001 4001", "Failed to switch to user with UID: 4001"},
    {"clear", "Failed to clear capability data structure."},
    {"PERMITTED 12 10", "Failed to set PERMITTED capability flags as user."},
    {"EFFECTIVE 12 10", "Failed to set EFFECTIVE capability flags as user."},
    {"INHERITABLE 12 10", "Failed to set INHERITABLE capability flags as user."},
    {"ambient 12", "t AMBIENT capability flags as user for cap "},
    {"ambient 10", "set AMBIENT capability flags as user for cap "},
    {"apply", "Failed to set capabilities as user."},
    {"free", "Failed to free capabilities object."},
};

std::vector<std::string> callsOf(const std::vector<Step>& steps, std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t index = 0; index < count; ++index) {
        names.push_back(steps[index].call);
    }
    return names;
}

TEST_F(ProcessAttributesSteps, MakesTheStepsInOrder) {
    EXPECT_EQ(run({12, 10}, "/run/file"), "");
    EXPECT_THAT(calls, ElementsAreArray(callsOf(kAllSteps, kAllSteps.size())));
}

/// Deliberate: nothing is rolled back, and the capability object is not freed.
TEST_F(ProcessAttributesSteps, EachFailureHasItsTextAndEndsTheSwitchAsItStands) {
    for (std::size_t index = 0; index < kAllSteps.size(); ++index) {
        SCOPED_TRACE(std::to_string(index) + ": " + kAllSteps[index].call);
        calls.clear();
        failingCall = index;
        EXPECT_EQ(run({12, 10}, "/run/file"), kAllSteps[index].failure);
        EXPECT_THAT(calls, ElementsAreArray(callsOf(kAllSteps, index + 1)));
    }
}

TEST_F(ProcessAttributesSteps, WithoutCapabilitiesTheSetEndsCleared) {
    EXPECT_EQ(run({}, ""), "");
    EXPECT_THAT(calls,
                ElementsAre("user service", "group services", "init", "PERMITTED 7 6 0",
                            "EFFECTIVE 7 6 0", "apply", "keep", "groups 4002", "gid 4002 4002 4002",
                            "uid 4001 4001 4001", "clear", "apply", "free"));
}

TEST_F(ProcessAttributesSteps, WithoutAmbientSupportNothingIsInheritable) {
    ambientSupported = false;
    EXPECT_EQ(run({12, 10}, ""), "");
    EXPECT_THAT(calls,
                ElementsAre("user service", "group services", "init", "PERMITTED 12 10 7 6 0",
                            "EFFECTIVE 12 10 7 6 0", "apply", "keep", "groups 4002",
                            "gid 4002 4002 4002", "uid 4001 4001 4001", "clear", "PERMITTED 12 10",
                            "EFFECTIVE 12 10", "apply", "free"));
}

TEST_F(ProcessAttributesSteps, TheAmbientTextIsCutByTheCapabilityNumber) {
    const std::string whole = "Failed to set AMBIENT capability flags as user for cap ";
    ASSERT_EQ(whole.size(), 55u);
    const std::pair<cap_value_t, std::string> rows[] = {
        {0, whole},
        {1, "ailed to set AMBIENT capability flags as user for cap "},
        {10, "set AMBIENT capability flags as user for cap "},
        {14, "AMBIENT capability flags as user for cap "},
        {53, "p "},
        {54, " "},
        {55, ""},
        {56, ""},
        {63, ""},
        {std::numeric_limits<cap_value_t>::max(), ""},
        {-1, whole},
        {std::numeric_limits<cap_value_t>::min(), whole},
    };
    for (const auto& [capability, text] : rows) {
        SCOPED_TRACE(capability);
        calls.clear();
        failingCall = 15;
        EXPECT_EQ(run({capability}, ""), text);
        EXPECT_EQ(calls.back(), "ambient " + std::to_string(capability));
    }
}

TEST_F(ProcessAttributesSteps, TheUnchangedIdentityFailsAtItsOwnStep) {
    user.pw_uid = std::numeric_limits<uid_t>::max();
    EXPECT_EQ(run({}, ""), "Failed to switch to user with UID: 4294967295");
    EXPECT_EQ(calls.back(), "gid 4002 4002 4002");

    calls.clear();
    primaryGroup.gr_gid = std::numeric_limits<gid_t>::max();
    EXPECT_EQ(run({}, ""), "Failed to switch to group with GID: 4294967295");
    EXPECT_EQ(calls.back(), "groups 4294967295");
}

TEST_F(ProcessAttributesSteps, LargeNumbersArePrintedUnsigned) {
    user.pw_uid = 4294967294u;
    primaryGroup.gr_gid = 4294967293u;
    failingCall = 8;
    EXPECT_EQ(run({}, ""), "Failed to switch to group with GID: 4294967293");
    calls.clear();
    failingCall = 9;
    EXPECT_EQ(run({}, ""), "Failed to switch to user with UID: 4294967294");
}

TEST_F(ProcessAttributesSteps, NamesWithAnEmbeddedNulAreNotLookedUp) {
    using namespace std::string_literals;
    EXPECT_THROW_TEXT(setProcessAttributes({"service\0x"s, "services", {}}, ""), ServiceError,
                      "Failed to get UID of service");
    EXPECT_TRUE(calls.empty());
    EXPECT_THROW_TEXT(setProcessAttributes({"service", "services\0"s, {}}, ""), ServiceError,
                      "Failed to get GID of services");
    EXPECT_THAT(calls, ElementsAre("user service"));
    EXPECT_EQ(run({}, "/run/file\0x"s), "Failed to change file /run/file");
    EXPECT_EQ(calls.back(), "keep");
}

struct GroupsRow {
    const char* file;
    const char* expected;
};

TEST_F(ProcessAttributesSteps, SupplementaryGroupsAreThoseThatNameTheUser) {
    const GroupsRow rows[] = {
        {"", "groups 4002"},
        {"audio:x:29:service\n", "groups 29 4002"},
        {"audio:x:29:a,service,b\nvideo:x:44:service\n", "groups 29 44 4002"},
        {"video:x:44:service\naudio:x:29:service\n", "groups 44 29 4002"},
        {"root:x:0:service\nservices:x:4002:service\n", "groups 4002"},
        {"root:x:0:service\naudio:x:29:service\nservices:x:4002:service\n", "groups 29 4002"},
        {"audio:x:29:servic\nvideo:x:44:services\ndisk:x:6:Service\n", "groups 4002"},
        {"audio:x:29:\nvideo:x:44:other\n", "groups 4002"},
        {"audio:x:29:service,service\n", "groups 29 4002"},
        {"audio:x:29:service\nsound:x:29:service\n", "groups 29 29 4002"},
        {"broken\n\n# comment\naudio:x:29:service", "groups 29 4002"},
    };
    helpers::TempDir dir;
    const auto path = dir.file("group");
    groupFile = path;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
        calls.clear();
        dir.write("group", row.file);
        EXPECT_EQ(run({}, ""), "");
        EXPECT_THAT(calls, testing::Contains(row.expected));
    }
}

TEST_F(ProcessAttributesSteps, LongGroupLinesAreReadWhole) {
    std::string line = "many:x:77:";
    for (int member = 0; member < 20000; ++member) {
        line += "member" + std::to_string(member) + ",";
    }
    helpers::TempDir dir;
    const auto path = dir.write("group", line + "service\naudio:x:29:service\n");
    groupFile = path;
    EXPECT_EQ(run({}, ""), "");
    EXPECT_THAT(calls, testing::Contains("groups 77 29 4002"));
}

TEST_F(ProcessAttributesSteps, AMissingGroupFileIsNoError) {
    helpers::TempDir dir;
    const auto path = dir.file("missing");
    groupFile = path;
    EXPECT_EQ(run({}, ""), "");
    EXPECT_THAT(calls, testing::Contains("groups 4002"));
}

}  // namespace
