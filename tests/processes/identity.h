// SPDX-License-Identifier: MIT
#pragma once

#include <sys/capability.h>

#include <functional>
#include <string>
#include <vector>

#include "helpers/TempDir.h"
#include "helpers/child.h"

namespace identity {

/// What a process is and may do, in one line per property.
struct Identity {
    std::string users;   ///< real, effective, saved
    std::string groups;  ///< real, effective, saved
    std::string supplementary;
    std::string permitted;
    std::string effective;
    std::string inheritable;
    std::string ambient;

    [[nodiscard]] std::string text() const;
};

/// Numbers in ascending order, each once, separated by blanks.
std::string sorted(std::vector<long long> numbers);
std::string sorted(const std::vector<cap_value_t>& capabilities,
                   const std::vector<cap_value_t>& more = {});

/// The identity of the calling process.
Identity current();

/// The capability sets of the lines of a /proc/<pid>/status text; the rest stays empty.
Identity capabilitiesOfStatus(const std::string& status);

/// Capabilities that this process holds, other than the three that a switch needs itself.
std::vector<cap_value_t> availableCapabilities(std::size_t count);

/// Runs `body` in a child whose /etc, in a mount namespace of its own, holds only the two account
/// files; the machine's stay as they are. Exit code 77 with the reason as its report when the
/// system does not allow that.
helpers::ChildResult runWithAccounts(
    const std::string& passwd, const std::string& group,
    const std::function<int(const std::function<void(const std::string&)>&)>& body);

/// As above, for a body that switches: reports the failure text, a line end and the identity
/// afterwards.
helpers::ChildResult runSwitch(const std::string& passwd, const std::string& group,
                               const std::function<void()>& body);

/// What `runSwitch` reports.
std::string outcome(const std::string& failure, const Identity& identity);

}  // namespace identity

#define SKIP_WITHOUT_ACCOUNTS(result) \
    if ((result).exitCode == 77)      \
    GTEST_SKIP() << (result).report
