// SPDX-License-Identifier: MIT
#include "vorn/common/Uuid.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string_view>

#include <vorn/common/sha1.h>

#include "encoding/base64.h"
#include "encoding/hex.h"
#include "encoding/uuidBase64.h"
#include "internal/assert.h"

namespace vorn::common {

namespace {

constexpr std::size_t kHexLength = 32;
constexpr std::size_t kCanonicalLength = 36;

[[noreturn]] void refuse(std::string_view reason, std::string_view offender) {
    throw std::invalid_argument(std::string(reason).append(offender));
}

unsigned char hexPair(const char* digits) {
    const int high = internal::hexValue(digits[0]);
    const int low = internal::hexValue(digits[1]);
    // One question for both digits; which of them was wrong is asked when the answer is no.
    if ((high | low) < 0) {
        refuse("invalid hex character in UUID ", {high < 0 ? digits : digits + 1, 1});
    }
    const unsigned int byte = static_cast<unsigned int>(high * 16 + low);
    VORN_ASSERT(byte <= 255u);
    return static_cast<unsigned char>(byte);
}

/// Where the pairs of digits begin in a canonical text; in a plain one they follow each other.
constexpr std::array<unsigned char, 16> kCanonicalPairs = {0,  2,  4,  6,  9,  11, 14, 16,
                                                           19, 21, 24, 26, 28, 30, 32, 34};

template <class Place>
Uuid::Bytes parseHex(std::string_view text, Place placeOfPair) {
    Uuid::Bytes bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = hexPair(&text[placeOfPair(i)]);
    }
    return bytes;
}

Uuid::Bytes parseCanonical(std::string_view text) {
    if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        refuse("invalid hyphen position in UUID ", text);
    }
    return parseHex(text, [](std::size_t i) { return kCanonicalPairs[i]; });
}

Uuid::Bytes parseText(std::string_view text) {
    switch (text.size()) {
        case kHexLength:
            return parseHex(text, [](std::size_t i) { return 2 * i; });
        case kCanonicalLength:
            return parseCanonical(text);
        case internal::kUuidBase64Length:
            return internal::parseUuidBase64(text);
        default:
            refuse("invalid UUID size ", text);
    }
}

std::string_view textOrEmpty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

Uuid::Bytes bytesOf(const std::vector<unsigned char>& bytes) {
    Uuid::Bytes result;
    if (bytes.size() != result.size()) {
        throw std::invalid_argument("invalid vector size in UUID");
    }
    std::copy(bytes.begin(), bytes.end(), result.begin());
    return result;
}

void mark(Uuid::Bytes& bytes, unsigned int version) {
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | version << 4U);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x1FU) | 0xA0U);
}

Uuid::Bytes randomBytes(unsigned long long discard) {
    // Opened for each identifier: nothing is shared between threads or inherited over a fork.
    std::random_device source("default");
    for (; discard != 0; --discard) {
        source();
    }
    Uuid::Bytes bytes;
    for (auto& byte : bytes) {
        byte = static_cast<unsigned char>(source() & 0xFFU);
    }
    mark(bytes, 4);
    return bytes;
}

void feed(SHA1Context& context, const void* data, std::size_t size) {
    // The routine takes an unsigned length, which may be narrower than size_t.
    constexpr std::size_t kPiece = std::size_t{1} << 30U;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    while (size != 0) {
        const std::size_t piece = std::min(size, kPiece);
        SHA1Input(&context, bytes, static_cast<unsigned int>(piece));
        bytes += piece;
        size -= piece;
    }
}

Uuid::Bytes nameBytes(const Uuid& ns, std::string_view name) {
    SHA1Context context;
    SHA1Reset(&context);
    feed(context, ns.bytes().data(), ns.bytes().size());
    feed(context, name.data(), name.size());
    std::uint8_t digest[20];
    SHA1Result(&context, digest);

    Uuid::Bytes bytes;
    std::copy_n(digest, bytes.size(), bytes.begin());
    mark(bytes, 5);
    return bytes;
}

/// The two digits of each byte.
constexpr std::array<std::array<char, 2>, 256> kHexPairs = [] {
    constexpr char kDigits[] = "0123456789abcdef";
    std::array<std::array<char, 2>, 256> pairs{};
    for (std::size_t byte = 0; byte < pairs.size(); ++byte) {
        pairs[byte] = {kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
    }
    return pairs;
}();

// The texts are laid out on the stack: a string that is made of them is written once.

std::string hexText(const Uuid::Bytes& bytes) {
    char text[kHexLength];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::memcpy(text + 2 * i, kHexPairs[bytes[i]].data(), 2);
    }
    return std::string(text, sizeof text);
}

std::string canonicalText(const std::string& hex) {
    char text[kCanonicalLength];
    for (std::size_t i = 0; i < kCanonicalPairs.size(); ++i) {
        std::memcpy(text + kCanonicalPairs[i], hex.data() + 2 * i, 2);
    }
    text[8] = text[13] = text[18] = text[23] = '-';
    return std::string(text, sizeof text);
}

std::string urlText(const std::string& base64) {
    char text[internal::kUuidBase64Length];
    std::transform(base64.begin(), base64.end(), text, [](char character) {
        const char replaced = character == '/' ? '_' : character;
        return character == '+' ? '-' : replaced;
    });
    return std::string(text, sizeof text);
}

constexpr Uuid::Bytes repeated(unsigned char byte) {
    Uuid::Bytes bytes{};
    bytes.fill(byte);
    return bytes;
}

}  // namespace

