// SPDX-License-Identifier: MIT
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vorn/common/BinaryDeserializer.h>
#include <vorn/common/BinarySerializer.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::BinaryDeserializer;
using vorn::common::BinarySerializer;
using vorn::common::UnixTime;
using namespace std::string_literals;

const char* const kBufferEnd = "No data left in the buffer for deserialization";
const char* const kFileEnd = "No data left in the file for deserialization";

std::vector<char> vectorOf(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(BinaryDeserializer, ReadsBackWhatWasWritten) {
    std::vector<char> bytes;
    BinarySerializer(bytes) << true << "ab" << false << UnixTime::fromSeconds(1700000000.25, false)
                            << ""s << std::string("a\0b", 3) << std::string(65535, 'x')
                            << std::nullopt;
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    BinaryDeserializer fromVector(bytes);
    BinaryDeserializer fromStream(stream);
    for (BinaryDeserializer* reader : {&fromVector, &fromStream}) {
        bool first = false;
        bool second = true;
        bool third = true;
        UnixTime time;
        std::string texts[4] = {"former", "former", "former", "former"};
        EXPECT_EQ(&(*reader >> first), reader);
        *reader >> texts[0] >> second >> time >> texts[1] >> texts[2] >> texts[3] >> third;
        EXPECT_TRUE(first);
        EXPECT_FALSE(second || third);
        EXPECT_EQ(texts[0], "ab");
        EXPECT_EQ(time.seconds(), 1700000000.25);
        EXPECT_TRUE(time.highPrecision());
        EXPECT_EQ(texts[1], "");
        EXPECT_EQ(texts[2], "a\0b"s);
        EXPECT_EQ(texts[3], std::string(65535, 'x'));
    }
}

TEST(BinaryDeserializer, AnyByteButZeroIsTrue) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const std::vector<char> bytes(1, static_cast<char>(static_cast<unsigned char>(byte)));
        bool value = byte == 0;
        BinaryDeserializer(bytes) >> value;
        EXPECT_EQ(value, byte != 0);
    }
}

TEST(BinaryDeserializer, TimesKeepTheirSeconds) {
    for (const double seconds : {-7.5, 0.0, 1e300, std::numeric_limits<double>::infinity()}) {
        std::vector<char> bytes(8);
        std::memcpy(bytes.data(), &seconds, 8);
        auto time = UnixTime::fromSeconds(1, false);
        BinaryDeserializer(bytes) >> time;
        EXPECT_EQ(time.seconds(), seconds);
        EXPECT_TRUE(time.highPrecision());
    }
    const double nan = std::nan("");
    std::vector<char> bytes(8);
    std::memcpy(bytes.data(), &nan, 8);
    UnixTime time = UnixTime::INFINITE;
    BinaryDeserializer(bytes) >> time;
    EXPECT_TRUE(time.isUndefined());
}

TEST(BinaryDeserializer, ExhaustedSourcesLeaveNumbersAlone) {
    const std::vector<char> empty;
    const std::vector<char> seven(7);
    bool flag = true;
    UnixTime time = UnixTime::INFINITE;
    EXPECT_THROW_TEXT(BinaryDeserializer(empty) >> flag, std::runtime_error, kBufferEnd);
    EXPECT_THROW_TEXT(BinaryDeserializer(seven) >> time, std::runtime_error, kBufferEnd);
    std::istringstream noStream;
    std::istringstream shortStream(std::string(7, '\0'));
    EXPECT_THROW_TEXT(BinaryDeserializer(noStream) >> flag, std::runtime_error, kFileEnd);
    EXPECT_THROW_TEXT(BinaryDeserializer(shortStream) >> time, std::runtime_error, kFileEnd);
    EXPECT_TRUE(flag);
    EXPECT_EQ(time, UnixTime::INFINITE);
}

TEST(BinaryDeserializer, TextCutShortIsLeftZeroFilled) {
    const auto bytes = vectorOf("\x03\0ab"s);
    std::string text = "former content";
    EXPECT_THROW_TEXT(BinaryDeserializer(bytes) >> text, std::runtime_error, kBufferEnd);
    EXPECT_EQ(text, "\0\0\0"s);
    const auto half = vectorOf("\x03"s);
    text = "former content";
    EXPECT_THROW_TEXT(BinaryDeserializer(half) >> text, std::runtime_error, kBufferEnd);
    EXPECT_EQ(text, "former content");
}

TEST(BinaryDeserializer, FailedReadOfAVectorConsumesNothing) {
    const auto bytes = vectorOf("\x05\x01"s);
    BinaryDeserializer reader(bytes);
    UnixTime time;
    bool flag = false;
    EXPECT_THROW_TEXT(reader >> time, std::runtime_error, kBufferEnd);
    EXPECT_THROW_TEXT(reader >> time, std::runtime_error, kBufferEnd);
    EXPECT_NO_THROW(reader >> flag >> flag);
    EXPECT_THROW_TEXT(reader >> flag, std::runtime_error, kBufferEnd);
}

TEST(BinaryDeserializer, TheVectorMayChangeBetweenReads) {
    auto bytes = vectorOf("\x01\x01\x01"s);
    BinaryDeserializer reader(bytes);
    bool flag = false;
    reader >> flag >> flag;
    bytes.resize(1);
    EXPECT_THROW_TEXT(reader >> flag, std::runtime_error, kBufferEnd);
    bytes = vectorOf("\0\0\x01"s);
    flag = false;
    reader >> flag;
    EXPECT_TRUE(flag);
}

TEST(BinaryDeserializer, ReadsThroughAFunction) {
    unsigned asked = 0;
    BinaryDeserializer reader([&asked](char* data, unsigned size) {
        asked += size;
        if (asked > 10) {
            throw std::length_error("enough");
        }
        std::memset(data, 3, size);
    });
    bool flag = false;
    reader >> flag;
    EXPECT_TRUE(flag);
    std::string text;
    EXPECT_THROW_TEXT(reader >> text, std::length_error, "enough");
    EXPECT_EQ(text, std::string(0x0303, '\0'));
}

TEST(BinaryDeserializer, RefusesAnEmptyFunction) {
    EXPECT_THROW_TEXT(BinaryDeserializer(BinaryDeserializer::ReadFunction()), std::logic_error,
                      "Read function cannot be null");
}

TEST(BinaryDeserializer, CopiesGoOnIndependently) {
    const auto bytes = vectorOf("\x01\0\x01\0"s);
    auto original = std::make_unique<BinaryDeserializer>(bytes);
    bool flag = false;
    *original >> flag;
    EXPECT_TRUE(flag);
    BinaryDeserializer copy = *original;
    *original >> flag >> flag;
    EXPECT_TRUE(flag);
    BinaryDeserializer moved = std::move(*original);
    original.reset();
    copy >> flag;
    EXPECT_FALSE(flag);
    copy >> flag;
    EXPECT_TRUE(flag);
    moved >> flag;
    EXPECT_FALSE(flag);
}

}  // namespace
