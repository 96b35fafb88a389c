// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>
#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/UnixTime.h>

/// Reading and writing JSON.
namespace vorn::common::lwjson {

/// One node of a parsed JSON text; the document is its root node.
///
///     const Deserializer root(R"({"limits":[10,20],"name":"door"})");
///     const auto second = root["limits"][1].as<int>();      // 20
///     for (const Deserializer& limit : root["limits"].members()) { ... }
///
/// The text is parsed once, by the constructor or by `importJson`. Nothing is copied or unescaped:
/// names and values are spans of the source text. Strict about structure (brackets, quotes, keys,
/// colons, commas, at most `kMaxNestingDepth` levels), lax about scalars: `hello` and `1.2.3` are
/// values, and only extraction asks what they mean.
///
/// Lifetime: a reader made from a `std::string&&` owns its text and shares it with its copies. One
/// made from a view or a `const char*` borrows it: the caller keeps the characters alive and
/// unchanged. The text must be followed by a NUL (a string literal, a `std::string`), because
/// number conversions read on to it; parsing itself does not.
/// Deliberate: member nodes and their copies own nothing; they need the root or a copy of it.
///
/// Memory: a node takes 104 bytes on 64 bits (52 on 32 bits), so a text of short numbers such as
/// "[1,2,3]" takes about 52 (26) times its length. Each container with members is one allocation of
/// exactly its size; a list that later imports append to grows by doubling. Reading takes up to
/// three tenths more memory than its result while it lasts.
///
/// Threads: const operations may run at the same time; copies may be used by different threads.
///
/// Throws `std::runtime_error` on malformed text, with one of:
///   "Maximum nested objects limit reached", "Missing end token", "Invalid token in object",
///   "Invalid token when looking for key", "Empty key", "Missing ':' token after key",
///   "Empty value ("<up to 32 characters>")", "Invalid value ("<up to 32 characters>")" (a token
///   that goes on after "null"), "Unexpected character '<c>' found after value '<value>'";
/// `std::invalid_argument` "The string is missing the terminator <quote> (<code>)"; and
/// `std::length_error` for a text of 4 GiB and more.
/// Deliberate: behind the root value any of ",[]{}:" ends the reading ("{} }" and "1, 2" pass).
/// Deliberate: raw control characters inside strings and keys are accepted, apart from NUL.
class VORN_GW_COMMON_EXPORT Deserializer {
  public:
    /// A span of characters that somebody else owns; not NUL-terminated.
    struct String {
        const char* data = nullptr;  ///< null in a default-constructed span
        unsigned size = 0;           ///< in bytes

        constexpr String() = default;
        /// Keeps the pointers; a length is cut to 32 bits.
        /// @{
        template <std::integral Size>
        constexpr String(const char* text, Size length) noexcept
            : data(text), size(static_cast<unsigned>(length)) {}
        constexpr String(const char* begin, const char* end) noexcept
            : data(begin), size(static_cast<unsigned>(end - begin)) {}
        /// @}

        /// As a new span; the former characters are not touched.
        /// @{
        template <std::integral Size>
        constexpr void assign(const char* text, Size length) noexcept {
            *this = String(text, length);
        }
        constexpr void assign(const char* begin, const char* end) noexcept {
            *this = String(begin, end);
        }
        /// @}

        /// Lives as long as the characters, not as the span.
        [[nodiscard]] constexpr std::string_view view() const noexcept { return {data, size}; }
        /// Compares the characters, not where they are.
        [[nodiscard]] bool operator==(const String& other) const noexcept {
            return size == other.size &&
                   (data == other.data || size == 0 || std::memcmp(data, other.data, size) == 0);
        }
        /// `text` is NUL-terminated and not null.
        [[nodiscard]] bool operator==(const char* text) const noexcept { return view() == text; }
    };

    /// Flags, to be combined with `|`; other bits (1 among them) have no effect.
    enum Options : unsigned {
        None = 0,  ///< neither of the two below
        /// `{'key':1}` is read too. String values still need double quotes.
        AllowSingleQuotedKeys = 2,
        /// A value missing at the end of the text or before a ',' gives an `Undefined` node.
        /// Deliberate: one missing before a closing bracket or brace stays an error ("[1,]").
        AllowEmptyValues = 4,
    };

