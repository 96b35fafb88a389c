// SPDX-License-Identifier: MIT
// CRC and SHA-1 agree with their definitions however the bytes are cut into pieces. The first bytes
// are the lengths of the pieces.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <vorn/common/Crc16Computer.h>
#include <vorn/common/sha1.h>

#include "fuzz.h"
#include "identifiers/referenceChecksums.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    std::array<unsigned, 6> lengths{};
    for (unsigned& length : lengths) {
        length = input.byte();
    }
    const std::string message(input.rest());

    vorn::common::Crc16Computer crc;
    SHA1Context context;
    fuzz::same(static_cast<int>(shaSuccess), SHA1Reset(&context), "reset");
    fuzz::Input pieces(reinterpret_cast<const std::uint8_t*>(message.data()), message.size());
    for (std::size_t i = 0; !pieces.empty(); ++i) {
        // All that is left comes at once when the lengths are used up.
        const std::size_t length = i < lengths.size() ? lengths[i] / 4 : message.size();
        const fuzz::ExactCopy piece(pieces.text(length));
        fuzz::same(static_cast<int>(shaSuccess),
                   SHA1Input(&context, reinterpret_cast<const std::uint8_t*>(piece.view().data()),
                             static_cast<unsigned>(piece.view().size())),
                   "input");
        const unsigned way = i < lengths.size() ? lengths[i] % 4 : 0;
        if (way == 0) {
            crc.update(std::vector<unsigned char>(piece.view().begin(), piece.view().end()));
            continue;
        }
        for (const char character : piece.view()) {
            const auto byte = static_cast<unsigned char>(character);
            if (way == 1) {
                crc.update(byte);
            } else {
                // Only the low half counts.
                crc.update4bits(static_cast<unsigned char>(byte >> 4 | (way == 2 ? 0 : 0xA0)));
                crc.update4bits(byte);
            }
        }
    }
    fuzz::same(reference::crc16(message), crc.get(), "CRC");
    const auto expected = reference::sha1(message);
    std::array<std::uint8_t, 20> digest{};
    for (int i = 0; i < 2; ++i) {
        fuzz::same(static_cast<int>(shaSuccess), SHA1Result(&context, digest.data()), "result");
        fuzz::require(digest == expected, "digest");
    }
    fuzz::same(static_cast<int>(shaStateError), SHA1Input(&context, expected.data(), 1),
               "input behind the result");
    return 0;
}
