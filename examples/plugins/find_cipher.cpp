// SPDX-License-Identifier: MIT

// Finds ciphers by library and name. The library is loaded once, at the first question, and stays.

#include <iostream>
#include <stdexcept>

#include <vorn/common/cipher/helper.h>

namespace {

using vorn::common::cipher::getCipherFromLib;

void tell(const char* library, const char* name) {
    try {
        if (const auto cipher = getCipherFromLib(library, name)) {
            const auto ciphered = cipher->encrypt("abc");
            std::cout << name << ": abc becomes " << ciphered << ", and "
                      << cipher->decrypt(ciphered) << " again\n";
        } else {
            std::cout << name << ": the library has no such cipher\n";
        }
    } catch (const std::invalid_argument&) {
        std::cout << name << ": the library cannot be loaded\n";
    }
}

}  // namespace

int main() {
    tell(PLUGIN_PATH, "reverse");
    tell(PLUGIN_PATH, "secretbox");
    tell("/no/such/plugin.so", "reverse");
}
