// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/time/SecondsDuration.h>
#include <vorn/common/time/UnixTime.h>

namespace vorn::common::lwjson {

/// Writes a JSON text piece by piece into a string.
///
///     Serializer object(Serializer::Compact);
///     object.appendKey("a");
///     object.addValue(1.0, 2);
///     object.appendKey("b");
///     object.addValue("x");
///     object.finalize();
///     object.json();                                     // {"a":1.00,"b":"x"}
///
/// The first key opens an object; `finalize` closes it. An object inside another one is a second
/// serializer, finalized and added as a value; an array is a vector. Values without a key stand
/// alone.
///
/// State x operation; "value" stands for `appendValue`, `appendValueAsString` and all `addValue`:
///
/// | State     | appendKey, addNull | value     | setNull | finalize                 |
/// |-----------|--------------------|-----------|---------|--------------------------|
/// | empty     | object             | plain     | plain   | finalized as null        |
/// | plain     | object             | plain     | plain   | finalized                |
/// | object    | object             | object    | plain   | finalized, closed by '}' |
/// | continued | object             | continued | plain   | finalized, closed by '}' |
/// | finalized | throws             | throws    | throws  | finalized, unchanged     |
///
/// @image html serializer.svg "The states"
///
/// A text that is continued gets its missing ',' from the first key. What throws is
/// `std::runtime_error` "Trying to append value on a finalized Serializer"; nothing is changed.
/// The constructors and `init` find the state in the text: empty; continued when it begins with '{'
/// and does not end with '}'; finalized otherwise.
/// Deliberate: values without a key follow each other as they come ("1,2"), and a key behind them
/// opens an object behind them.
/// Deliberate: nothing checks that keys and values take turns, nor that texts given to
/// `appendValue` are JSON. `appendKey("k")` and `addNull("x")` give `{"k":"x":null}`.
///
/// Lifetime: owns its text, or writes into a string of the caller's that outlives it. Copies share
/// the text but not the state, and a move is a copy: write through one of them at a time.
/// Threads: as a standard container.
class VORN_GW_COMMON_EXPORT Serializer {
  public:
    /// How the text is laid out; what it says is the same.
    enum Format : unsigned {
        Pretty = 0,   ///< a line for each member and element, two spaces for each level up to 200
        Compact = 1,  ///< no white space; so are all other values
    };

    /// An empty text with room for `reserve` characters.
    explicit Serializer(unsigned reserve, Format format = Pretty);
    /// The same with 512.
    Serializer();
    /// The same with 512.
    explicit Serializer(Format format);
    /// Writes into the caller's string, going on from its content as `init` says.
    explicit Serializer(std::string& json, Format format = Pretty);
    /// Go on from a copy of the string, or from the string itself.
    /// @{
    explicit Serializer(const std::string& json, Format format = Pretty);
    explicit Serializer(std::string&& json, Format format = Pretty);
    /// @}

    /// Shares the text and copies the state; see "Lifetime".
    /// @{
    Serializer(const Serializer&) noexcept = default;
    Serializer& operator=(const Serializer&) noexcept = default;
    /// @}
    ~Serializer() = default;

    /// Starts afresh from the present text: an empty one gets `reserve` characters of capacity; one
    /// that starts with '{' is an object, finalized if it ends with '}' and else continued (a ','
    /// is put before the next key where it is missing); any other is finalized.
    void init(unsigned reserve, Format format = Pretty);

    /// Writes a key, after the '{' if it is the first.
    /// Deliberate: keys are written as they are, not escaped.
    void appendKey(const char* key);
    /// Writes a text as it is, as a value; the second form puts quotes around it.
    /// @{
    void appendValue(const char* text);
    void appendValueAsString(const char* text);
    /// @}
    /// Writes a key with the value null.
    void addNull(const char* key);

