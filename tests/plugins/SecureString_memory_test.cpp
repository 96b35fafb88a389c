// SPDX-License-Identifier: MIT
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include <vorn/common/SecureString.h>

#include "TestCipher.h"
#include "helpers/environment.h"
#include "helpers/faults/allocation.h"

namespace {

using vorn::common::SecureString;

/// The alphabet of the enciphered texts here ("enc" and the shifted plain text), in a row that
/// nothing else contains.
constexpr char kMarker[] = "\x11\x12\x13\x14";
constexpr char kPlainMarker[] = "\x10\x11\x12\x13";
constexpr std::size_t kMarkerSize = 4;

std::atomic<bool> watching = false;
std::atomic<int> releasedWithText = 0;

bool holdsMarker(const void* block, std::size_t size) {
    return ::memmem(block, size, kMarker, kMarkerSize) != nullptr;
}

void look(const void* block, std::size_t size) {
    if (watching && holdsMarker(block, size)) {
        ++releasedWithText;
    }
}

/// The marker comes last: the first bytes of a buffer are the first ones to be overwritten.
std::string plainText(std::size_t length) {
    return std::string(length - kMarkerSize, 'a') + kPlainMarker;
}

/// A place for an object whose bytes can be looked at after its end.
struct Place {
    alignas(SecureString) unsigned char bytes[sizeof(SecureString)] = {};

    [[nodiscard]] SecureString* object() {
        return std::launder(static_cast<SecureString*>(static_cast<void*>(bytes)));
    }
    [[nodiscard]] bool holdsText() const {
        unsigned char copy[sizeof bytes];
        const volatile unsigned char* const actual = bytes;
        for (std::size_t index = 0; index < sizeof bytes; ++index) {
            copy[index] = actual[index];
        }
        return holdsMarker(copy, sizeof copy);
    }
};

/// Short enough for the string's own place, and too long for it.
constexpr std::size_t kLengths[] = {8, 100};

class SecureStringMemory : public testing::TestWithParam<std::size_t> {
  protected:
    SecureStringMemory() { releasedWithText = 0; }
    ~SecureStringMemory() override { watching = false; }

    void create(Place& place, const std::string& plain) {
        new (place.bytes) SecureString(TestCipher::make(log_, ""), "");
        place.object()->reset(plain);
    }

    /// How many blocks were released with an enciphered text in them while `action` ran.
    static int textsReleasedBy(const std::function<void()>& action) {
        watching = true;
        action();
        watching = false;
        return releasedWithText.exchange(0);
    }

    const faults::ReleaseWatch releases_{look};
    CipherLog log_;
    const std::string plain_ = plainText(GetParam());
};

TEST_P(SecureStringMemory, TheWatchWorks) {
    EXPECT_EQ(textsReleasedBy([&] { delete new std::string(kMarker + std::string(60, 'x')); }), 1);
    Place place;
    create(place, plain_);
    EXPECT_EQ(place.holdsText(), GetParam() < 16);
    place.object()->~SecureString();
}

TEST_P(SecureStringMemory, TheEndWipes) {
    Place place;
    create(place, plain_);
    EXPECT_EQ(textsReleasedBy([&] { place.object()->~SecureString(); }), 0);
    EXPECT_FALSE(place.holdsText());
}

TEST_P(SecureStringMemory, ResetWipesTheFormerTextAndItsTemporary) {
    for (const auto length : kLengths) {
        Place place;
        create(place, plain_);
        const std::string other(length, 'z');
        const auto again = plainText(length);
        EXPECT_EQ(textsReleasedBy([&] {
                      place.object()->reset(other);
                      EXPECT_FALSE(place.holdsText());
                      place.object()->reset(again);
                      place.object()->~SecureString();
                  }),
                  0);
        EXPECT_FALSE(place.holdsText());
    }
}

TEST_P(SecureStringMemory, AResetThatThrowsWipesToo) {
    Place place;
    create(place, plain_);
    log_.throwOnUse = true;
    EXPECT_EQ(textsReleasedBy([&] { EXPECT_THROW(place.object()->reset("x"), CipherError); }), 0);
    EXPECT_FALSE(place.holdsText());
    EXPECT_EQ(place.object()->cipheredString(), std::string(GetParam(), '\0'));
    place.object()->~SecureString();
}

TEST_P(SecureStringMemory, MovingWipesTheSource) {
    Place place;
    create(place, plain_);
    {
        SecureString target(std::move(*place.object()));
        EXPECT_FALSE(place.holdsText());
        EXPECT_EQ(target.decipheredString(), plain_);
        EXPECT_EQ(textsReleasedBy([&] { place.object()->~SecureString(); }), 0);
        EXPECT_EQ(target.decipheredString(), plain_);
    }
}

TEST_P(SecureStringMemory, MoveAssignmentWipesTheFormerText) {
    for (const auto length : kLengths) {
        Place source;
        Place target;
        create(source, std::string(length, 'z'));
        create(target, plain_);
        EXPECT_EQ(textsReleasedBy([&] {
                      *target.object() = std::move(*source.object());
                      EXPECT_FALSE(target.holdsText());
                      EXPECT_FALSE(source.holdsText());
                      target.object()->~SecureString();
                      source.object()->~SecureString();
                  }),
                  0);
    }
}

TEST_P(SecureStringMemory, MoveAssignmentWipesTheSource) {
    for (const auto length : kLengths) {
        Place source;
        Place target;
        create(source, plain_);
        create(target, std::string(length, 'z'));
        EXPECT_EQ(textsReleasedBy([&] {
                      *target.object() = std::move(*source.object());
                      EXPECT_FALSE(source.holdsText());
                      source.object()->~SecureString();
                  }),
                  0);
        EXPECT_EQ(target.object()->decipheredString(), plain_);
        EXPECT_EQ(textsReleasedBy([&] { target.object()->~SecureString(); }), 0);
        EXPECT_FALSE(target.holdsText());
    }
}

TEST_P(SecureStringMemory, CopyAssignmentWipesTheFormerText) {
    for (const auto length : kLengths) {
        Place target;
        create(target, plain_);
        const auto other =
            SecureString::fromPlainText(TestCipher::make(log_, ""), std::string(length, 'z'));
        EXPECT_EQ(textsReleasedBy([&] {
                      *target.object() = other;
                      EXPECT_FALSE(target.holdsText());
                      target.object()->~SecureString();
                  }),
                  0);
    }
}

TEST_P(SecureStringMemory, NothingIsLeftOfConstructionAndCopies) {
    EXPECT_EQ(textsReleasedBy([&] {
                  auto first = SecureString::fromPlainText(TestCipher::make(log_, ""), plain_);
                  SecureString second(first);
                  second = first;
                  SecureString third(TestCipher::make(log_, ""), first.cipheredString());
                  auto fourth = SecureString::fromCiphered(TestCipher::make(log_, ""),
                                                           third.cipheredString());
                  fourth = std::move(second);
                  std::swap(first, fourth);
              }),
              0);
}

/// Gives the same text for everything, without a temporary of its own.
class StoredCipher : public vorn::common::cipher::ICipher {
  public:
    explicit StoredCipher(const std::string& text) : text_(text) {}

