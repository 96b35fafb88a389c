// SPDX-License-Identifier: MIT
#include <bit>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vorn/common/BinarySerializer.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::BinarySerializer;
using vorn::common::UnixTime;
using namespace std::string_literals;

static_assert(std::endian::native == std::endian::little, "the expected bytes are little-endian");

template <class T>
concept Writable = requires(BinarySerializer writer, T value) {
    writer << value;
};
static_assert(Writable<bool> && Writable<const char*> && Writable<std::string_view>);
struct Name {
    operator std::string() const;
};
static_assert(Writable<Name>, "what converts to a text");
static_assert(!Writable<int> && !Writable<double> && !Writable<char> && !Writable<unsigned long>);

template <class Value>
std::string written(const Value& value) {
    std::vector<char> bytes;
    BinarySerializer writer(bytes);
    EXPECT_EQ(&(writer << value), &writer);
    return {bytes.begin(), bytes.end()};
}

TEST(BinarySerializer, WritesEachValueAsBytes) {
    EXPECT_EQ(written(true), "\x01");
    EXPECT_EQ(written(false), "\0"s);
    EXPECT_EQ(written(std::nullopt), "\0"s);
    EXPECT_EQ(written("ab"s), "\x02\0ab"s);
    EXPECT_EQ(written(std::string_view("a\0b", 3)), "\x03\0a\0b"s);
    EXPECT_EQ(written("abc"), "\x03\0abc"s);
    EXPECT_EQ(written(static_cast<const char*>(nullptr)), "\0\0"s);
    EXPECT_EQ(written(""s), "\0\0"s);
    EXPECT_EQ(written(std::string(300, 'x')), "\x2C\x01"s + std::string(300, 'x'));
    EXPECT_EQ(written(UnixTime::fromSeconds(1.5)), "\0\0\0\0\0\0\xF8\x3F"s);
    EXPECT_EQ(written(UnixTime::UNDEFINED), "\0\0\0\0\0\0\xF0\xBF"s);
}

TEST(BinarySerializer, ChainsValues) {
    std::vector<char> bytes = {'x'};
    BinarySerializer(bytes) << true << "ab" << false;
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "x\x01\x02\0ab\0"s);
}

// Deliberate: longer texts are cut to their length modulo 65536.
TEST(BinarySerializer, CutsTextsToTheLowSixteenBitsOfTheirLength) {
    EXPECT_EQ(written(std::string(65535, 'x')), "\xFF\xFF"s + std::string(65535, 'x'));
    EXPECT_EQ(written(std::string(65536, 'x')), "\0\0"s);
    EXPECT_EQ(written("ab"s + std::string(65536, 'x')), "\x02\0ab"s);
}

TEST(BinarySerializer, WritesToStreams) {
    std::ostringstream stream;
    BinarySerializer writer(stream);
    writer << "ab" << true;
    EXPECT_EQ(stream.str(), "\x02\0ab\x01"s);
}

TEST(BinarySerializer, WritesThroughAFunction) {
    std::string target;
    BinarySerializer writer([&target](const char* data, unsigned size) {
        if (size > 100) {
            throw std::length_error("full");
        }
        target.append(data, size);
    });
    writer << true << "ab";
    EXPECT_EQ(target, "\x01\x02\0ab"s);
    EXPECT_THROW_TEXT(writer << std::string(101, 'x'), std::length_error, "full");
}

TEST(BinarySerializer, RefusesAnEmptyFunction) {
    EXPECT_THROW_TEXT(BinarySerializer(BinarySerializer::WriteFunction()), std::logic_error,
                      "Write function cannot be null");
}

TEST(BinarySerializer, CopiesWriteToTheSamePlace) {
    std::vector<char> bytes;
    auto original = std::make_unique<BinarySerializer>(bytes);
    BinarySerializer copy = *original;
    *original << true;
    BinarySerializer moved = std::move(*original);
    original.reset();
    copy << false;
    moved << true;
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "\x01\0\x01"s);
}

}  // namespace
