// SPDX-License-Identifier: MIT
// Encoding, decoding and the check agree with the definitions, the check also with the pattern
// itself as the standard library matches it; a refused text leaves the target as it was.
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/encoding/Base64.h>

#include "fuzz.h"
#include "identifiers/encoding/referenceBase64.h"

using vorn::common::encoding::Base64;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool askThePattern = input.byte() % 16 == 0;
    const std::string text(input.rest());
    const fuzz::ExactCopy exact(text);
    const std::vector<unsigned char> bytes(text.begin(), text.end());

    fuzz::same(reference::encodedBase64(text, reference::kStandardAlphabet),
               Base64::encodeToString(exact.view()), "encoded");
    fuzz::same(reference::encodedBase64(text, reference::kUrlAlphabet),
               Base64::encodeUrlToString(bytes), "encoded for URLs");
    char reversed[65] = {};
    for (std::size_t i = 0; i < 64; ++i) {
        reversed[i] = reference::kStandardAlphabet[63 - i];
    }
    std::string out = "before";
    Base64::encodeTobase64(reinterpret_cast<const unsigned char*>(exact.view().data()),
                           static_cast<unsigned>(text.size()), reversed, out);
    fuzz::same(reference::encodedBase64(text, reversed), out,
               "encoded in an alphabet of one's own");

    const std::string decoded = reference::decodedBase64(text);
    fuzz::same(decoded, Base64::decodeToString(exact.view(), true), "decoded");
    const auto asBytes = Base64::decodeToByte(text);
    fuzz::same(decoded, std::string(asBytes.begin(), asBytes.end()), "decoded to bytes");

    const bool valid = reference::isBase64(text);
    fuzz::same(valid, Base64::checkBase64(text), "checked");
    // The pattern takes a stack frame for each character.
    if (askThePattern && text.size() <= 64) {
        static const std::regex pattern(
            "^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$");
        fuzz::same(text.size() % 4 == 0 && std::regex_match(text, pattern), valid, "pattern");
    }
    std::string target = "before";
    fuzz::same(valid ? "" : "invalid: Input in not a base 64 entry",
               fuzz::errorOf([&] { Base64::decodeFromBase64Any(text, target, false); }), "error");
    fuzz::same(valid ? decoded : "before", target, "target");
    return 0;
}
