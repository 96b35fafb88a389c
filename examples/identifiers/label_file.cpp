// SPDX-License-Identifier: MIT

// Labels a content with its SHA-1 digest, cut to what a fixed field of a device's record holds.

#include <cstdint>
#include <iostream>
#include <string>

#include <vorn/common/sha1.h>
#include <vorn/common/strlcpy.h>

namespace {

std::string digestOf(const std::string& content) {
    SHA1Context context;
    std::uint8_t digest[20];
    SHA1Reset(&context);
    SHA1Input(&context, reinterpret_cast<const std::uint8_t*>(content.data()),
              static_cast<unsigned>(content.size()));
    SHA1Result(&context, digest);

    std::string text;
    for (const unsigned byte : digest) {
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    return text;
}

}  // namespace

int main() {
    const std::string digest = digestOf("abc");
    std::cout << "digest  " << digest << '\n';

    char field[13];
    const auto length = vorn::common::strlcpy(field, digest.c_str(), sizeof field);
    std::cout << "field   " << field << (length < sizeof field ? "" : " (cut)") << '\n';
}
