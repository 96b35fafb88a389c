// SPDX-License-Identifier: MIT
#include "vorn/common/service/ProcessAttributes.h"

#include <grp.h>
#include <pwd.h>
#include <sys/capability.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <memory>

namespace vorn::common::service {
namespace {

void require(bool succeeded, const char* text) {
    if (!succeeded) {
        throw ServiceError(text);
    }
}

/// The part of a text that the C functions would see is the whole text.
bool isPlain(const std::string& text) {
    return text.find('\0') == std::string::npos;
}

uid_t findUser(const std::string& name) {
    const passwd* const entry = isPlain(name) ? ::getpwnam(name.c_str()) : nullptr;
    if (entry == nullptr) {
        throw ServiceError("Failed to get UID of " + name);
    }
    return entry->pw_uid;
}

gid_t findGroup(const std::string& name) {
    const group* const entry = isPlain(name) ? ::getgrnam(name.c_str()) : nullptr;
    if (entry == nullptr) {
        throw ServiceError("Failed to get GID of " + name);
    }
    return entry->gr_gid;
}

bool hasMember(const group& entry, const std::string& user) {
    for (char** member = entry.gr_mem; *member != nullptr; ++member) {
        if (user == *member) {
            return true;
        }
    }
    return false;
}

std::vector<gid_t> supplementaryGroups(const std::string& user, gid_t primary) {
    std::vector<gid_t> groups;
    // Not getgrouplist: only this file counts, in its order, and without group 0.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/etc/group", "re"),
                                                               &std::fclose);
    if (file != nullptr) {
        while (const group* entry = ::fgetgrent(file.get())) {
            if (entry->gr_gid != primary && entry->gr_gid != 0 && hasMember(*entry, user)) {
                groups.push_back(entry->gr_gid);
            }
        }
    }
    groups.push_back(primary);
    return groups;
}

/// The capability set that both stages work on.
class CapabilitySet {
  public:
    [[nodiscard]] bool raise(cap_flag_t flag, const std::vector<cap_value_t>& capabilities) {
        return set_ != nullptr && ::cap_set_flag(set_, flag, static_cast<int>(capabilities.size()),
                                                 capabilities.data(), CAP_SET) == 0;
    }
    [[nodiscard]] bool apply() { return ::cap_set_proc(set_) == 0; }
    [[nodiscard]] bool clear() { return ::cap_clear(set_) == 0; }
    [[nodiscard]] bool free() { return ::cap_free(set_) == 0; }

  private:
    cap_t set_ = ::cap_init();
};

void enterRootStage(CapabilitySet& set, const std::vector<cap_value_t>& capabilities,
                    bool ambient) {
    auto needed = capabilities;
    needed.insert(needed.end(), {CAP_SETUID, CAP_SETGID, CAP_CHOWN});
    // The three are needed for the switch only, so they are not made inheritable below.
    require(set.raise(CAP_PERMITTED, needed), "Failed to set PERMITTED capability flags as root.");
    require(set.raise(CAP_EFFECTIVE, needed), "Failed to set EFFECTIVE capability flags as root.");
    if (ambient && !capabilities.empty()) {
        require(set.raise(CAP_INHERITABLE, capabilities),
                "Failed to set INHERITABLE capability flags as root.");
    }
    require(set.apply(), "Failed to set capabilities as root.");
}

void raiseAmbient(const std::vector<cap_value_t>& capabilities) {
    for (const auto capability : capabilities) {
        if (::cap_set_ambient(capability, CAP_SET) != 0) {
            // Deliberate: the number moves the beginning of the text, though never out of it.
            std::string text = "Failed to set AMBIENT capability flags as user for cap ";
            const auto cut = static_cast<std::size_t>(std::max(capability, 0));
            throw ServiceError(text.erase(0, std::min(cut, text.size())));
        }
    }
}

void enterUserStage(CapabilitySet& set, const std::vector<cap_value_t>& capabilities,
                    bool ambient) {
    require(set.clear(), "Failed to clear capability data structure.");
    if (!capabilities.empty()) {
        require(set.raise(CAP_PERMITTED, capabilities),
                "Failed to set PERMITTED capability flags as user.");
        require(set.raise(CAP_EFFECTIVE, capabilities),
                "Failed to set EFFECTIVE capability flags as user.");
        if (ambient) {
            require(set.raise(CAP_INHERITABLE, capabilities),
                    "Failed to set INHERITABLE capability flags as user.");
            // Of the thread itself, not of the set: inheritable, as the kernel asks, since the root
            // stage.
            raiseAmbient(capabilities);
        }
    }
    require(set.apply(), "Failed to set capabilities as user.");
    require(set.free(), "Failed to free capabilities object.");
}

}  // namespace

void setProcessAttributes(const ProcessAttrs& attrs, const std::string& ownedFile) {
    // What the kernel takes as "leave unchanged": the process would stay root without an error.
    constexpr auto kUnchanged = std::numeric_limits<uid_t>::max();
    // Looked up before anything changes: the new user may not be allowed to read the databases.
    const uid_t uid = findUser(attrs.user);
    const gid_t gid = findGroup(attrs.group);
    const auto groups = supplementaryGroups(attrs.user, gid);

    CapabilitySet set;
    const bool ambient = ::cap_get_ambient(CAP_CHOWN) >= 0;
    enterRootStage(set, attrs.capabilities, ambient);
    // Leaving user 0 would otherwise clear the permitted set, too.
    require(::prctl(PR_SET_KEEPCAPS, 1L, 0L, 0L, 0L) == 0,
            "Failed to retain capabilities set across identity change.");
    if (!ownedFile.empty() && (!isPlain(ownedFile) || ::chown(ownedFile.c_str(), uid, gid) != 0)) {
        throw ServiceError("Failed to change file " + ownedFile + " user/group");
    }
    // Groups while the process may still set them, the user last.
    require(::setgroups(groups.size(), groups.data()) == 0,
            "Failed to switch to set supplementary group IDS");
    if (gid == kUnchanged || ::setresgid(gid, gid, gid) != 0) {
        throw ServiceError("Failed to switch to group with GID: " + std::to_string(gid));
    }
    if (uid == kUnchanged || ::setresuid(uid, uid, uid) != 0) {
        throw ServiceError("Failed to switch to user with UID: " + std::to_string(uid));
    }
    enterUserStage(set, attrs.capabilities, ambient);
}

}  // namespace vorn::common::service