/// Everything that the copies of an identifier share.
struct Uuid::Values {
    explicit Values(const Bytes& value)
        : bytes(value),
          hex(hexText(bytes)),
          canonical(canonicalText(hex)),
          base64(internal::uuidBase64(bytes)),
          base64Url(urlText(base64)) {}

    Bytes bytes;
    std::string hex;
    std::string canonical;
    std::string base64;
    std::string base64Url;
};

/// The bytes are there before any code runs. The texts are made on first use and kept until the
/// process ends, because destructors of static objects may still ask for them.
class Uuid::Constant {
  public:
    constexpr explicit Constant(const Bytes& bytes) noexcept : bytes_(bytes) {}

    [[nodiscard]] const Bytes& bytes() const noexcept { return bytes_; }

    [[nodiscard]] const Values& values() {
        if (const Values* made = values_.load(std::memory_order_acquire)) {
            return *made;
        }
        // Threads that come together each make them; the first one's stay, so references do too.
        auto mine = std::make_unique<const Values>(bytes_);
        const Values* winner = nullptr;
        if (values_.compare_exchange_strong(winner, mine.get(), std::memory_order_acq_rel)) {
            return *mine.release();
        }
        return *winner;
    }

  private:
    Bytes bytes_;
    std::atomic<const Values*> values_{nullptr};
};

// With a constant destructor nothing is left to do before main or after it, not even to register
// that destructor. Clang does not take a constexpr one here and drops an empty one by itself.
#ifdef __clang__
#define VORN_CONSTANT_DESTRUCTOR
#define VORN_CONSTANT constinit const
#else
#define VORN_CONSTANT_DESTRUCTOR constexpr
#define VORN_CONSTANT constexpr
#endif

/// Never destroys its identifier.
union Uuid::Immortal {
    constexpr explicit Immortal(Constant& constant) noexcept : uuid(constant) {}
    VORN_CONSTANT_DESTRUCTOR ~Immortal() {}

    char none;  ///< a constant needs a member that could be one by itself
    Uuid uuid;
};

constinit Uuid::Constant Uuid::nilConstant{repeated(0x00)};
constinit Uuid::Constant Uuid::unknownConstant{repeated(0xFF)};
constinit Uuid::Constant Uuid::namespaceConstant{Bytes{0x93, 0x3D, 0x6C, 0x80, 0xDE, 0xA9, 0x8C,
                                                       0x6B, 0xD1, 0x11, 0x8B, 0x3B, 0x46, 0xA1,
                                                       0x81, 0xF1}};
VORN_CONSTANT Uuid::Immortal Uuid::nilStorage{nilConstant};
VORN_CONSTANT Uuid::Immortal Uuid::unknownStorage{unknownConstant};
VORN_CONSTANT Uuid::Immortal Uuid::namespaceStorage{namespaceConstant};
constinit const Uuid& Uuid::NIL = nilStorage.uuid;
constinit const Uuid& Uuid::UNKNOWN = unknownStorage.uuid;
constinit const Uuid& Uuid::VORN_NAMESPACE = namespaceStorage.uuid;

// No reference count: identifiers are default-constructed by the thousand in arrays and maps.
Uuid::Uuid() noexcept : Uuid(nilConstant) {}

Uuid::Uuid(const Bytes& bytes) : values_(std::make_shared<const Values>(bytes)) {}

Uuid::Uuid(const std::vector<unsigned char>& bytes) : Uuid(bytesOf(bytes)) {}

Uuid::Uuid(const std::string& text) : Uuid(parseText(text)) {}

Uuid::Uuid(const char* text) : Uuid(parseText(textOrEmpty(text))) {}

Uuid::Uuid(unsigned long long discard) : Uuid(randomBytes(discard)) {}

Uuid::Uuid(const Uuid& ns, const std::string& name) : Uuid(nameBytes(ns, name)) {}

Uuid::Uuid(const Uuid& ns, const char* name) : Uuid(nameBytes(ns, textOrEmpty(name))) {}

Uuid::Uuid(const Uuid& ns, const Uuid& name) : Uuid(nameBytes(ns, name.to_string())) {}

Uuid::Uuid(const StronglyTyped<std::string, VendorTag>& vendor,
           const StronglyTyped<std::string, ModelTag>& model,
           const StronglyTyped<std::string, SerialNumberTag>& serialNumber)
    : Uuid(VORN_NAMESPACE, vendor.get() + model.get() + serialNumber.get()) {}

Uuid Uuid::fromBase64String(const std::string& prefix, const std::string& name) {
    std::string text = prefix;
    if (!prefix.empty()) {
        text += '_';
    }
    text += name;
    std::replace(text.begin(), text.end(), ' ', '_');
    text.resize(internal::kUuidBase64Length, '_');  // pads and cuts
    return Uuid(text);
}

const Uuid::Values& Uuid::values() const {
    return values_ ? *values_ : constant_->values();
}

const Uuid::Bytes& Uuid::bytes() const noexcept {
    return values_ ? values_->bytes : constant_->bytes();
}

const std::string& Uuid::to_hex() const {
    return values().hex;
}

const std::string& Uuid::to_string() const {
    return values().canonical;
}

const std::string& Uuid::base64() const {
    return values().base64;
}

const std::string& Uuid::base64URL() const {
    return values().base64Url;
}

std::ostream& operator<<(std::ostream& stream, const Uuid& uuid) {
    return stream << uuid.to_string();
}

}  // namespace vorn::common

std::size_t std::hash<vorn::common::Uuid>::operator()(
    const vorn::common::Uuid& uuid) const noexcept {
    const auto& bytes = uuid.bytes();
    return std::hash<std::string_view>()(
        {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}
