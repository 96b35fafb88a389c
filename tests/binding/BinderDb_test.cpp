// SPDX-License-Identifier: MIT
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/BinderDb.h>
#include <vorn/common/BinderStubDb.h>

#include "helpers/expect_throw.h"

namespace {

using vorn::common::BinderClient;
using vorn::common::BinderClientsList;
using vorn::common::BinderDb;
using vorn::common::BinderStubDb;
using vorn::common::Db;
using vorn::common::Uuid;

const std::string kNil = Uuid::NIL.base64URL();
const std::string kUnknown = Uuid::UNKNOWN.base64URL();

struct Texts {
    std::string uuids = "before";
    std::string interfaces = "before";
};

Texts written(const BinderClientsList& list) {
    Texts texts;
    BinderDb::serializeClientsList(list, texts.uuids, texts.interfaces);
    return texts;
}

BinderClientsList read(const std::string& uuids, const std::string& interfaces) {
    BinderClientsList list{{Uuid::VORN_NAMESPACE, "before"}};
    BinderDb::deserializeClientList(uuids, interfaces, list);
    return list;
}

TEST(Db, KnowsItsOwner) {
    EXPECT_EQ(Db(Uuid::VORN_NAMESPACE).uuid(), Uuid::VORN_NAMESPACE);
    EXPECT_EQ(BinderStubDb(Uuid::UNKNOWN).uuid(), Uuid::UNKNOWN);
    static_assert(std::has_virtual_destructor_v<Db>);
    static_assert(std::is_convertible_v<BinderDb*, Db*> && std::is_abstract_v<BinderDb>);
}

TEST(SerializeClientsList, WritesOneSeparatorBetweenTwoClients) {
    struct Row {
        BinderClientsList list;
        std::string uuids;
        std::string interfaces;
    };
    const Row rows[] = {
        {{}, "", ""},
        {{{Uuid::UNKNOWN, "power"}}, kUnknown, "power"},
        {{{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "b"}}, kUnknown + "|" + kNil, "a|b"},
        {{{Uuid::NIL, ""}, {Uuid::NIL, ""}, {Uuid::UNKNOWN, "c"}},
         kNil + "|" + kNil + "|" + kUnknown,
         "||c"},
        {{{Uuid::NIL, "a|b"}}, kNil, "a|b"},
    };
    for (const auto& row : rows) {
        const auto texts = written(row.list);
        EXPECT_EQ(texts.uuids, row.uuids);
        EXPECT_EQ(texts.interfaces, row.interfaces);
    }
    EXPECT_EQ(kUnknown, "_____________________w");
}

TEST(DeserializeClientList, OneClientComesBackExactly) {
    const BinderClientsList list{{Uuid::VORN_NAMESPACE, "power"}};
    const auto texts = written(list);
    EXPECT_EQ(read(texts.uuids, texts.interfaces), list);
}

TEST(DeserializeClientList, EveryPieceBeforeASeparatorLosesItsLastCharacter) {
    struct Row {
        std::string uuids;
        std::string interfaces;
        BinderClientsList list;
    };
    const Row rows[] = {
        {kUnknown + "x|" + kNil, "power2|b", {{Uuid::UNKNOWN, "power"}, {Uuid::NIL, "b"}}},
        {kUnknown + "x|" + kNil, "a|b", {{Uuid::UNKNOWN, ""}, {Uuid::NIL, "b"}}},
        {kUnknown + "x|" + kNil, "|b", {{Uuid::UNKNOWN, ""}, {Uuid::NIL, "b"}}},
        {kUnknown + "x|" + kNil + "y|" + kUnknown,
         "ab|cd|ef",
         {{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "c"}, {Uuid::UNKNOWN, "ef"}}},
        {Uuid::UNKNOWN.to_string() + "x|" + Uuid::NIL.to_hex(),
         "ab|cd",
         {{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "cd"}}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read(row.uuids, row.interfaces), row.list) << row.uuids << ' ' << row.interfaces;
    }
}

TEST(DeserializeClientList, TwoClientsAsWrittenDoNotParse) {
    const auto texts = written({{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "b"}});
    BinderClientsList list{{Uuid::VORN_NAMESPACE, "before"}};
    EXPECT_THROW_TEXT(BinderDb::deserializeClientList(texts.uuids, texts.interfaces, list),
                      std::invalid_argument, "invalid UUID size _____________________");
    EXPECT_TRUE(list.empty());
}

TEST(DeserializeClientList, AnEmptyUuidPieceIsLeftOut) {
    struct Row {
        std::string uuids;
        std::string interfaces;
        BinderClientsList list;
    };
    const Row rows[] = {
        {"", "", {}},
        {"", "power", {}},
        {"|" + kNil, "ab|b", {{Uuid::NIL, "b"}}},
        {"x|" + kNil, "ab|b", {{Uuid::NIL, "b"}}},
        {"||" + kNil, "||b", {{Uuid::NIL, "b"}}},
        {"|", "|", {}},
        {"|||", "|||", {}},
        {"x|y|", "a|b|", {}},
        {kNil + "x|", "power2|", {{Uuid::NIL, "power"}}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read(row.uuids, row.interfaces), row.list) << row.uuids << ' ' << row.interfaces;
    }
}

TEST(DeserializeClientList, ReadsAsFarAsTheShorterText) {
    struct Row {
        std::string uuids;
        std::string interfaces;
        BinderClientsList list;
    };
    const Row rows[] = {
        {kUnknown, "", {{Uuid::UNKNOWN, ""}}},
        {kUnknown, "ab|c", {{Uuid::UNKNOWN, "a"}}},
        {kUnknown, "|c", {{Uuid::UNKNOWN, ""}}},
        {kUnknown + "x|" + kNil, "ab", {{Uuid::UNKNOWN, "ab"}}},
        {kUnknown + "x|not a uuid", "ab", {{Uuid::UNKNOWN, "ab"}}},
        {kUnknown + "x|" + kNil + "x|not a uuid",
         "ab|cd",
         {{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "cd"}}},
        {kUnknown + "x|" + kNil, "ab|cd|ef", {{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "c"}}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read(row.uuids, row.interfaces), row.list) << row.uuids << ' ' << row.interfaces;
    }
}

TEST(DeserializeClientList, KeepsTheClientsBeforeABadUuid) {
    BinderClientsList list;
    EXPECT_THROW_TEXT(
        BinderDb::deserializeClientList(kUnknown + "x|bad!|" + kNil, "ab|cd|ef", list),
        std::invalid_argument, "invalid UUID size bad");
    EXPECT_EQ(list, (BinderClientsList{{Uuid::UNKNOWN, "a"}}));
}

TEST(DeserializeClientList, OnlyInvalidArgumentLeavesTheReader) {
    const std::string alphabet = "|A-";
    std::vector<std::string> texts{""};
    for (std::size_t begin = 0, length = 0; length < 4; ++length) {
        const std::size_t end = texts.size();
        for (; begin < end; ++begin) {
            for (const char letter : alphabet) {
                texts.push_back(texts[begin] + letter);
            }
        }
    }
    for (const auto& uuids : texts) {
        for (const auto& interfaces : texts) {
            try {
                read(uuids, interfaces);
            } catch (const std::invalid_argument&) {
            } catch (...) {
                FAIL() << uuids << ' ' << interfaces;
            }
        }
    }
}

TEST(BinderStubDb, IsEmptyAtFirst) {
    BinderStubDb db(Uuid::NIL);
    BinderClientsList list{{Uuid::UNKNOWN, "before"}};
    db.getClientsList(list);
    EXPECT_TRUE(list.empty());
}

TEST(BinderStubDb, KeepsTheLastListOfOneClient) {
    BinderStubDb db(Uuid::NIL);
    BinderClientsList list;
    for (const char* name : {"power", "light", ""}) {
        const BinderClientsList stored{{Uuid::VORN_NAMESPACE, name}};
        db.updateClientsList(stored);
        db.getClientsList(list);
        EXPECT_EQ(list, stored);
    }
    db.updateClientsList({});
    db.getClientsList(list);
    EXPECT_TRUE(list.empty());
}

TEST(BinderStubDb, ReadingSeveralClientsBackThrows) {
    BinderStubDb db(Uuid::NIL);
    db.updateClientsList({{Uuid::UNKNOWN, "a"}, {Uuid::NIL, "b"}});
    BinderClientsList list;
    EXPECT_THROW_TEXT(db.getClientsList(list), std::invalid_argument,
                      "invalid UUID size _____________________");
}

}  // namespace
