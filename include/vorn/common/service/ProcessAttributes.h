// SPDX-License-Identifier: MIT
#pragma once

#include <sys/capability.h>

#include <string>
#include <vector>

#include <vorn/common/export.h>
#include <vorn/common/service/ServiceError.h>

namespace vorn::common::service {

/// The identity that a service continues under.
struct ProcessAttrs {
    /// Name of the user to become; also the name looked for among the members of "/etc/group".
    std::string user;
    /// Name of the primary group to become.
    std::string group;
    /// Capabilities to keep as that user, also across `execve` (as ambient capabilities, where the
    /// kernel has them). Empty: none is kept.
    std::vector<cap_value_t> capabilities;
};

/// Turns a process that was started as root into a service's own user and group, with the
/// supplementary groups of that user and only the capabilities asked for.
///
///     service::setProcessAttributes({"gateway", "gateway", {CAP_NET_ADMIN}}, "/run/gateway.log");
///
/// Call it first thing in `main`: the process needs CAP_SETUID, CAP_SETGID and the capabilities to
/// keep, and CAP_CHOWN when a file is handed over. `ownedFile` is given to the new user and group
/// before the switch; empty means that no file is changed. A symbolic link is followed.
///
/// The steps, in order, and the text of the `ServiceError` thrown when one fails:
///
/// | step | text |
/// |---|---|
/// | look the user up | "Failed to get UID of ", the name |
/// | look the group up | "Failed to get GID of ", the name |
/// | collect groups from "/etc/group" | cannot fail: without that file there are none |
/// | gain what the switch needs | "Failed to set PERMITTED capability flags as root.", the same |
/// | | with EFFECTIVE and INHERITABLE, "Failed to set capabilities as root." |
/// | keep it across the switch | "Failed to retain capabilities set across identity change." |
/// | hand the file over | "Failed to change file ", the path, " user/group" |
/// | set the supplementary groups | "Failed to switch to set supplementary group IDS" |
/// | become the group | "Failed to switch to group with GID: ", the number |
/// | become the user | "Failed to switch to user with UID: ", the number |
/// | drop all other capabilities | "Failed to clear capability data structure.", the three texts |
/// | | above ending in "as user.", "Failed to set AMBIENT capability flags as user for cap ", |
/// | | "Failed to set capabilities as user.", "Failed to free capabilities object." |
///
/// A name with an embedded NUL is not found, and a path with one cannot be changed. The identity
/// 4294967295, which the kernel would take as "leave unchanged", fails at its own step (of a group,
/// where the kernel refuses it: with the supplementary groups, which hold it). The supplementary
/// groups are those that name the user as a member, except group 0 and the primary group, in the
/// order of the file; the primary group follows as the last.
///
/// Deliberate: nothing is rolled back. After an error the process may hold any state between root
/// and the new user; end it. The capability object of libcap is not freed then.
/// Deliberate: the AMBIENT text loses as many leading characters as the number of the capability
/// that could not be set (all of the text stands for 0 and below, none of it from 55 on); the
/// number itself is not shown.
///
/// Threads: not thread-safe, because the user and group databases are read through the C library's
/// shared buffers. Call it while the process has one thread: capabilities belong to a thread, and
/// threads that exist already would change user without keeping any. The switch is not confined to
/// the calling thread either.
/// Not guaranteed: the keep-capabilities flag of the process stays set until the next `execve`; the
/// bounding set is not changed.
VORN_GW_COMMON_EXPORT void setProcessAttributes(const ProcessAttrs& attrs,
                                                const std::string& ownedFile);

}  // namespace vorn::common::service
