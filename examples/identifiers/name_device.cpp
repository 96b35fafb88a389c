// SPDX-License-Identifier: MIT

// Gives a device an identifier that is the same after every restart, and reads one from a request.
#include <iostream>
#include <stdexcept>

#include <vorn/common/Uuid.h>

using namespace vorn::common;

int main() {
    const Uuid device(StronglyTyped<std::string, VendorTag>("Acme"),
                      StronglyTyped<std::string, ModelTag>("Pump 3000"),
                      StronglyTyped<std::string, SerialNumberTag>("0123"));
    std::cout << "device:  " << device << " (version " << device.version() << ")\n";

    const Uuid outlet(device, "outlet 1");
    std::cout << "outlet:  " << outlet.base64URL() << "\n";

    const Uuid words = Uuid::fromBase64String("gw", "main pump");
    std::cout << "words:   " << words.base64URL() << "\n";

    const Uuid request(0ULL);
    std::cout << "request: version " << request.version() << "\n";

    for (const char* text : {"1od3jkd8W4e_J3SstjkVpw", "d687778e477c-5b87-bf27-74acb63915a7-"}) {
        try {
            const Uuid requested(text);
            std::cout << text << (requested == device ? " is the device\n" : " is another one\n");
        } catch (const std::invalid_argument& error) {
            std::cout << error.what() << "\n";
        }
    }
}
