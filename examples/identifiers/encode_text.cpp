// SPDX-License-Identifier: MIT

// Base64 of both kinds, URL encoding, byte-order marks, and splitting at unescaped commas.
#include <algorithm>
#include <iostream>
#include <stdexcept>

#include <vorn/common/encoding/Base64.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/encoding/utf/BOM.h>
#include <vorn/common/strings/strings.h>

using namespace vorn::common;
using encoding::Base64;
using encoding::UrlEncode;

int main() {
    const std::string bytes = "\xFB\xFF";
    std::cout << Base64::encodeToString(bytes) << " " << Base64::encodeUrlToString(bytes) << "\n";
    std::cout << (Base64::decodeToString("-_8", true) == bytes) << "\n";
    try {
        std::cout << Base64::decodeToString("-_8=");
    } catch (const std::invalid_argument& error) {
        std::cout << error.what() << "\n";
    }

    std::cout << UrlEncode::encode("name=main pump") << " " << UrlEncode::decode("a%20b") << "\n";

    const std::vector<char> content = {'\xEF', '\xBB', '\xBF', '{', '}'};
    if (const auto bom = encoding::utf::getBOM(content)) {
        std::cout << encoding::utf::BOM::toString(bom->encoding) << " from byte " << bom->length
                  << "\n";
    }

    const std::string line = R"(pump\, main, 3000 ,on)";
    std::size_t begin = 0;
    while (begin <= line.size()) {
        const std::size_t end = std::min(findEsc(line, ",", begin, '\\'), line.size());
        std::string field = line.substr(begin, end - begin);
        strings::trim(field);
        std::cout << "[" << field << "]";
        begin = end + 1;
    }
    std::cout << "\n";
}
