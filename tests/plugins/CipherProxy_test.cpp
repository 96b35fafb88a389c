// SPDX-License-Identifier: MIT
#include <optional>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/cipher/CipherProxy.h>

#include "TestCipher.h"
#include "helpers/expect_throw.h"

namespace {

using vorn::common::cipher::CipherProxy;
using vorn::common::cipher::ICipher;

TEST(CipherProxy, ForwardsToItsCipher) {
    static_assert(std::is_base_of_v<ICipher, CipherProxy>);
    static_assert(std::is_nothrow_move_constructible_v<CipherProxy>);
    static_assert(std::is_nothrow_move_assignable_v<CipherProxy>);
    static_assert(!std::is_convertible_v<std::unique_ptr<ICipher>, CipherProxy>);
    CipherLog log;
    const auto proxy = TestCipher::make(log);
    EXPECT_EQ(proxy.encrypt("abc"), "enc:bcd");
    EXPECT_EQ(proxy.encrypt(""), "enc:");
    EXPECT_EQ(proxy.decrypt("enc:bcd"), "abc");
    const ICipher& cipher = proxy;
    EXPECT_EQ(cipher.clone().encrypt("x"), "enc:y");
    EXPECT_EQ(log.clones, 1);
}

TEST(CipherProxy, OwnsItsCipher) {
    CipherLog log;
    {
        const auto proxy = TestCipher::make(log);
        EXPECT_EQ(log.alive, 1);
    }
    EXPECT_EQ(log.alive, 0);
}

TEST(CipherProxy, ACopyHoldsACloneAndOutlivesTheOriginal) {
    CipherLog log;
    std::optional<CipherProxy> original(TestCipher::make(log));
    const CipherProxy copy(*original);
    EXPECT_EQ(log.clones, 1);
    EXPECT_EQ(log.alive, 2);
    original.reset();
    EXPECT_EQ(log.alive, 1);
    EXPECT_EQ(copy.encrypt("a"), "enc:b");
}

TEST(CipherProxy, AssignmentInstallsACloneAndDeletesTheFormerCipher) {
    CipherLog source;
    CipherLog former;
    const auto other = TestCipher::make(source, "new:");
    auto proxy = TestCipher::make(former, "old:");
    EXPECT_EQ(&(proxy = other), &proxy);
    EXPECT_EQ(former.alive, 0);
    EXPECT_EQ(source.alive, 2);
    EXPECT_EQ(source.clones, 1);
    EXPECT_EQ(proxy.encrypt("a"), "new:b");
    EXPECT_EQ(other.encrypt("a"), "new:b");
}

TEST(CipherProxy, AThrowingCloneLeavesTheTargetUsable) {
    CipherLog source;
    CipherLog former;
    const auto other = TestCipher::make(source);
    auto proxy = TestCipher::make(former, "old:");
    source.throwOnClone = true;
    EXPECT_THROW_TEXT(proxy = other, CipherError, "the cipher does not work");
    EXPECT_THROW(CipherProxy copy(other), CipherError);
    EXPECT_EQ(proxy.encrypt("a"), "old:b");
    EXPECT_EQ(source.alive, 1);
}

TEST(CipherProxy, MovingLeavesTheSourceEmpty) {
    CipherLog log;
    auto source = TestCipher::make(log);
    CipherProxy moved(std::move(source));
    EXPECT_EQ(log.alive, 1);
    EXPECT_EQ(log.clones, 0);
    source = TestCipher::make(log, "other:");
    EXPECT_EQ(source.encrypt("a"), "other:b");
    moved = std::move(source);
    EXPECT_EQ(log.alive, 1);
    EXPECT_EQ(moved.encrypt("a"), "other:b");
}

TEST(CipherProxy, ExceptionsOfTheCipherPassUnchanged) {
    CipherLog log;
    const auto proxy = TestCipher::make(log);
    log.throwOnUse = true;
    EXPECT_THROW_TEXT(proxy.encrypt("a"), CipherError, "the cipher does not work");
    EXPECT_THROW_TEXT(proxy.decrypt("enc:b"), CipherError, "the cipher does not work");
}

TEST(CipherProxyDeathTest, AssigningItselfIsAProgrammingError) {
    CipherLog log;
    auto proxy = TestCipher::make(log);
    const auto& same = proxy;
    EXPECT_DEATH(proxy = same, "src/cipher/CipherProxy.*operator=.*this != &other");
}

TEST(CipherProxyDeathTest, AnEmptyProxyCannotBeUsed) {
    const CipherProxy empty(nullptr);
    EXPECT_DEATH(static_cast<void>(empty.encrypt("")),
                 "src/cipher/CipherProxy.*cipher_ != nullptr");
    EXPECT_DEATH(static_cast<void>(empty.decrypt("")),
                 "src/cipher/CipherProxy.*cipher_ != nullptr");
    EXPECT_DEATH(static_cast<void>(CipherProxy(empty)), "src/cipher/CipherProxy");
}

}  // namespace