    /// What kind of node this is, as the text's structure tells.
    enum class MemberType : std::uint8_t {
        Undefined = 0,  ///< not parsed yet, or an allowed empty value
        Value = 1,      ///< any scalar: string, number, boolean, null or another bare token
        Object = 2,     ///< members with names
        Array = 3,      ///< members without names
    };

    /// What getValueType() sees in the text of a value.
    enum class ValueType : std::uint32_t {
        None = 0,     ///< none of those below: no value, null, another bare token
        String = 1,   ///< it begins with a quote
        Boolean = 2,  ///< it begins with "true" or "false"
        Integer = 3,  ///< `strtol` reads it completely
        Float = 4     ///< `strtof` does, and `strtol` does not
    };

    class CompareContext;

    /// Levels of objects and arrays that a text may nest. A budget (`depth`) above it that is given
    /// to the constructor of a member, `parseJson` or `extractMembers` is cut to it.
    static constexpr unsigned kMaxNestingDepth = 100;

    /// An empty reader that owns an empty text; for `importJson`.
    Deserializer();
    /// The same with options, which a later import keeps.
    explicit Deserializer(Options options);
    /// Parse at once. The first two borrow the text, the third takes it over.
    /// @{
    explicit Deserializer(std::string_view json, Options options = None);
    explicit Deserializer(const char* json, Options options = None);
    explicit Deserializer(std::string&& json, Options options = None);
    /// @}
    /// Parses one member from [begin, end) with `depth` levels left and gives it a name. Characters
    /// behind the value are left to whoever reads the container.
    Deserializer(const char* begin, const char* end, unsigned depth, const String& name,
                 Options options = None);

    /// A copy of the root shares the text; its nodes are copied.
    /// @{
    Deserializer(const Deserializer&) = default;
    Deserializer(Deserializer&&) noexcept = default;
    /// @}
    /// May be given a node of its own tree (which then no longer holds on to the text).
    Deserializer& operator=(const Deserializer& other);
    /// What was read before ends, its text too unless a copy shares it.
    Deserializer& operator=(Deserializer&&) noexcept = default;
    ~Deserializer() = default;

    /// Parse another text; errors as for the constructors, which leave what was read before them.
    /// Deliberate: nothing is cleared first. New members are appended to the old ones (whose text
    /// the reader goes on owning if it did); type, value and null flag are overwritten. Many
    /// imports into one reader take time and memory linear in their sum.
    /// @{
    void importJson(std::string_view json);
    void importJson(const char* json);
    void importJson(std::string&& json);
    /// @}

    /// The building blocks of parsing, for callers that read a text piece by piece. All stay inside
    /// [begin, end), which must outlive the node.
    ///
    /// Parses one value into this node; returns the position behind it and the white space after
    /// it.
    const char* parseJson(const char* begin, const char* end, unsigned depth);
    /// Appends the members of an object or array, from behind its opening character; returns the
    /// position behind the closing one.
    const char* extractMembers(const char* begin, const char* end, char endToken, bool isObject,
                               unsigned depth);
    /// Reads a quoted key and its ':'; returns the position behind them.
    const char* parseKey(String& key, const char* begin, const char* end) const;

    /// True for exactly the token "null".
    [[nodiscard]] bool isNull() const noexcept { return isNull_; }
    /// Undefined until something was read.
    [[nodiscard]] MemberType type() const noexcept { return type_; }
    /// The key between its quotes.
    /// Deliberate: escapes in keys stay as written, and keys are compared as written.
    [[nodiscard]] std::string name() const { return std::string(name_.view()); }
    /// The same without the copy.
    [[nodiscard]] const String& key() const noexcept { return name_; }
    /// The members in document order, duplicate keys included.
    [[nodiscard]] const std::vector<Deserializer>& members() const noexcept { return members_; }
    /// From where this node begins to the end of the text it was parsed from.
    [[nodiscard]] const String& text() const noexcept { return text_; }
    /// As given to the constructor; members have those of their root.
    [[nodiscard]] Options options() const noexcept { return options_; }

    /// What the value text looks like; "true..." and "false..." count as Boolean. Integer is what
    /// `strtol` reads completely (of any size), Float what `strtof` does (in the C locale). After a
    /// failed import the text is still the earlier value's.
    /// Deliberate: the bare tokens `nan` and `inf` are floats, as are hexadecimal forms.
    [[nodiscard]] ValueType getValueType() const;

