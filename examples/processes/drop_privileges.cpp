// SPDX-License-Identifier: MIT

// Turns a root process into an unprivileged user that may still bind to low ports. Without root it
// shows how the refusal looks.

#include <unistd.h>

#include <iostream>

#include <vorn/common/service/ProcessAttributes.h>

int main() {
    using namespace vorn::common;
    const bool root = ::geteuid() == 0;
    try {
        service::setProcessAttributes({"daemon", "daemon", {CAP_NET_BIND_SERVICE}}, "");
        std::cout << "running as user " << ::geteuid() << ", group " << ::getegid() << '\n';
    } catch (const service::ServiceError& error) {
        std::cout << error.what() << '\n';
        return root ? 1 : 0;
    }
}
