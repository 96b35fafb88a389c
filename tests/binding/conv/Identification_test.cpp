// SPDX-License-Identifier: MIT
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/conv/Identification.h>

namespace {

using conv::Identification;

Identification sample() {
    return {"u", "ve", "m", "s", "p", "n", "i", "vs", "l", "c"};
}

TEST(Identification, IsEmptyByDefault) {
    EXPECT_EQ(Identification(), Identification("", "", "", "", "", "", "", "", "", ""));
}

TEST(Identification, TakesTheFieldsInOrder) {
    const auto record = sample();
    EXPECT_EQ(record.uuid, "u");
    EXPECT_EQ(record.vendor, "ve");
    EXPECT_EQ(record.model, "m");
    EXPECT_EQ(record.serial, "s");
    EXPECT_EQ(record.physicalName, "p");
    EXPECT_EQ(record.name, "n");
    EXPECT_EQ(record.interface, "i");
    EXPECT_EQ(record.version, "vs");
    EXPECT_EQ(record.location, "l");
    EXPECT_EQ(record.contact, "c");
}

TEST(Identification, EveryFieldCountsInComparisons) {
    static constexpr std::string Identification::*kFields[] = {
        &Identification::uuid,      &Identification::vendor,       &Identification::model,
        &Identification::serial,    &Identification::physicalName, &Identification::name,
        &Identification::interface, &Identification::version,      &Identification::location,
        &Identification::contact,
    };
    EXPECT_TRUE(sample() == sample());
    EXPECT_FALSE(sample() != sample());
    for (const auto field : kFields) {
        auto other = sample();
        other.*field += "x";
        EXPECT_FALSE(sample() == other);
        EXPECT_TRUE(sample() != other);
    }
}

TEST(Identification, PrintsEveryFieldAndNoLastLineEnd) {
    std::ostringstream out;
    out << sample();
    EXPECT_EQ(out.str(),
              "identification:\n"
              "\t\tuuid = u\n"
              "\t\tvendor = ve\n"
              "\t\tmodel = m\n"
              "\t\tserial = s\n"
              "\t\tphysicalName = p\n"
              "\t\tname = n\n"
              "\t\tinterface = i\n"
              "\t\tversion = vs\n"
              "\t\tlocation = l\n"
              "\t\tcontact = c");
}

TEST(Identification, IsReachableThroughTheLibrarysNamespace) {
    static_assert(std::is_same_v<vorn::common::conv::Identification, ::conv::Identification>);
    static_assert(std::is_nothrow_move_constructible_v<Identification>);
}

}  // namespace