    /// True when the node's name is exactly this NUL-terminated text.
    [[nodiscard]] bool operator==(const char* key) const noexcept { return name_ == key; }

    /// The first member with that name, or null.
    /// Deliberate: a linear search; keep the result when it is needed more than once.
    [[nodiscard]] const Deserializer* findMember(const char* key) const noexcept;
    /// The same, but throws `std::out_of_range`
    /// "lwjson::deserializer "KEY" value not found in object "NAME"".
    [[nodiscard]] const Deserializer& getMember(const char* key) const;
    /// `getMember` of an object; on other nodes throws `std::invalid_argument`
    /// "lwjson::deserializer operator[member] called on non-object type "NAME"".
    /// Deliberate: reads `key.data()` up to its NUL and ignores the view's length.
    [[nodiscard]] const Deserializer& operator[](std::string_view key) const;
    /// The element of an array. Throws `std::out_of_range` "lwjson::deserializer operator[index]
    /// called with index out of range "NAME""; on other nodes `std::invalid_argument`
    /// "lwjson::deserializer operator[index] called on non-array type "NAME"".
    [[nodiscard]] const Deserializer& operator[](unsigned index) const;

    /// Typed extraction from a value text: `extractValue(node.value.data, node.value.size, out,
    /// "key")`. `name` only serves messages. On failure `out` stays as it was. Independent of the
    /// locale; `errno` is left as it was.
    ///
    /// Exactly "true" or "false"; else `std::invalid_argument`
    /// "lwjson::deserializer "NAME" is not a boolean".
    static void extractValue(const char* text, unsigned size, bool& out, const char* name);
    /// As `std::stod`, `std::stof`, `std::stold`: `std::invalid_argument` "stod" for no number,
    /// `std::out_of_range` "stod" beyond the type's range (subnormals included), or "stof",
    /// "stold".
    /// Deliberate: numbers, here and below, are read as far as they go, up to the NUL
    /// behind the text: `size` does not end them, and what follows them is no error ("1.5}"
    /// is 1.5).
    /// @{
    static void extractValue(const char* text, unsigned size, double& out, const char* name);
    static void extractValue(const char* text, unsigned size, float& out, const char* name);
    static void extractValue(const char* text, unsigned size, long double& out, const char* name);
    /// @}
    /// A quoted string, unescaped; else `std::invalid_argument`
    /// "lwjson::deserializer "NAME" is not a string".
    /// Deliberate: escapes are resolved kind by kind, first `\"`, then `\\`, then `\/`, `\b`, `\f`,
    /// `\n`, `\r`, `\t`, `\'`, so that an escaped backslash before an n becomes a line feed; those
    /// of Unicode characters stay as written.
    static void extractValue(const char* text, unsigned size, std::string& out, const char* name);
    /// A quoted UUID in any of its text forms; else the error of the string or of `Uuid`.
    static void extractValue(const char* text, unsigned size, Uuid& out, const char* name);
    /// Seconds since the epoch, as a `double`; `std::invalid_argument` "stod" for no number.
    /// Deliberate: negative numbers, NaN and numbers beyond `double` give `UnixTime::UNDEFINED`.
    static void extractValue(const char* text, unsigned size, time::UnixTime& out,
                             const char* name);
    /// Seconds; above 4294967295 or negative throws `std::out_of_range`
    /// "lwjson::deserializer "NAME" value out of range".
    /// Deliberate: anything that is no number is `SecondsDuration::INFINITE`.
    static void extractValue(const char* text, unsigned size, time::SecondsDuration& out,
                             const char* name);
    /// Decimal integers; `std::invalid_argument` "lwjson::deserializer "NAME" is not an integer"
    /// or `std::out_of_range` "lwjson::deserializer "NAME" value out of range".
    /// @{
    static void extractValue(const char* text, unsigned size, signed char& out, const char* name);
    static void extractValue(const char* text, unsigned size, unsigned char& out, const char* name);
    static void extractValue(const char* text, unsigned size, short& out, const char* name);
    static void extractValue(const char* text, unsigned size, unsigned short& out,
                             const char* name);
    static void extractValue(const char* text, unsigned size, int& out, const char* name);
    static void extractValue(const char* text, unsigned size, unsigned& out, const char* name);
    static void extractValue(const char* text, unsigned size, long& out, const char* name);
    static void extractValue(const char* text, unsigned size, unsigned long& out, const char* name);
    static void extractValue(const char* text, unsigned size, long long& out, const char* name);
    static void extractValue(const char* text, unsigned size, unsigned long long& out,
                             const char* name);
    /// @}

