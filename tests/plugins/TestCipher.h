// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <vorn/common/cipher/CipherProxy.h>

/// What the test ciphers of one test have done.
struct CipherLog {
    int alive = 0;
    int clones = 0;
    bool throwOnUse = false;
    bool throwOnClone = false;
};

/// An error type that no other code knows.
struct CipherError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Shifts every character by one, behind a prefix.
class TestCipher : public vorn::common::cipher::ICipher {
  public:
    explicit TestCipher(CipherLog& log, std::string prefix = "enc:")
        : log_(log), prefix_(std::move(prefix)) {
        ++log_.alive;
    }
    TestCipher(const TestCipher&) = delete;
    ~TestCipher() override { --log_.alive; }

    std::string encrypt(const std::string_view& plain) const override {
        throwIf(log_.throwOnUse);
        return prefix_ + shifted(plain, 1);
    }
    std::string decrypt(const std::string_view& ciphered) const override {
        throwIf(log_.throwOnUse);
        return shifted(ciphered.substr(prefix_.size()), -1);
    }
    vorn::common::cipher::CipherProxy clone() const override {
        throwIf(log_.throwOnClone);
        ++log_.clones;
        return make(log_, prefix_);
    }

    static vorn::common::cipher::CipherProxy make(CipherLog& log, std::string prefix = "enc:") {
        return vorn::common::cipher::CipherProxy(
            std::make_unique<TestCipher>(log, std::move(prefix)));
    }

  private:
    static void throwIf(bool condition) {
        if (condition) {
            throw CipherError("the cipher does not work");
        }
    }
    static std::string shifted(std::string_view text, int by) {
        std::string result(text);
        for (auto& character : result) {
            character = static_cast<char>(character + by);
        }
        return result;
    }

    CipherLog& log_;
    std::string prefix_;
};
