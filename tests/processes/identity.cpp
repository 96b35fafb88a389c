// SPDX-License-Identifier: MIT
#include "identity.h"

#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <sstream>

#include <vorn/common/service/ServiceError.h>

namespace identity {
namespace {

std::string flags(cap_t set, cap_flag_t flag) {
    std::vector<cap_value_t> raised;
    for (cap_value_t capability = 0; capability < cap_max_bits(); ++capability) {
        cap_flag_value_t value = CAP_CLEAR;
        cap_get_flag(set, capability, flag, &value);
        if (value == CAP_SET) {
            raised.push_back(capability);
        }
    }
    return sorted(raised);
}

std::string ambientCapabilities() {
    std::vector<cap_value_t> raised;
    for (cap_value_t capability = 0; capability < cap_max_bits(); ++capability) {
        if (cap_get_ambient(capability) == 1) {
            raised.push_back(capability);
        }
    }
    return sorted(raised);
}

std::string three(long long first, long long second, long long third) {
    return std::to_string(first) + " " + std::to_string(second) + " " + std::to_string(third);
}

std::string bitsOfLine(const std::string& status, const std::string& key) {
    const auto line = status.find(key);
    if (line == std::string::npos) {
        return "no line " + key;
    }
    const auto mask = std::stoull(status.substr(line + key.size()), nullptr, 16);
    std::vector<cap_value_t> raised;
    for (int bit = 0; bit < 64; ++bit) {
        if ((mask >> bit & 1) != 0) {
            raised.push_back(bit);
        }
    }
    return sorted(raised);
}

/// The reason why it failed, or "".
std::string enterPrivateEtc(const std::string& directory) {
    if (::unshare(CLONE_NEWNS) != 0) {
        return std::string("no mount namespace: ") + std::strerror(errno);
    }
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount(directory.c_str(), "/etc", nullptr, MS_BIND, nullptr) != 0) {
        return std::string("cannot mount: ") + std::strerror(errno);
    }
    return "";
}

}  // namespace

std::string Identity::text() const {
    return "users " + users + "\ngroups " + groups + "\nsupplementary " + supplementary +
           "\npermitted " + permitted + "\neffective " + effective + "\ninheritable " +
           inheritable + "\nambient " + ambient + "\n";
}

std::string sorted(std::vector<long long> numbers) {
    std::string text;
    for (const auto number : std::set<long long>(numbers.begin(), numbers.end())) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
    }
    return text;
}

std::string sorted(const std::vector<cap_value_t>& capabilities,
                   const std::vector<cap_value_t>& more) {
    std::vector<long long> numbers(capabilities.begin(), capabilities.end());
    numbers.insert(numbers.end(), more.begin(), more.end());
    return sorted(std::move(numbers));
}

Identity current() {
    Identity identity;
    uid_t users[3];
    gid_t groups[3];
    ::getresuid(&users[0], &users[1], &users[2]);
    ::getresgid(&groups[0], &groups[1], &groups[2]);
    identity.users = three(users[0], users[1], users[2]);
    identity.groups = three(groups[0], groups[1], groups[2]);
    std::vector<gid_t> supplementary(static_cast<std::size_t>(::getgroups(0, nullptr)));
    ::getgroups(static_cast<int>(supplementary.size()), supplementary.data());
    identity.supplementary =
        sorted(std::vector<long long>(supplementary.begin(), supplementary.end()));
    const cap_t set = cap_get_proc();
    identity.permitted = flags(set, CAP_PERMITTED);
    identity.effective = flags(set, CAP_EFFECTIVE);
    identity.inheritable = flags(set, CAP_INHERITABLE);
    cap_free(set);
    identity.ambient = ambientCapabilities();
    return identity;
}

Identity capabilitiesOfStatus(const std::string& status) {
    Identity identity;
    identity.permitted = bitsOfLine(status, "CapPrm:");
    identity.effective = bitsOfLine(status, "CapEff:");
    identity.inheritable = bitsOfLine(status, "CapInh:");
    identity.ambient = bitsOfLine(status, "CapAmb:");
    return identity;
}

std::vector<cap_value_t> availableCapabilities(std::size_t count) {
    std::vector<cap_value_t> found;
    const cap_t set = cap_get_proc();
    for (cap_value_t capability = 8; capability < cap_max_bits() && found.size() < count;
         ++capability) {
        cap_flag_value_t value = CAP_CLEAR;
        cap_get_flag(set, capability, CAP_PERMITTED, &value);
        if (value == CAP_SET && cap_get_bound(capability) == 1) {
            found.push_back(capability);
        }
    }
    cap_free(set);
    return found;
}

helpers::ChildResult runWithAccounts(
    const std::string& passwd, const std::string& group,
    const std::function<int(const std::function<void(const std::string&)>&)>& body) {
    const helpers::TempDir etc;
    etc.write("passwd", passwd);
    etc.write("group", group);
    etc.write("nsswitch.conf", "passwd: files\ngroup: files\n");
    return helpers::runInChild([&](const auto& report) {
        const auto refusal = enterPrivateEtc(etc.path().string());
        if (!refusal.empty()) {
            report(refusal);
            return 77;
        }
        return body(report);
    });
}

helpers::ChildResult runSwitch(const std::string& passwd, const std::string& group,
                               const std::function<void()>& body) {
    return runWithAccounts(passwd, group, [&](const auto& report) {
        std::string failure;
        try {
            body();
        } catch (const vorn::common::service::ServiceError& error) {
            failure = error.what();
        }
        report(outcome(failure, current()));
        return 0;
    });
}

std::string outcome(const std::string& failure, const Identity& identity) {
    return failure + "\n" + identity.text();
}

}  // namespace identity
