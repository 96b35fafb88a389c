// SPDX-License-Identifier: MIT
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vorn/common/Uuid.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::ModelTag;
using vorn::common::SerialNumberTag;
using vorn::common::StronglyTyped;
using vorn::common::Uuid;
using vorn::common::VendorTag;

Uuid device(const std::string& vendor, const std::string& model, const std::string& serial) {
    return Uuid(StronglyTyped<std::string, VendorTag>(vendor),
                StronglyTyped<std::string, ModelTag>(model),
                StronglyTyped<std::string, SerialNumberTag>(serial));
}

TEST(UuidNameBased, IsTheSameEverywhere) {
    struct Row {
        const Uuid& ns;
        std::string name;
        const char* expected;
    };
    const Row rows[] = {
        {Uuid::VORN_NAMESPACE, "", "44903058-da57-5387-bd86-d15beafe967f"},
        {Uuid::VORN_NAMESPACE, "x", "8c857e59-f071-5327-bc81-44ea4f22f3ae"},
        {Uuid::VORN_NAMESPACE, "pump 1", "7924b436-b968-567c-b423-53271c0ee2b1"},
        {Uuid::VORN_NAMESPACE, std::string("a\0b", 3), "e9259c34-834a-51ad-bf43-fc6651680d87"},
        {Uuid::VORN_NAMESPACE, "\xC3\xA9", "894c704b-741f-56e1-a75d-71652b593e51"},
        {Uuid::VORN_NAMESPACE, std::string(1000, 'a'), "ca172d6e-99b8-5066-a989-7ab5e99d0793"},
        {Uuid::NIL, "x", "f3e951bb-a80b-5e6c-a038-a56ee0caa25d"},
        {Uuid::UNKNOWN, "x", "1e938e31-9550-5528-b694-65ca0360066b"},
    };
    for (const Row& row : rows) {
        const Uuid uuid(row.ns, row.name);
        EXPECT_EQ(uuid.to_string(), row.expected) << row.name;
        EXPECT_EQ(uuid.version(), 5U);
        EXPECT_EQ(uuid.variant(), 5U);
    }
}

TEST(UuidNameBased, TakesNamesOfEveryKind) {
    const Uuid& ns = Uuid::VORN_NAMESPACE;
    EXPECT_EQ(Uuid(ns, "x"), Uuid(ns, std::string("x")));
    EXPECT_EQ(Uuid(ns, static_cast<const char*>(nullptr)), Uuid(ns, ""));
    EXPECT_EQ(Uuid(ns, Uuid("933D6C80DEA98C6BD1118B3B46A181F1")),
              Uuid(ns, "933d6c80-dea9-8c6b-d111-8b3b46a181f1"));
    EXPECT_EQ(Uuid(ns, Uuid::VORN_NAMESPACE).to_string(), "33e46fa6-d4c2-50cb-b5d3-7787f43838b5");
}

// Deliberate: the texts of a device are joined without a separator.
TEST(UuidDevice, IsNamedByItsJoinedTexts) {
    EXPECT_EQ(device("Acme", "Pump 3000", "0123").to_string(),
              "d687778e-477c-5b87-bf27-74acb63915a7");
    EXPECT_EQ(device("Acme", "Pump 3000", "0123"), Uuid(Uuid::VORN_NAMESPACE, "AcmePump 30000123"));
    EXPECT_EQ(device("a", "bc", "1"), device("ab", "c", "1"));
    EXPECT_EQ(device("", "", ""), Uuid(Uuid::VORN_NAMESPACE, ""));
}

// Deliberate: the variant bits are 101.
TEST(UuidRandom, IsMarkedAndDifferentEachTime) {
    std::set<Uuid> seen;
    Uuid::Bytes anyBit{};
    Uuid::Bytes everyBit = Uuid::UNKNOWN.bytes();
    for (unsigned i = 0; i < 200; ++i) {
        const Uuid uuid(static_cast<unsigned long long>(i % 3));
        EXPECT_EQ(uuid.version(), 4U);
        EXPECT_EQ(uuid.variant(), 5U);
        EXPECT_TRUE(seen.insert(uuid).second);
        for (std::size_t byte = 0; byte < 16; ++byte) {
            anyBit[byte] = static_cast<unsigned char>(anyBit[byte] | uuid.bytes()[byte]);
            everyBit[byte] = static_cast<unsigned char>(everyBit[byte] & uuid.bytes()[byte]);
        }
    }
    EXPECT_EQ(Uuid(anyBit).to_string(), "ffffffff-ffff-4fff-bfff-ffffffffffff");
    EXPECT_EQ(Uuid(everyBit).to_string(), "00000000-0000-4000-a000-000000000000");
}

TEST(UuidFromWords, MakesAReadableIdentifier) {
    struct Row {
        std::string prefix;
        std::string name;
        const char* base64Url;
    };
    for (const Row& row :
         {Row{"", "ab cd", "ab_cd________________w"}, Row{"", "", "_____________________w"},
          Row{"p", "", "p____________________w"}, Row{"gw", "main pump", "gw_main_pump_________w"},
          Row{"a b", "c d", "a_b_c_d______________w"},
          Row{"", "exactly-22-characters-", "exactly-22-characters-"},
          Row{"prefix", "of a long name that is cut", "prefix_of_a_long_namew"},
          Row{"", "AAAAAAAAAAAAAAAAAAAAA", "AAAAAAAAAAAAAAAAAAAAAw"},
          Row{"aaaaaaaaaaaaaaaaaaaaa", "\x01 cut off", "aaaaaaaaaaaaaaaaaaaaaw"},
          Row{"", "++++++++++++++++++++++", "---------------------w"}}) {
        EXPECT_EQ(Uuid::fromBase64String(row.prefix, row.name).base64URL(),
                  Uuid(row.base64Url).base64URL())
            << row.name;
        EXPECT_EQ(Uuid::fromBase64String(row.prefix, row.name).base64URL().substr(0, 21),
                  std::string(row.base64Url).substr(0, 21));
    }
    EXPECT_EQ(Uuid::fromBase64String("", "ab cd").base64URL(), "ab_cd________________w");
}

TEST(UuidFromWords, RefusesOtherCharactersWithTheWholeText) {
    EXPECT_THROW_TEXT(Uuid::fromBase64String("", "a.b"), std::invalid_argument,
                      "invalid base64 character in UUID a.b___________________");
    EXPECT_THROW_TEXT(Uuid::fromBase64String("x", "a+b"), std::invalid_argument,
                      "invalid base64 character in UUID x_a+b_________________");
    EXPECT_THROW_TEXT(Uuid::fromBase64String("x", "a\tb"), std::invalid_argument,
                      "invalid base64 character in UUID x_a\tb_________________");
}

}  // namespace
