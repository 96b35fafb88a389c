// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/SecureString.h>
#include <vorn/common/cipher/helper.h>

#include "helpers/environment.h"
#include "ladders/Ladder.h"
#include "plugins/TestCipher.h"
#include "plugins/modules.h"

namespace {

using namespace vorn::common;
using ladders::Answer;
using ladders::Row;
using ladders::Trial;

const std::unordered_map<std::string, std::string> kArguments{
    {"a name that needs memory of its own", "a value that needs memory of its own"}};

void loading(Trial& trial) {
    const auto path = modules::path("good");
    trial.operate([&] { const DynamicLibrary library(path, kArguments); });
    trial.require(!modules::isLoaded(path), "is still loaded");
    const DynamicLibrary next(path, {});
    trial.require(next.object() != nullptr, "the next use");
}

void loadingAgain(Trial& trial) {
    const auto path = modules::path("good");
    DynamicLibrary library(path, {});
    trial.operate([&] { library.loadLibrary(path, kArguments); });
    library.unloadLibrary();
    trial.require(!modules::isLoaded(path), "is still loaded");
    library.loadLibrary(path, {});
    trial.require(library.object() != nullptr, "the next use");
}

void loadingShared(Trial& trial) {
    const auto path = modules::path("good");
    trial.operate([&] { static_cast<void>(loadDynamicLibrary(path, kArguments)); });
    trial.require(!modules::isLoaded(path), "is still loaded");
    trial.require(loadDynamicLibrary(path, {}) != nullptr, "the next use");
}

std::string configuration(const helpers::TempDir& dir, bool json) {
    const auto path = modules::path("good");
    return json
               ? dir.write("plugins.json", R"({"plugins":[{"path":")" + path +
                                               R"(","args":{"a":{"b":"a text of some length"}}}]})")
               : dir.write("plugins.txt", "\"" + path + "\" a \"a text of some length\"\n");
}

std::function<void(Trial&)> configuring(bool json) {
    return [json](Trial& trial) {
        const helpers::TempDir dir;
        const auto file = configuration(dir, json);
        std::size_t found = 0;
        trial.operate([&] { found = loadConfigFile(file).size(); });
        trial.require(trial.threw() || found == 1, "not all plug-ins");
        trial.require(loadConfigFile(file).size() == 1, "the next use");
    };
}

void loadingAll(Trial& trial) {
    const helpers::TempDir dir;
    const auto file = configuration(dir, true);
    trial.operate([&] { static_cast<void>(loadDynamicLibraries(file)); });
    trial.require(!modules::isLoaded(modules::path("good")), "is still loaded");
    trial.require(loadDynamicLibraries(file).size() == 1, "the next use");
}

void gettingACipher(Trial& trial) {
    const auto path = modules::path("good");
    std::optional<cipher::CipherProxy> cipher;
    const std::string plain = "a text that needs memory of its own";
    trial.operate([&] {
        cipher = cipher::getCipherFromLib(path, "reversing");
        static_cast<void>(cipher->encrypt(plain));
        static_cast<void>(cipher->clone());
    });
    cipher = cipher::getCipherFromLib(path, "reversing");
    trial.require(cipher && cipher->decrypt(cipher->encrypt(plain)) == plain, "the next use");
}

void securing(Trial& trial) {
    CipherLog log;
    const std::string plain = "a text that needs memory of its own";
    SecureString text(TestCipher::make(log));
    text.reset("before, which needs memory of its own, too");
    trial.operate([&] {
        text.reset(plain);
        const SecureString copy(text);
        static_cast<void>(copy.decipheredString());
    });
    text.reset(plain);
    trial.require(text.decipheredString() == plain, "the next use");
}

void copyingSecrets(Trial& trial) {
    CipherLog log;
    const std::string plain = "a text that needs memory of its own";
    auto stored = SecureString::fromPlainText(TestCipher::make(log), plain);
    const auto ciphered = stored.cipheredString();
    SecureString target(TestCipher::make(log));
    const auto before = target.cipheredString();
    trial.operate([&] {
        const auto made = SecureString::fromPlainText(TestCipher::make(log), plain);
        const auto taken = SecureString::fromCiphered(TestCipher::make(log), ciphered);
        target = taken;
    });
    trial.require(target.cipheredString() == (trial.threw() ? before : ciphered),
                  "neither as before nor a copy");
    target = stored;
    trial.require(target.decipheredString() == plain, "the next use");
}

void copyingCiphers(Trial& trial) {
    CipherLog log;
    const auto cipher = TestCipher::make(log, "a prefix that needs memory of its own");
    auto target = TestCipher::make(log);
    trial.operate([&] {
        const cipher::CipherProxy copy(cipher);
        target = copy;
    });
    target = cipher;
    trial.require(target.encrypt("a") == cipher.encrypt("a"), "the next use");
    trial.require(log.alive == 2, "a cipher is left");
}

/// What the entry point throws becomes the text of the error.
Row opening(const Row& row) {
    return row.mayThrow<std::invalid_argument>("Error loading ")
        .mayThrow<std::invalid_argument>("No function found with name \"loadLibrary\"")
        .mayThrow<std::invalid_argument>("std::bad_alloc");
}

std::vector<Row> rows() {
    return {
        opening({"DynamicLibrary", loading, Answer::Hides}),
        opening({"DynamicLibrary::loadLibrary", loadingAgain, Answer::Hides}),
        opening({"loadDynamicLibrary", loadingShared, Answer::Hides}),
        Row{"loadConfigFile of JSON", configuring(true)}.mayThrow<std::system_error>(""),
        Row{"loadConfigFile of text", configuring(false)}.mayThrow<std::system_error>(""),
        {"loadDynamicLibraries", loadingAll, Answer::Hides},
        opening({"getCipherFromLib", gettingACipher}),
    };
}

TEST(PluginsLadder, Allocations) {
    auto all = rows();
    all.push_back({"SecureString", securing});
    all.push_back({"SecureString: make and assign", copyingSecrets});
    all.push_back({"CipherProxy: copy", copyingCiphers});
    ladders::climbAllocations(all);
}

TEST(PluginsLadder, Calls) {
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer) {
        GTEST_SKIP() << "a sanitizer's runtime takes part in loading libraries";
    }
    ladders::climbCalls(rows());
}

}  // namespace
