// SPDX-License-Identifier: MIT

// A plug-in with one cipher, "secretbox": authenticated encryption with a secret key (XSalsa20 and
// Poly1305, libsodium's crypto_secretbox). Its argument "keyFile" names a file with the key, 64
// hexadecimal digits; in a plug-in file:
//
//     {"plugins": [{"path": "/usr/lib/gateway/secretbox.so", "args": {"keyFile": "/etc/key"}}]}
//
// An enciphered text is the Base64 form of a random nonce followed by the box, so equal texts look
// different each time, and a changed text or a wrong key is noticed.
#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

#include <sodium.h>

#include <vorn/common/IPlugin.h>

namespace {

using vorn::common::cipher::CipherProxy;
using vorn::common::cipher::ICipher;

constexpr int kBase64 = sodium_base64_VARIANT_ORIGINAL;

// Wiped when it is destroyed, as each of its copies is.
struct Key {
    std::array<unsigned char, crypto_secretbox_KEYBYTES> bytes{};
    Key() = default;
    Key(const Key&) = default;
    Key& operator=(const Key&) = default;
    ~Key() { sodium_memzero(bytes.data(), bytes.size()); }
};

std::string toBase64(const std::vector<unsigned char>& bytes) {
    std::string text(sodium_base64_encoded_len(bytes.size(), kBase64), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kBase64);
    text.pop_back();  // the NUL that libsodium writes behind it
    return text;
}

class SecretBox : public ICipher {
  public:
    explicit SecretBox(const Key& key) : key_(key) {}

    [[nodiscard]] std::string encrypt(const std::string_view& plain) const override {
        std::vector<unsigned char> box(kOverhead + plain.size());
        randombytes_buf(box.data(), crypto_secretbox_NONCEBYTES);
        crypto_secretbox_easy(box.data() + crypto_secretbox_NONCEBYTES,
                              reinterpret_cast<const unsigned char*>(plain.data()), plain.size(),
                              box.data(), key_.bytes.data());
        return toBase64(box);
    }

    [[nodiscard]] std::string decrypt(const std::string_view& ciphered) const override {
        std::vector<unsigned char> box(ciphered.size());
        std::size_t size = 0;
        if (sodium_base642bin(box.data(), box.size(), ciphered.data(), ciphered.size(), nullptr,
                              &size, nullptr, kBase64) != 0 ||
            size < kOverhead) {
            throw std::runtime_error("secretbox: this is no enciphered text");
        }
        std::string plain(size - kOverhead, '\0');
        if (crypto_secretbox_open_easy(reinterpret_cast<unsigned char*>(plain.data()),
                                       box.data() + crypto_secretbox_NONCEBYTES,
                                       size - crypto_secretbox_NONCEBYTES, box.data(),
                                       key_.bytes.data()) != 0) {
            throw std::runtime_error("secretbox: the key is wrong or the text was changed");
        }
        return plain;
    }

    [[nodiscard]] CipherProxy clone() const override {
        return CipherProxy(std::make_unique<SecretBox>(key_));
    }

  private:
    static constexpr std::size_t kOverhead =
        crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES;

    Key key_;
};

class SecretBoxPlugin : public vorn::common::IPlugin {
  public:
    explicit SecretBoxPlugin(const Key& key) : key_(key) {}

    std::optional<CipherProxy> getCipher(const std::string_view& cipherName) override {
        if (cipherName != "secretbox") {
            return std::nullopt;
        }
        return CipherProxy(std::make_unique<SecretBox>(key_));
    }

  private:
    Key key_;
};

// Arguments of a JSON plug-in file keep their quotes, those of a text file have lost them.
std::string unquoted(const std::string& text) {
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

Key readKey(const std::string& path) {
    std::ifstream file(path);
    std::string text(std::istreambuf_iterator<char>(file), {});
    Key key;
    std::size_t size = 0;
    const bool good = sodium_hex2bin(key.bytes.data(), key.bytes.size(), text.data(), text.size(),
                                     "\n", &size, nullptr) == 0 &&
                      size == key.bytes.size();
    sodium_memzero(text.data(), text.size());
    if (!good) {
        throw std::runtime_error("secretbox: \"" + path + "\" does not hold 64 hexadecimal digits");
    }
    return key;
}

}  // namespace

extern "C" vorn::common::IPlugin* loadLibrary(
    const std::unordered_map<std::string, std::string>& args, std::string& error) {
    const auto keyFile = args.find("keyFile");
    if (keyFile == args.end()) {
        error = "secretbox: the argument \"keyFile\" is missing";
        return nullptr;
    }
    if (sodium_init() < 0) {
        error = "secretbox: libsodium cannot be initialised";
        return nullptr;
    }
    try {
        return new SecretBoxPlugin(readKey(unquoted(keyFile->second)));
    } catch (const std::exception& failure) {
        error = failure.what();
        return nullptr;
    }
}
