// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/Crc16Computer.h>

namespace {

using vorn::common::Crc16Computer;

std::vector<unsigned char> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// The definition of the CRC, one bit at a time.
std::uint16_t bitwise(const std::vector<unsigned char>& bytes) {
    unsigned crc = 0xFFFF;
    for (const unsigned char byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool top = (crc >> 15 & 1U) != (byte >> bit & 1U);
            crc = (crc << 1 & 0xFFFFU) ^ (top ? 0x1021U : 0U);
        }
    }
    return static_cast<std::uint16_t>(crc);
}

TEST(Crc16Computer, KnownValues) {
    Crc16Computer crc;
    EXPECT_EQ(crc.get(), 0xFFFF);
    crc.update(bytesOf("123456789"));
    EXPECT_EQ(crc.get(), 0x29B1);
    crc.init();
    EXPECT_EQ(crc.get(), 0xFFFF);
    crc.update(bytesOf(""));
    EXPECT_EQ(crc.get(), 0xFFFF);
    crc.update(bytesOf("A"));
    EXPECT_EQ(crc.get(), 0xB915);
}

TEST(Crc16Computer, AgreesWithTheDefinition) {
    std::vector<unsigned char> bytes;
    Crc16Computer running;
    for (unsigned i = 0; i < 600; ++i) {
        bytes.push_back(static_cast<unsigned char>(i * 37 + i / 256));
        running.update(bytes.back());
        ASSERT_EQ(running.get(), bitwise(bytes)) << i;
    }
    Crc16Computer whole;
    whole.update(bytes);
    EXPECT_EQ(whole.get(), running.get());
}

TEST(Crc16Computer, VectorsOfEveryLengthAndAlignmentAgreeWithSingleBytes) {
    std::vector<unsigned char> all;
    for (unsigned i = 0; i < 300; ++i) {
        all.push_back(static_cast<unsigned char>(i * i + i / 3));
    }
    for (std::size_t first = 0; first < 9; ++first) {
        for (std::size_t last = first; last <= all.size(); ++last) {
            const std::vector<unsigned char> part(all.begin() + static_cast<std::ptrdiff_t>(first),
                                                  all.begin() + static_cast<std::ptrdiff_t>(last));
            Crc16Computer whole;
            Crc16Computer single;
            for (int message = 0; message < 2; ++message) {
                whole.update(part);
                for (const unsigned char byte : part) {
                    single.update(byte);
                }
                ASSERT_EQ(whole.get(), single.get()) << first << " to " << last;
            }
        }
    }
}

TEST(Crc16Computer, AByteOfAnyValueCountsAtEachPlaceOfAVector) {
    for (std::size_t place = 0; place < 16; ++place) {
        for (unsigned value = 0; value < 256; ++value) {
            std::vector<unsigned char> bytes(16, 0x5A);
            bytes[place] = static_cast<unsigned char>(value);
            Crc16Computer crc;
            crc.update(bytes);
            ASSERT_EQ(crc.get(), bitwise(bytes)) << place << ' ' << value;
        }
    }
}

TEST(Crc16Computer, ABytesHalvesGoHighFirst) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        Crc16Computer whole;
        Crc16Computer halves;
        whole.update(static_cast<unsigned char>(byte));
        halves.update4bits(static_cast<unsigned char>(byte >> 4));
        halves.update4bits(static_cast<unsigned char>(byte & 15));
        EXPECT_EQ(whole.get(), halves.get());
    }
}

TEST(Crc16Computer, IgnoresTheHighBitsOfANibble) {
    for (unsigned nibble = 0; nibble < 16; ++nibble) {
        Crc16Computer plain;
        Crc16Computer dirty;
        plain.update4bits(static_cast<unsigned char>(nibble));
        dirty.update4bits(static_cast<unsigned char>(nibble | 0xB0));
        EXPECT_EQ(plain.get(), dirty.get());
    }
}

}  // namespace
