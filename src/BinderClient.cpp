// SPDX-License-Identifier: MIT
#include "vorn/common/BinderClient.h"

#include <ostream>
#include <utility>

namespace vorn::common {

BinderClient::BinderClient(const Bindable& party) : BinderClient(party.uuid(), party.interface()) {}

BinderClient::BinderClient(Uuid uuid, std::string interface)
    : uuid_(uuid), interface_(std::move(interface)) {}

bool operator==(const BinderClient& left, const BinderClient& right) {
    return left.uuid() == right.uuid() && left.interface() == right.interface();
}

std::ostream& operator<<(std::ostream& out, const BinderClientsList& list) {
    out << "clientsList:" << std::endl;
    for (const auto& client : list) {
        out << "\t[" << std::endl
            << "\t\tuuid = " << client.uuid() << std::endl
            << "\t\tintf = " << client.interface() << std::endl
            << "\t]," << std::endl;
    }
    return out;
}

}  // namespace vorn::common
