// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <vorn/common/StronglyTyped.h>
#include <vorn/common/export.h>

/// The common library of the services of a gateway.
namespace vorn::common {

/// A 128-bit identifier in the layout of RFC 4122, with its four texts.
///
///     const Uuid device = Uuid(Uuid::VORN_NAMESPACE, "pump 1");   // the same on every run
///     const Uuid request(0ULL);                                   // random
///     log << request << device.base64URL();
///     if (Uuid("933d6c80-dea9-8c6b-d111-8b3b46a181f1") == Uuid::VORN_NAMESPACE) ...
///
/// Immutable. All texts are made once, at construction (those of the constants and of `Uuid()` when
/// the first of them is read); after that reading one formats nothing, and copies share the values,
/// so that copying costs one reference count (none for the constants and for `Uuid()`). A move is a
/// copy: a moved-from identifier keeps its value.
///
/// Lifetime: references from bytes() and the texts live as long as any copy of the identifier. The
/// constants can be used at any time: in static initialisers of other files, and in destructors of
/// static objects after main.
/// Threads: any number may read, copy and destroy copies; assigning to one object needs a lock.
///
/// Deliberate: generated identifiers carry the variant bits 101, not 10 and a free bit, so
/// variant() of each of them is 5. The system has always marked its identifiers so.
class VORN_GW_COMMON_EXPORT Uuid {
  public:
    /// In the order of the text: byte 0 is its first pair of digits.
    using Bytes = std::array<unsigned char, 16>;

    static const Uuid& NIL;      ///< 16 zero bytes
    static const Uuid& UNKNOWN;  ///< 16 bytes of 0xFF
    /// The namespace of this system's name-based identifiers,
    /// "933d6c80-dea9-8c6b-d111-8b3b46a181f1".
    static const Uuid& VORN_NAMESPACE;

    /// NIL; allocates nothing.
    Uuid() noexcept;

    /// From bytes in the order of the text (byte 0 is its first pair of digits).
    explicit Uuid(const Bytes& bytes);
    /// Throws std::invalid_argument when there are not exactly 16 bytes.
    explicit Uuid(const std::vector<unsigned char>& bytes);

    /// Parses one of three forms, told apart by their length: 32 hex digits, 36 characters
    /// 8-4-4-4-12, or 22 characters of Base64 or Base64URL (not mixed), all digits in either case.
    /// Throws std::invalid_argument with the reason and the offending text or character (the first
    /// of several; hyphens are looked at before digits). A null pointer is read as an empty text.
    /// Deliberate: the low four bits of the last of 22 characters are ignored.
    /// @{
    explicit Uuid(const std::string& text);
    explicit Uuid(const char* text);
    /// @}

    /// A random identifier (version 4) from the platform's random source, of which the first
    /// `discard` values are thrown away. Throws what std::random_device throws.
    explicit Uuid(unsigned long long discard);

    /// A name-based identifier (version 5): SHA-1 over the bytes of `ns` and those of `name`. The
    /// same on every run and platform. A `Uuid` as a name stands for its canonical text; a null
    /// pointer for the empty name.
    /// @{
    Uuid(const Uuid& ns, const std::string& name);
    Uuid(const Uuid& ns, const char* name);
    Uuid(const Uuid& ns, const Uuid& name);
    /// @}

    /// The identifier of a device: name-based in VORN_NAMESPACE.
    /// Deliberate: the name is the three texts joined without a separator, so that ("a", "bc", "1")
    /// and ("ab", "c", "1") are the same device.
    Uuid(const StronglyTyped<std::string, VendorTag>& vendor,
         const StronglyTyped<std::string, ModelTag>& model,
         const StronglyTyped<std::string, SerialNumberTag>& serialNumber);

    /// A readable identifier made of words: `prefix`, '_' (unless the prefix is empty) and `name`,
    /// spaces replaced by '_', padded with '_' or cut to 22 characters, and parsed as Base64URL (or
    /// Base64, when every character is of that alphabet). Throws std::invalid_argument when a
    /// character is of neither.
    ///
    ///     Uuid::fromBase64String("", "ab cd").base64URL()   // "ab_cd________________w"
    ///
    /// Not guaranteed: that different words give different identifiers, when they are cut.
    [[nodiscard]] static Uuid fromBase64String(const std::string& prefix, const std::string& name);

    /// Shares bytes and texts.
    /// @{
    Uuid(const Uuid&) noexcept = default;
    Uuid& operator=(const Uuid&) noexcept = default;
    /// @}
    ~Uuid() = default;

    /// The only form that comparing and hashing look at.
    [[nodiscard]] const Bytes& bytes() const noexcept;
    /// 32 lower-case hex digits.
    [[nodiscard]] const std::string& to_hex() const;
    /// The canonical text, lower-case hex grouped 8-4-4-4-12.
    [[nodiscard]] const std::string& to_string() const;
    /// 22 characters of RFC 4648 Base64, without padding.
    [[nodiscard]] const std::string& base64() const;
    /// The same with '-' for '+' and '_' for '/'.
    [[nodiscard]] const std::string& base64URL() const;

    /// The high four bits of byte 6.
    [[nodiscard]] unsigned int version() const noexcept { return bytes()[6] >> 4U; }
    /// The high three bits of byte 8.
    [[nodiscard]] unsigned int variant() const noexcept { return bytes()[8] >> 5U; }
    /// Whether all 16 bytes are 0.
    [[nodiscard]] bool isNil() const noexcept { return *this == NIL; }
    /// Whether all 16 bytes are 0xFF.
    [[nodiscard]] bool isUnknown() const noexcept { return *this == UNKNOWN; }

    /// Compare the 16 bytes in order.
    /// @{
    friend bool operator==(const Uuid& left, const Uuid& right) noexcept {
        return left.bytes() == right.bytes();
    }
    friend std::strong_ordering operator<=>(const Uuid& left, const Uuid& right) noexcept {
        return left.bytes() <=> right.bytes();
    }
    /// @}

  private:
    struct VORN_GW_COMMON_HIDDEN Values;
    class VORN_GW_COMMON_HIDDEN Constant;
    union VORN_GW_COMMON_HIDDEN Immortal;

    VORN_GW_COMMON_HIDDEN static Constant nilConstant;
    VORN_GW_COMMON_HIDDEN static Constant unknownConstant;
    VORN_GW_COMMON_HIDDEN static Constant namespaceConstant;
    VORN_GW_COMMON_HIDDEN static const Immortal nilStorage;
    VORN_GW_COMMON_HIDDEN static const Immortal unknownStorage;
    VORN_GW_COMMON_HIDDEN static const Immortal namespaceStorage;

    constexpr explicit Uuid(Constant& constant) noexcept : constant_(&constant) {}
    [[nodiscard]] VORN_GW_COMMON_HIDDEN const Values& values() const;

    std::shared_ptr<const Values> values_;
    Constant* constant_ = nullptr;
};

/// Writes the canonical text.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& stream, const Uuid& uuid);

}  // namespace vorn::common

namespace std {
/// Hashes the 16 bytes.
/// Not guaranteed: the same value on another platform or in another release.
template <>
struct hash<vorn::common::Uuid> {
    /// Allocates and throws nothing.
    VORN_GW_COMMON_EXPORT std::size_t operator()(const vorn::common::Uuid& uuid) const noexcept;
};
}  // namespace std
