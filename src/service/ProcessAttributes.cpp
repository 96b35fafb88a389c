#include "vorn/common/service/ProcessAttributes.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "service/IdentityCalls.h"

namespace vorn::common::service {
namespace internal {
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

uid_t findUser(const std::string& name, const IdentityCalls& calls) {
    const passwd* const entry = isPlain(name) ? calls.findUser(name.c_str()) : nullptr;
    if (entry == nullptr) {
        throw ServiceError("Failed to get UID of " + name);
    }
    return entry->pw_uid;
}

gid_t findGroup(const std::string& name, const IdentityCalls& calls) {
    const group* const entry = isPlain(name) ? calls.findGroup(name.c_str()) : nullptr;
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

std::vector<gid_t> supplementaryGroups(const std::string& user, gid_t primary,
                                       const IdentityCalls& calls) {
    std::vector<gid_t> groups;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(calls.groupFile, "re"),
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
    explicit CapabilitySet(const IdentityCalls& calls) : calls_(calls), set_(calls.capInit()) {}

    [[nodiscard]] bool raise(cap_flag_t flag, const std::vector<cap_value_t>& capabilities) {
        return set_ != nullptr &&
               calls_.capSetFlag(set_, flag, static_cast<int>(capabilities.size()),
                                 capabilities.data(), CAP_SET) == 0;
    }
    [[nodiscard]] bool apply() { return calls_.capSetProcess(set_) == 0; }
    [[nodiscard]] bool clear() { return calls_.capClear(set_) == 0; }
    [[nodiscard]] bool free() { return calls_.capFree(set_) == 0; }

  private:
    const IdentityCalls& calls_;
    cap_t set_;
};

void enterRootStage(CapabilitySet& set, const std::vector<cap_value_t>& capabilities,
                    bool ambient) {
    auto needed = capabilities;
    needed.insert(needed.end(), {CAP_SETUID, CAP_SETGID, CAP_CHOWN});
    require(set.raise(CAP_PERMITTED, needed), "Failed to set PERMITTED capability flags as root.");
    require(set.raise(CAP_EFFECTIVE, needed), "Failed to set EFFECTIVE capability flags as root.");
    if (ambient && !capabilities.empty()) {
        require(set.raise(CAP_INHERITABLE, capabilities),
                "Failed to set INHERITABLE capability flags as root.");
    }
    require(set.apply(), "Failed to set capabilities as root.");
}

void raiseAmbient(const std::vector<cap_value_t>& capabilities, const IdentityCalls& calls) {
    for (const auto capability : capabilities) {
        if (calls.capSetAmbient(capability, CAP_SET) != 0) {
            std::string text = "Failed to set AMBIENT capability flags as user for cap ";
            const auto cut = static_cast<std::size_t>(std::max(capability, 0));
            throw ServiceError(text.erase(0, std::min(cut, text.size())));
        }
    }
}

void enterUserStage(CapabilitySet& set, const std::vector<cap_value_t>& capabilities, bool ambient,
                    const IdentityCalls& calls) {
    require(set.clear(), "Failed to clear capability data structure.");
    if (!capabilities.empty()) {
        require(set.raise(CAP_PERMITTED, capabilities),
                "Failed to set PERMITTED capability flags as user.");
        require(set.raise(CAP_EFFECTIVE, capabilities),
                "Failed to set EFFECTIVE capability flags as user.");
        if (ambient) {
            require(set.raise(CAP_INHERITABLE, capabilities),
                    "Failed to set INHERITABLE capability flags as user.");
            raiseAmbient(capabilities, calls);
        }
    }
    require(set.apply(), "Failed to set capabilities as user.");
    require(set.free(), "Failed to free capabilities object.");
}

}  // namespace

const IdentityCalls kSystemIdentityCalls{
    .groupFile = "/etc/group",
    .findUser = ::getpwnam,
    .findGroup = ::getgrnam,
    .capInit = ::cap_init,
    .capSetFlag = ::cap_set_flag,
    .capGetAmbient = ::cap_get_ambient,
    .capSetAmbient = ::cap_set_ambient,
    .capSetProcess = ::cap_set_proc,
    .capClear = ::cap_clear,
    .capFree = ::cap_free,
    .keepCapabilities = [] { return ::prctl(PR_SET_KEEPCAPS, 1L, 0L, 0L, 0L); },
    .changeOwner = ::chown,
    .setGroups = ::setgroups,
    .setGroupIds = ::setresgid,
    .setUserIds = ::setresuid,
};

void setProcessAttributes(const ProcessAttrs& attrs, const std::string& ownedFile,
                          const IdentityCalls& calls) {
    constexpr auto kUnchanged = std::numeric_limits<uid_t>::max();
    const uid_t uid = findUser(attrs.user, calls);
    const gid_t gid = findGroup(attrs.group, calls);
    const auto groups = supplementaryGroups(attrs.user, gid, calls);

    CapabilitySet set(calls);
    const bool ambient = calls.capGetAmbient(CAP_CHOWN) >= 0;
    enterRootStage(set, attrs.capabilities, ambient);
    require(calls.keepCapabilities() == 0,
            "Failed to retain capabilities set across identity change.");
    if (!ownedFile.empty() &&
        (!isPlain(ownedFile) || calls.changeOwner(ownedFile.c_str(), uid, gid) != 0)) {
        throw ServiceError("Failed to change file " + ownedFile + " user/group");
    }
    require(calls.setGroups(groups.size(), groups.data()) == 0,
            "Failed to switch to set supplementary group IDS");
    if (gid == kUnchanged || calls.setGroupIds(gid, gid, gid) != 0) {
        throw ServiceError("Failed to switch to group with GID: " + std::to_string(gid));
    }
    if (uid == kUnchanged || calls.setUserIds(uid, uid, uid) != 0) {
        throw ServiceError("Failed to switch to user with UID: " + std::to_string(uid));
    }
    enterUserStage(set, attrs.capabilities, ambient, calls);
}

}  // namespace internal

void setProcessAttributes(const ProcessAttrs& attrs, const std::string& ownedFile) {
    internal::setProcessAttributes(attrs, ownedFile, internal::kSystemIdentityCalls);
}

}  // namespace vorn::common::service
