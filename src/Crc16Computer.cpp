// SPDX-License-Identifier: MIT
#include "vorn/common/Crc16Computer.h"

#include <array>
#include <cstddef>

namespace vorn::common {

namespace {

constexpr unsigned char kHigh[16] = {0x00, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70,
                                     0x81, 0x91, 0xA1, 0xB1, 0xC1, 0xD1, 0xE1, 0xF1};
constexpr unsigned char kLow[16] = {0x00, 0x21, 0x42, 0x63, 0x84, 0xA5, 0xC6, 0xE7,
                                    0x08, 0x29, 0x4A, 0x6B, 0x8C, 0xAD, 0xCE, 0xEF};

// Slices of eight bytes: eight tables of 512 bytes are what a small first-level cache can spare.
constexpr std::size_t kSlice = 8;
using Table = std::array<std::uint16_t, 256>;

/// Entry [n][b]: what byte b contributes when n bytes follow it.
constexpr std::array<Table, kSlice> kContributions = [] {
    std::array<Table, kSlice> tables{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        unsigned int crc = byte << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc << 1U ^ ((crc & 0x8000U) != 0 ? 0x1021U : 0U)) & 0xFFFFU;
        }
        tables[0][byte] = static_cast<std::uint16_t>(crc);
    }
    for (std::size_t following = 1; following < kSlice; ++following) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const unsigned int before = tables[following - 1][byte];
            tables[following][byte] =
                static_cast<std::uint16_t>(before << 8U ^ tables[0][before >> 8U]);
        }
    }
    return tables;
}();

/// Relies on the CRC being linear: that of eight bytes is the sum of what each contributes by
/// itself, the former CRC being added to the first two. Only those two wait for the slice before.
unsigned int addSlice(unsigned int crc, const unsigned char* bytes) noexcept {
    const auto& table = kContributions;
    return table[7][bytes[0] ^ crc >> 8U] ^ table[6][bytes[1] ^ (crc & 0xFFU)] ^
           table[5][bytes[2]] ^ table[4][bytes[3]] ^ table[3][bytes[4]] ^ table[2][bytes[5]] ^
           table[1][bytes[6]] ^ table[0][bytes[7]];
}

}  // namespace

void Crc16Computer::init() noexcept {
    high_ = 0xFF;
    low_ = 0xFF;
}

void Crc16Computer::update4bits(unsigned char nibble) noexcept {
    const unsigned int i = (nibble ^ high_ >> 4U) & 0x0FU;
    high_ = static_cast<unsigned char>((high_ << 4U | low_ >> 4U) ^ kHigh[i]);
    low_ = static_cast<unsigned char>(low_ << 4U ^ kLow[i]);
}

void Crc16Computer::update(unsigned char byte) noexcept {
    update4bits(byte >> 4U);
    update4bits(byte & 0x0FU);
}

void Crc16Computer::update(const std::vector<unsigned char>& bytes) noexcept {
    unsigned int crc = get();
    const unsigned char* next = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= kSlice; left -= kSlice, next += kSlice) {
        crc = addSlice(crc, next);
    }
    for (; left != 0; --left, ++next) {
        crc = (crc << 8U & 0xFFFFU) ^ kContributions[0][crc >> 8U ^ *next];
    }
    high_ = static_cast<unsigned char>(crc >> 8U);
    low_ = static_cast<unsigned char>(crc & 0xFFU);
}

std::uint16_t Crc16Computer::get() const noexcept {
    return static_cast<std::uint16_t>(high_ << 8U | low_);
}

}  // namespace vorn::common
