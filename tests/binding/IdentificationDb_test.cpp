// SPDX-License-Identifier: MIT
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/DbWithIdentification.h>
#include <vorn/common/IdentificationDb.h>
#include <vorn/common/IdentificationStubDb.h>

namespace {

using conv::Identification;
using vorn::common::Db;
using vorn::common::DbWithIdentification;
using vorn::common::IdentificationDb;
using vorn::common::IdentificationStubDb;
using vorn::common::Uuid;

static_assert(std::is_base_of_v<Db, IdentificationDb>);
static_assert(!std::is_convertible_v<IdentificationDb*, Db*>);
static_assert(std::is_convertible_v<IdentificationStubDb*, IdentificationDb*>);
static_assert(std::is_abstract_v<IdentificationDb>);
static_assert(std::is_convertible_v<DbWithIdentification*, Db*>);

Identification sample() {
    return {"0", "vendor", "model", "serial", "tty1", "name", "interface", "1.0", "rack", "me"};
}

TEST(IdentificationStubDb, IsEmptyAtFirst) {
    const IdentificationStubDb db(Uuid::VORN_NAMESPACE);
    auto record = sample();
    db.load(record);
    EXPECT_EQ(record, Identification());
    EXPECT_EQ(db.uuid(), Uuid::VORN_NAMESPACE);
}

TEST(IdentificationStubDb, StoresUnderTheOwnersUuid) {
    IdentificationStubDb db(Uuid::VORN_NAMESPACE);
    for (const char* uuid : {"", "110e8400-e29b-41d4-a716-446655440000", "anything"}) {
        auto record = sample();
        record.uuid = uuid;
        db.store(record);
        EXPECT_EQ(record.uuid, uuid);

        Identification loaded;
        db.load(loaded);
        EXPECT_EQ(loaded.uuid, "933d6c80-dea9-8c6b-d111-8b3b46a181f1");
        loaded.uuid = uuid;
        EXPECT_EQ(loaded, record);
    }
}

TEST(IdentificationStubDb, StoresARecordThatItLoadedInto) {
    IdentificationStubDb db(Uuid::UNKNOWN);
    Identification record;
    record.name = "first";
    db.store(record);
    db.load(record);
    record.contact = "second";
    db.store(record);
    Identification loaded;
    db.load(loaded);
    EXPECT_EQ(loaded, record);
}

TEST(IdentificationStubDb, KeepsTheFlag) {
    IdentificationStubDb db(Uuid::NIL);
    EXPECT_EQ(db.flag(), 0u);
    for (const unsigned flag : {1u, 0xFFFFFFFFu, 0u}) {
        db.setFlag(flag);
        EXPECT_EQ(db.flag(), flag);
    }
}

TEST(IdentificationStubDb, HasTwoFixedUuids) {
    const IdentificationStubDb stub(Uuid::NIL);
    const IdentificationDb& db = stub;
    EXPECT_EQ(db.firstUuid().to_string(), "110e8400-e29b-41d4-a716-111111111111");
    EXPECT_EQ(db.secondUuid().to_string(), "110e8400-e29b-41d4-a716-222222222222");
}

TEST(DbWithIdentification, HasTheStoragesOwnerAndRecord) {
    IdentificationStubDb storage(Uuid::VORN_NAMESPACE);
    DbWithIdentification db(storage);
    EXPECT_EQ(db.uuid(), Uuid::VORN_NAMESPACE);
    EXPECT_EQ(db.identification(), Identification());

    db.setIdentification(sample());
    auto expected = sample();
    expected.uuid = "933d6c80-dea9-8c6b-d111-8b3b46a181f1";
    EXPECT_EQ(db.identification(), expected);
    Identification stored;
    storage.load(stored);
    EXPECT_EQ(stored, expected);
}

}  // namespace
