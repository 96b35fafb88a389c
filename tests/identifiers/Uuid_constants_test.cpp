// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/Uuid.h>

#include "identifiers/Uuid_statics.h"

namespace {

using vorn::common::Uuid;

TEST(UuidConstants, CanBeUsedByOtherStaticInitialisers) {
    EXPECT_EQ(statics::textsBeforeMain(),
              "00000000000000000000000000000000 00000000-0000-0000-0000-000000000000 "
              "AAAAAAAAAAAAAAAAAAAAAA AAAAAAAAAAAAAAAAAAAAAA\n"
              "00000000000000000000000000000000 00000000-0000-0000-0000-000000000000 "
              "AAAAAAAAAAAAAAAAAAAAAA AAAAAAAAAAAAAAAAAAAAAA\n"
              "ffffffffffffffffffffffffffffffff ffffffff-ffff-ffff-ffff-ffffffffffff "
              "/////////////////////w _____________________w\n"
              "933d6c80dea98c6bd1118b3b46a181f1 933d6c80-dea9-8c6b-d111-8b3b46a181f1 "
              "kz1sgN6pjGvREYs7RqGB8Q kz1sgN6pjGvREYs7RqGB8Q\n" +
                  Uuid(Uuid::VORN_NAMESPACE, "x").to_string());
}

TEST(UuidConstantsDeathTest, CanBeUsedByDestructorsAfterMain) {
    EXPECT_EXIT(
        {
            statics::reportAtExit();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "the same at exit: 933d6c80-dea9-8c6b-d111-8b3b46a181f1");
}

TEST(UuidConstants, MakeTheirTextsOnceForAllThreads) {
    std::vector<const std::string*> texts(8);
    std::vector<std::thread> threads;
    for (auto& text : texts) {
        threads.emplace_back([&text] { text = &Uuid::UNKNOWN.base64URL(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto* text : texts) {
        EXPECT_EQ(text, &Uuid::UNKNOWN.base64URL());
    }
}

}  // namespace
