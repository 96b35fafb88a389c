// SPDX-License-Identifier: MIT
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/BinaryDeserializer.h>
#include <vorn/common/BinarySerializer.h>
#include <vorn/common/StronglyTyped.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/encoding/utf/BOM.h>

#include "ladders/Ladder.h"

namespace {

using namespace vorn::common;
using encoding::Base64;
using encoding::UrlEncode;
using ladders::giving;
using ladders::Row;
using ladders::Trial;

const std::string kText(100, '~');
const std::string kBase64 = Base64::encodeToString(kText);
const std::vector<unsigned char> kBytes(100, 7);

Uuid fromRecords() {
    return {StronglyTyped<std::string, VendorTag>("a vendor whose name needs memory"),
            StronglyTyped<std::string, ModelTag>("a model whose name needs memory"),
            StronglyTyped<std::string, SerialNumberTag>("a serial number that needs memory")};
}

/// Reading a Uuid's texts may make them.
std::string textsOf(const Uuid& uuid) {
    return uuid.to_string() + uuid.to_hex() + uuid.base64() + uuid.base64URL();
}

void writingBinary(Trial& trial) {
    std::vector<char> bytes;
    BinarySerializer writer(bytes);
    trial.operate([&] { writer << true << kText << std::string_view("view"); });
    std::vector<char> again;
    BinarySerializer next(again);
    next << true << kText << std::string_view("view");
    trial.require(trial.threw() || bytes == again, "other bytes");
}

void readingBinary(Trial& trial) {
    std::vector<char> bytes;
    BinarySerializer(bytes) << true << kText;
    BinaryDeserializer reader(bytes);
    bool flag = false;
    std::string text;
    trial.operate([&] { reader >> flag >> text; });
    trial.require(trial.threw() || (flag && text == kText), "another text");
    BinaryDeserializer(bytes) >> flag >> text;
    trial.require(text == kText, "the next use");
}

/// Through a stream and through a function, there and back.
std::string throughAStream() {
    std::stringstream stream;
    stream.exceptions(std::ios_base::badbit);
    BinarySerializer(stream) << true << kText << "a text";
    bool flag = false;
    std::string text;
    std::string view;
    BinaryDeserializer(stream) >> flag >> text >> view;
    return text + view;
}

std::string throughFunctions() {
    std::string bytes;
    BinarySerializer writer([&](const char* data, unsigned size) { bytes.append(data, size); });
    writer << kText << UnixTime(1, 0);
    std::size_t read = 0;
    BinaryDeserializer reader(
        [&](char* data, unsigned size) { read += bytes.copy(data, size, read); });
    std::string text;
    UnixTime time;
    reader >> text >> time;
    return text + std::to_string(time.seconds());
}

std::string encoded() {
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    Base64::encodeTobase64(kBytes, kAlphabet, out);
    return out;
}

std::string decoded() {
    std::string out;
    Base64::decodeFromBase64Any(kBase64, out);
    return out;
}

TEST(IdentifiersLadder, Allocations) {
    ladders::climbAllocations({
        giving("Uuid of bytes",
               [] {
                   return Uuid(Uuid::Bytes{1, 2, 3});
               }),
        giving("Uuid of a text", [] { return Uuid("11111111-2222-3333-4444-555555555555"); }),
        giving("Uuid of a name", [] { return Uuid(Uuid::VORN_NAMESPACE, kText); }),
        giving("Uuid of two", [] { return Uuid(Uuid::VORN_NAMESPACE, Uuid::UNKNOWN); }),
        giving("Uuid of vendor, model and serial number", fromRecords),
        giving("Uuid::fromBase64String", [] { return Uuid::fromBase64String("", "a name"); }),
        giving("Uuid: its texts", [] { return textsOf(Uuid(Uuid::Bytes{9})); }),
        giving("Uuid: the texts of the constants",
               [] { return textsOf(Uuid::NIL) + textsOf(Uuid::UNKNOWN); }),
        giving("Base64::encodeToString", [] { return Base64::encodeToString(kBytes); }),
        giving("Base64::encodeUrlToString", [] { return Base64::encodeUrlToString(kText); }),
        giving("Base64::decodeToByte", [] { return Base64::decodeToByte(kBase64); }),
        giving("Base64::decodeToString", [] { return Base64::decodeToString(kBase64); }),
        giving("Base64::checkBase64", [] { return Base64::checkBase64(kBase64); }),
        giving("UrlEncode::encode", [] { return UrlEncode::encode(kText); }),
        giving("UrlEncode::decode", [] { return UrlEncode::decode(kText + "%41"); }),
        giving("BOM::toString",
               [] { return encoding::utf::BOM::toString(encoding::utf::BOM::Encoding::utf16); }),
        giving("ostream << Uuid",
               [] {
                   std::ostringstream out;
                   out.exceptions(std::ios_base::badbit);
                   out << Uuid::NIL;
                   return out.str();
               }),
        giving("Uuid of random bytes", [] { return Uuid(3ULL).version(); }),
        giving("Uuid of a vector", [] { return Uuid(std::vector<unsigned char>(16, 7)); }),
        giving("Base64::encodeTobase64", encoded),
        giving("Base64::decodeFromBase64Any", decoded),
        giving("BinarySerializer and BinaryDeserializer on a stream", throughAStream),
        giving("BinarySerializer and BinaryDeserializer on functions", throughFunctions),
        {"BinarySerializer", writingBinary},
        {"BinaryDeserializer", readingBinary},
    });
}

/// Without a system call where the processor has random numbers.
TEST(IdentifiersLadder, Calls) {
    ladders::climbCalls({giving("Uuid of random bytes", [] {
                             return Uuid(3ULL).version();
                         }).mayThrow<std::runtime_error>("")});
}

}  // namespace
