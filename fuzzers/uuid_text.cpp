// SPDX-License-Identifier: MIT
// Texts of identifiers are read and refused as the step by step reader of the tests does it, every
// text that an identifier gives reads as itself, and names give the digest's first bytes.
#include <algorithm>
#include <string>
#include <vector>

#include <vorn/common/Uuid.h>

#include "fuzz.h"
#include "identifiers/referenceChecksums.h"
#include "identifiers/referenceUuid.h"

namespace {

using vorn::common::Uuid;

void sameUuid(const reference::UuidBytes& expected, const Uuid& found) {
    fuzz::require(expected == found.bytes(), "bytes");
    const reference::UuidTexts texts = reference::textsOfUuid(expected);
    fuzz::same(texts.hex, found.to_hex(), "hex digits");
    fuzz::same(texts.canonical, found.to_string(), "canonical text");
    fuzz::same(texts.base64, found.base64(), "Base64");
    fuzz::same(texts.base64Url, found.base64URL(), "Base64URL");
    for (const std::string& text : {texts.hex, texts.canonical, texts.base64, texts.base64Url}) {
        fuzz::require(Uuid(text) == found, "a text of its own");
    }
    fuzz::require(Uuid(std::vector<unsigned char>(expected.begin(), expected.end())) == found,
                  "a vector");
    fuzz::same(expected[6] / 16U, found.version(), "version");
    fuzz::same(expected[8] / 32U, found.variant(), "variant");
    const auto all = [&](unsigned char value) {
        return std::all_of(expected.begin(), expected.end(),
                           [value](unsigned char byte) { return byte == value; });
    };
    fuzz::same(all(0), found.isNil(), "nil");
    fuzz::same(all(255), found.isUnknown(), "unknown");
}

template <class Expected, class Found>
void compare(Expected makeExpected, Found makeFound) {
    reference::UuidBytes expected{};
    Uuid found;
    const std::string error = fuzz::errorOf([&] { expected = makeExpected(); });
    fuzz::same(error, fuzz::errorOf([&] { found = makeFound(); }), "error");
    sameUuid(expected, found);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned kind = input.byte() & 3U;
    const std::string text(input.rest());
    if (kind <= 1) {
        compare([&] { return reference::uuidOfText(text); }, [&] { return Uuid(text); });
        const std::string upToNul = text.c_str();
        compare([&] { return reference::uuidOfText(upToNul); }, [&] { return Uuid(text.c_str()); });
    } else if (kind == 2) {
        const std::size_t bar = std::min(text.find('|'), text.size());
        const std::string prefix = text.substr(0, bar);
        const std::string name = text.substr(std::min(bar + 1, text.size()));
        compare([&] { return reference::uuidOfWords(prefix, name); },
                [&] { return Uuid::fromBase64String(prefix, name); });
    } else {
        const Uuid ns = Uuid::VORN_NAMESPACE;
        const std::string message(ns.bytes().begin(), ns.bytes().end());
        const auto digest = reference::sha1(message + text);
        reference::UuidBytes expected{};
        std::copy_n(digest.begin(), expected.size(), expected.begin());
        expected[6] = static_cast<unsigned char>((expected[6] & 0x0F) | 0x50);
        expected[8] = static_cast<unsigned char>((expected[8] & 0x1F) | 0xA0);
        sameUuid(expected, Uuid(ns, text));
    }
    return 0;
}
