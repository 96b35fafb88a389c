#include "vorn/common/Crc16Computer.h"

namespace vorn::common {

namespace {

constexpr unsigned char kHigh[16] = {0x00, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70,
                                     0x81, 0x91, 0xA1, 0xB1, 0xC1, 0xD1, 0xE1, 0xF1};
constexpr unsigned char kLow[16] = {0x00, 0x21, 0x42, 0x63, 0x84, 0xA5, 0xC6, 0xE7,
                                    0x08, 0x29, 0x4A, 0x6B, 0x8C, 0xAD, 0xCE, 0xEF};

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
    Crc16Computer running = *this;
    for (const unsigned char byte : bytes) {
        running.update(byte);
    }
    *this = running;
}

std::uint16_t Crc16Computer::get() const noexcept {
    return static_cast<std::uint16_t>(high_ << 8U | low_);
}

}  // namespace vorn::common