    /// `extractValue` of this node under its own name.
    template <class T>
    requires requires(T& out) { extractValue("", 0U, out, ""); }
    [[nodiscard]] T as() const {
        T result{};
        extractValue(value.data, value.size, result, name().c_str());
        return result;
    }
    /// Of another type: does not compile.
    template <class T>
    T as() const = delete;  // no extractValue() takes a T

    /// True when `other` (the document found) has the structure and the raw value texts of this one
    /// (the document expected): "1" and "1.0" differ, the order of an object's members does not
    /// matter. The second form writes a line for every difference, such as
    /// "a.b[2] - value mismatch: found 2, expected 1".
    /// Deliberate: a key stands for its first member on the other side, so a document with
    /// duplicate keys of different values differs from itself.
    /// @{
    [[nodiscard]] bool compare(const Deserializer& other) const;
    [[nodiscard]] bool compare(const Deserializer& other, std::ostream& report) const;
    /// @}
    /// The same with the caller's context, which also counts the differences.
    void compare(const Deserializer& other, const CompareContext& context) const;

  private:
    class VORN_GW_COMMON_HIDDEN Comparison;
    class VORN_GW_COMMON_HIDDEN Reader;

    std::shared_ptr<std::string> textOwner_;
    String text_;
    bool isNull_ = false;
    MemberType type_ = MemberType::Undefined;
    String name_;

  public:
    /// The raw text of the value: quotes, brackets and escapes as written. Treat it as read only.
    String value;

  private:
    std::vector<Deserializer> members_;
    Options options_ = None;

    VORN_GW_COMMON_HIDDEN Deserializer(const String& text, const String& name, const String& raw,
                                       Options options) noexcept;
    VORN_GW_COMMON_HIDDEN void borrow(std::string_view json);
    VORN_GW_COMMON_HIDDEN const char* parseValue(const char* begin, const char* end,
                                                 unsigned depth);
};

/// Combine flags and test for them.
/// @{
[[nodiscard]] constexpr Deserializer::Options operator|(Deserializer::Options left,
                                                        Deserializer::Options right) noexcept {
    return static_cast<Deserializer::Options>(static_cast<unsigned>(left) |
                                              static_cast<unsigned>(right));
}
[[nodiscard]] constexpr Deserializer::Options operator&(Deserializer::Options left,
                                                        Deserializer::Options right) noexcept {
    return static_cast<Deserializer::Options>(static_cast<unsigned>(left) &
                                              static_cast<unsigned>(right));
}
/// @}

/// How `compare` treats differences, where it stands in the document, and how many it has found.
/// A context made from another one for a member or an element shares its counter.
class VORN_GW_COMMON_EXPORT Deserializer::CompareContext {
  public:
    /// Thrown at the first difference; the text is its kind: "Type mismatch", "Array size
    /// mismatch", "Object size mismatch", "Missing key", "Unexpected key" or "Value mismatch".
    class VORN_GW_COMMON_EXPORT Exception : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    /// `report` is written to only with `reportDifferences`; it may be null, and outlives the
    /// context.
    CompareContext(bool throwOnDifference, std::ostream* report, bool reportDifferences);

    /// The contexts of a member and of an element below this one.
    /// @{
    [[nodiscard]] CompareContext member(std::string_view key) const;
    [[nodiscard]] CompareContext element(unsigned index) const;
    /// @}

    /// Such as "a.b[2]"; empty at the root.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// Found so far, by this context and all that share its counter.
    [[nodiscard]] unsigned differences() const noexcept { return *differences_; }

  private:
    friend class Deserializer;

    bool throwOnDifference_;
    std::ostream* report_;
    std::string path_;
    bool reportDifferences_;
    std::shared_ptr<unsigned> differences_;
};

}  // namespace vorn::common::lwjson