    std::string encrypt(const std::string_view&) const override { return text_; }
    std::string decrypt(const std::string_view&) const override { return text_; }
    vorn::common::cipher::CipherProxy clone() const override { return make(text_); }

    static vorn::common::cipher::CipherProxy make(const std::string& text) {
        return vorn::common::cipher::CipherProxy(std::make_unique<StoredCipher>(text));
    }

  private:
    const std::string& text_;
};

/// Whether an enciphered text is left on a stack on which `action` has run.
bool leavesTextOnItsStack(const std::function<void()>& action) {
    constexpr std::size_t kSize = 256 * 1024;
    // The first call of a function makes the loader look it up, which saves the registers.
    action();
    const std::unique_ptr<void, decltype(&std::free)> stack(std::aligned_alloc(4096, kSize),
                                                            &std::free);
    std::memset(stack.get(), 0, kSize);
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstack(&attributes, stack.get(), kSize);
    pthread_t thread{};
    const int error = ::pthread_create(
        &thread, &attributes,
        [](void* todo) -> void* {
            // So far below the beginning that the end of the thread overwrites nothing of it.
            char above[64 * 1024];
            ::explicit_bzero(above, sizeof above);
            (*static_cast<const std::function<void()>*>(todo))();
            return nullptr;
        },
        const_cast<std::function<void()>*>(&action));
    ::pthread_attr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
    ::pthread_join(thread, nullptr);
    return holdsMarker(stack.get(), kSize);
}

TEST_P(SecureStringMemory, NothingIsLeftOfParameters) {
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer) {
        GTEST_SKIP() << "the sanitizer keeps variables elsewhere, or needs a larger stack";
    }
    const auto first = SecureString::fromPlainText(TestCipher::make(log_, ""), plain_);
    const std::string& text = first.cipheredString();
    EXPECT_EQ(leavesTextOnItsStack([&] { const std::string copy(text); }), GetParam() < 16);
    EXPECT_FALSE(
        leavesTextOnItsStack([&] { const SecureString secret(TestCipher::make(log_, ""), text); }));
    EXPECT_FALSE(leavesTextOnItsStack(
        [&] { const auto secret = SecureString::fromCiphered(TestCipher::make(log_, ""), text); }));
    // By itself, without the end of the object: what comes later would overwrite what it left.
    Place places[2];
    auto place = std::begin(places);
    EXPECT_FALSE(leavesTextOnItsStack([&] {
        new ((place++)->bytes)
            SecureString(SecureString::fromPlainText(StoredCipher::make(text), ""));
    }));
    for (Place& made : places) {
        made.object()->~SecureString();
    }
    EXPECT_FALSE(leavesTextOnItsStack([&] {
        auto secret = SecureString::fromPlainText(StoredCipher::make(text), "");
        secret.reset("");
        SecureString other(StoredCipher::make(text));
        other = secret;
        other = std::move(secret);
    }));
}

INSTANTIATE_TEST_SUITE_P(ShortAndLong, SecureStringMemory, testing::ValuesIn(kLengths));

}  // namespace
