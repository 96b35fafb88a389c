// SPDX-License-Identifier: MIT

// Reads a service's arguments from JSON into typed values.

#include <iostream>
#include <stdexcept>

#include <vorn/common/TypedArgs.h>

int main() {
    using namespace vorn::common;
    const auto args = loadArgs(lwjson::Deserializer(R"({
        "net": {"port": 8080, "host": "gateway.local", "secure": true},
        "gain": 0.25
    })"));

    std::cout << GetTypedArgHelper<std::string>::get(args.at("net_host")) << ':'
              << GetTypedArgHelper<unsigned short>::get(args.at("net_port"))
              << (GetTypedArgHelper<bool>::get(args.at("net_secure")) ? " with" : " without")
              << " TLS, gain " << GetTypedArgHelper<double>::get(args.at("gain")) << '\n';

    try {
        static_cast<void>(GetTypedArgHelper<unsigned char>::get(args.at("net_port")));
    } catch (const std::invalid_argument& error) {
        std::cout << "net_port: " << error.what() << '\n';
    }
}
