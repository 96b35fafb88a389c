// SPDX-License-Identifier: MIT
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/SecureString.h>

#include "TestCipher.h"
#include "helpers/expect_throw.h"

namespace {

using vorn::common::SecureString;

TEST(SecureString, StartsWithTheEncipheredEmptyText) {
    static_assert(!std::is_convertible_v<vorn::common::cipher::CipherProxy, SecureString>);
    CipherLog log;
    const SecureString empty(TestCipher::make(log));
    EXPECT_EQ(empty.cipheredString(), "enc:");
    EXPECT_EQ(empty.decipheredString(), "");
}

TEST(SecureString, IsMadeFromPlainOrEncipheredText) {
    CipherLog log;
    const std::string longText(100, 'a');
    for (const auto& plain : {std::string("secret"), longText, std::string()}) {
        const auto secret = SecureString::fromPlainText(TestCipher::make(log), plain);
        EXPECT_EQ(secret.decipheredString(), plain);
        const auto stored =
            SecureString::fromCiphered(TestCipher::make(log), secret.cipheredString());
        EXPECT_EQ(stored.cipheredString(), secret.cipheredString());
        EXPECT_EQ(stored.decipheredString(), plain);
        const SecureString constructed(TestCipher::make(log), secret.cipheredString());
        EXPECT_EQ(constructed.decipheredString(), plain);
    }
    EXPECT_EQ(log.alive, 0);
    const SecureString unchecked(TestCipher::make(log), "anything");
    EXPECT_EQ(unchecked.cipheredString(), "anything");
}

TEST(SecureString, ResetReplacesTheSecret) {
    CipherLog log;
    auto secret = SecureString::fromPlainText(TestCipher::make(log), "first");
    for (const auto& plain :
         {std::string("second"), std::string(50, 'b'), std::string(), std::string(20, 'c')}) {
        secret.reset(plain);
        EXPECT_EQ(secret.decipheredString(), plain);
    }
}

/// Deliberate: the former text is gone before the new one exists.
TEST(SecureString, AResetThatThrowsLeavesZeroBytes) {
    CipherLog log;
    for (const std::size_t length : {std::size_t{5}, std::size_t{100}}) {
        auto secret = SecureString::fromPlainText(TestCipher::make(log), std::string(length, 'a'));
        log.throwOnUse = true;
        EXPECT_THROW_TEXT(secret.reset("new"), CipherError, "the cipher does not work");
        log.throwOnUse = false;
        EXPECT_EQ(secret.cipheredString(), std::string(length + 4, '\0'));
        secret.reset("again");
        EXPECT_EQ(secret.decipheredString(), "again");
    }
}

/// Deliberate, as above.
TEST(SecureString, ResetWithItsOwnTextSeesZeroBytes) {
    CipherLog log;
    auto secret = SecureString::fromPlainText(TestCipher::make(log), "first");
    secret.reset(secret.cipheredString());
    EXPECT_EQ(secret.decipheredString(), std::string(9, '\0'));
}

TEST(SecureString, CopiesAreIndependent) {
    CipherLog log;
    auto secret = SecureString::fromPlainText(TestCipher::make(log), "first");
    SecureString copy(secret);
    EXPECT_EQ(log.clones, 1);
    secret.reset("second");
    EXPECT_EQ(copy.decipheredString(), "first");
    copy = secret;
    secret.reset("third");
    EXPECT_EQ(copy.decipheredString(), "second");
    EXPECT_EQ(log.alive, 2);
}

TEST(SecureString, AssigningItselfHasNoEffect) {
    CipherLog log;
    auto secret = SecureString::fromPlainText(TestCipher::make(log), "first");
    auto& same = secret;
    EXPECT_EQ(&(secret = same), &secret);
    secret = std::move(same);
    EXPECT_EQ(secret.decipheredString(), "first");
    EXPECT_EQ(log.clones, 0);
}

TEST(SecureString, AnAssignmentThatThrowsChangesNothing) {
    CipherLog source;
    CipherLog target;
    const auto other = SecureString::fromPlainText(TestCipher::make(source), "other");
    auto secret = SecureString::fromPlainText(TestCipher::make(target), "kept");
    source.throwOnClone = true;
    EXPECT_THROW(secret = other, CipherError);
    EXPECT_EQ(secret.decipheredString(), "kept");
}

TEST(SecureString, MovesWithoutCloning) {
    static_assert(std::is_nothrow_move_constructible_v<SecureString>);
    static_assert(std::is_nothrow_move_assignable_v<SecureString>);
    CipherLog log;
    for (const auto& plain : {std::string("short"), std::string(100, 'l')}) {
        auto source = SecureString::fromPlainText(TestCipher::make(log), plain);
        SecureString moved(std::move(source));
        EXPECT_EQ(moved.decipheredString(), plain);
        EXPECT_EQ(source.cipheredString(), "");
        source = std::move(moved);
        EXPECT_EQ(source.decipheredString(), plain);
        EXPECT_EQ(moved.cipheredString(), "");
        moved = source;
        EXPECT_EQ(moved.decipheredString(), plain);
    }
    EXPECT_EQ(log.clones, 2);
    EXPECT_EQ(log.alive, 0);
}

TEST(SecureString, ExceptionsOfTheCipherPassUnchanged) {
    CipherLog log;
    const auto secret = SecureString::fromPlainText(TestCipher::make(log), "x");
    log.throwOnUse = true;
    EXPECT_THROW_TEXT(secret.decipheredString(), CipherError, "the cipher does not work");
    EXPECT_THROW(SecureString(TestCipher::make(log)), CipherError);
    EXPECT_THROW(static_cast<void>(SecureString::fromPlainText(TestCipher::make(log), "x")),
                 CipherError);
    EXPECT_EQ(log.alive, 1);
}

}  // namespace
