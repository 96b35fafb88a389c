#pragma once

#include <grp.h>
#include <pwd.h>
#include <sys/capability.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

#include <vorn/common/service/ProcessAttributes.h>

namespace vorn::common::service::internal {

/// What the switch of identity asks of the system. The tests replace single entries, because most
/// of the calls cannot be made to fail from outside.
struct IdentityCalls {
    const char* groupFile;
    passwd* (*findUser)(const char* name);
    group* (*findGroup)(const char* name);
    cap_t (*capInit)();
    int (*capSetFlag)(cap_t set, cap_flag_t flag, int count, const cap_value_t* capabilities,
                      cap_flag_value_t value);
    int (*capGetAmbient)(cap_value_t capability);
    int (*capSetAmbient)(cap_value_t capability, cap_flag_value_t value);
    int (*capSetProcess)(cap_t set);
    int (*capClear)(cap_t set);
    int (*capFree)(void* set);
    int (*keepCapabilities)();
    int (*changeOwner)(const char* path, uid_t owner, gid_t group);
    int (*setGroups)(std::size_t count, const gid_t* groups);
    int (*setGroupIds)(gid_t real, gid_t effective, gid_t saved);
    int (*setUserIds)(uid_t real, uid_t effective, uid_t saved);
};

/// The calls of the running system.
extern const IdentityCalls kSystemIdentityCalls;

void setProcessAttributes(const ProcessAttrs& attrs, const std::string& ownedFile,
                          const IdentityCalls& calls);

}  // namespace vorn::common::service::internal