    /// The word true or false, without quotes.
    void addValue(bool value);
    /// Strings are quoted, and escaped where they hold `\`, `"`, backspace, form feed, line feed,
    /// carriage return or tab. A view is written whole, NUL characters included.
    /// Deliberate: other control characters and '/' are written as they are.
    /// @{
    void addValue(std::string_view value);
    void addValue(const char* value);
    void addValue(const std::string& value);
    /// @}
    /// Fixed notation with `precision` decimals (0 to 255), or scientific notation with 8 decimals
    /// for `float` and 16 for the others: 0.5f is "5.00000000e-01", with 2 decimals "0.50".
    /// Independent of the locale.
    /// Deliberate: "nan" and "inf" are written bare.
    /// @{
    void addValue(const float& value, std::optional<unsigned char> precision = std::nullopt);
    void addValue(const double& value, std::optional<unsigned char> precision = std::nullopt);
    void addValue(const long double& value);
    /// @}
    /// Decimal digits; the character types too are numbers here.
    /// @{
    void addValue(signed char value);
    void addValue(unsigned char value);
    void addValue(short value);
    void addValue(unsigned short value);
    void addValue(int value);
    void addValue(unsigned value);
    void addValue(long value);
    void addValue(unsigned long value);
    void addValue(long long value);
    void addValue(unsigned long long value);
    /// @}
    /// Seconds since the epoch as a `double`, undefined and infinite times too.
    void addValue(const time::UnixTime& value);
    /// Seconds.
    /// Deliberate: `INFINITE` is "-1", which `Deserializer` refuses as out of range.
    void addValue(const time::SecondsDuration& value);
    /// The canonical text, quoted.
    void addValue(const Uuid& value);

    /// Adds a finalized text as the next value; in Pretty its lines are indented to this depth, and
    /// an object or array under a key starts on a line of its own. Throws `std::invalid_argument`
    /// "lwjson::Serializer::addValue(const Serializer & object) - object is not finalized".
    void addValue(const Serializer& other);
    /// Adds an array; elements are of any type that `addValue` takes. Throws as above, before
    /// writing anything, when one of them is a serializer that is not finalized.
    template <class Element>
    void addValue(const std::vector<Element>& elements);
    /// Copies a parsed tree, read from another text than this one. Scalars are copied as they were
    /// written; an `Undefined` node writes nothing under a key and null in an array.
    /// Deliberate: an object without members becomes null; an empty array stays an array.
    /// Deliberate: copied objects and arrays are Pretty, in a Compact text as well.
    /// Deliberate: raw line feeds inside copied strings and keys are followed by indentation.
    void addValue(const Deserializer& node);

    /// Replaces the whole text with "null".
    void setNull();
    /// Removes the last comma and closes the object; "null" if nothing was written.
    void finalize();

    /// After finalize(), and for a text that was found complete.
    [[nodiscard]] bool isFinalized() const noexcept { return finalized_; }
    /// The text so far. Before finalize() it is a part: an object lacks its '}', a value may have a
    /// ',' behind it, and an empty serializer has no text. Reading it changes nothing, and the
    /// writing goes on.
    [[nodiscard]] const std::string& json() const noexcept { return *output_; }
    /// For the caller's own edits. Valid as long as the text: see "Lifetime".
    [[nodiscard]] std::string& mutableJson() noexcept { return *output_; }

  private:
    struct VORN_GW_COMMON_HIDDEN Layout;
    class VORN_GW_COMMON_HIDDEN TreeCopy;

    std::shared_ptr<std::string> owned_;
    std::string* output_;
    Format format_ = Pretty;
    const Layout* layout_ = nullptr;
    bool object_ = false;
    bool plain_ = true;
    bool finalized_ = false;
    unsigned indentation_ = 0;
    bool inArray_ = false;
    bool continued_ = false;

    void requireOpen() const;
    static void requireFinalized(const Serializer& other);
    template <class Element>
    static void requireFinalized(const Element&) {}
    template <class Element>
    static void requireFinalized(const std::vector<Element>& elements) {
        for (const auto& element : elements) {
            requireFinalized(element);
        }
    }

    [[nodiscard]] VORN_GW_COMMON_HIDDEN unsigned indentedUp() const;
    VORN_GW_COMMON_HIDDEN void indentDown();
    void appendIndentation();
    VORN_GW_COMMON_HIDDEN void removeLast(char character);
    VORN_GW_COMMON_HIDDEN void startOwnLine();

    [[nodiscard]] bool beginArray(bool empty);
    void endArray(bool empty, bool wasInArray);

    VORN_GW_COMMON_HIDDEN void append(std::string_view value);
    template <class Integer>
    VORN_GW_COMMON_HIDDEN void appendInteger(Integer value);
    VORN_GW_COMMON_HIDDEN void appendNumber(double value,
                                            std::optional<unsigned char> fixedDecimals,
                                            int decimals);
};

template <class Element>
void Serializer::addValue(const std::vector<Element>& elements) {
    requireOpen();
    requireFinalized(elements);
    const bool wasInArray = beginArray(elements.empty());
    for (const auto& element : elements) {
        appendIndentation();
        addValue(element);
    }
    endArray(elements.empty(), wasInArray);
}

}  // namespace vorn::common::lwjson
