// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <type_traits>
#include <utility>

#include "internal/cLocale.h"
#include "lwjson/characters.h"

namespace vorn::common::lwjson {
namespace {

// A list that grows would copy whole subtrees if moving could throw.
static_assert(std::is_nothrow_move_constructible_v<Deserializer>);
static_assert(std::is_nothrow_move_assignable_v<Deserializer>);
// Programs have been compiled with this size.
static_assert(sizeof(Deserializer) == 13 * sizeof(void*));

/// A text that a reader owns, holding on to the one of the import before it while nodes still point
/// into that. Every owned text is one of these.
struct OwnedText : std::string {
    OwnedText() = default;
    OwnedText(const OwnedText&) = delete;
    OwnedText& operator=(const OwnedText&) = delete;
    ~OwnedText() { dropEarlier(); }

    /// One link after the other: a chain of many imports would otherwise take as many levels of
    /// stack. A link that somebody else holds too keeps the rest.
    void dropEarlier() noexcept {
        std::shared_ptr<std::string> link = std::move(earlier);
        while (link.use_count() == 1) {
            link = std::move(static_cast<OwnedText&>(*link).earlier);
        }
    }

    std::shared_ptr<std::string> earlier;
};

[[nodiscard]] bool isOutside(const Deserializer::String& span, const std::string& text) {
    return span.size != 0 && (std::less<>()(span.data, text.data()) ||
                              std::less<>()(text.data() + text.size(), span.data));
}

/// What `strtol` reads completely; out of range is no matter, so no conversion is needed.
[[nodiscard]] bool isInteger(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(start);
    if (text.front() == '+' || text.front() == '-') {
        text.remove_prefix(1);
    }
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// `text` is NUL-terminated behind `size` characters.
[[nodiscard]] bool isFloat(const char* text, std::size_t size) {
    // A query leaves the caller's errno alone; the conversion reports a range error there.
    const int savedErrno = errno;
    char* stop = nullptr;
    static_cast<void>(::strtof_l(text, &stop, internal::cLocale()));
    errno = savedErrno;
    return stop == text + size;
}

}  // namespace

Deserializer::Deserializer() : Deserializer(None) {}

Deserializer::Deserializer(Options options)
    : textOwner_(std::make_shared<OwnedText>()), text_(textOwner_->data(), 0), options_(options) {}

Deserializer::Deserializer(std::string_view json, Options options) : options_(options) {
    importJson(json);
}

Deserializer::Deserializer(const char* json, Options options)
    : Deserializer(std::string_view(json), options) {}

Deserializer::Deserializer(std::string&& json, Options options) : options_(options) {
    importJson(std::move(json));
}

Deserializer::Deserializer(const char* begin, const char* end, unsigned depth, const String& name,
                           Options options)
    : text_(begin, end), name_(name), options_(options) {
    parseValue(begin, end, depth);
}

Deserializer& Deserializer::operator=(const Deserializer& other) {
    // By way of a copy, since `other` may be a member of this node.
    *this = Deserializer(other);
    return *this;
}

void Deserializer::borrow(std::string_view json) {
    // Spans count in 32 bits.
    if (json.size() > 0xFFFFFFFFU) {
        throw std::length_error("lwjson::deserializer text of 4 GiB or more");
    }
    text_ = String(json.data(), json.size());
}

void Deserializer::importJson(std::string_view json) {
    borrow(json);
    parseJson(json.data(), json.data() + json.size(), kMaxNestingDepth);
}

void Deserializer::importJson(const char* json) {
    importJson(std::string_view(json));
}

void Deserializer::importJson(std::string&& json) {
    auto owned = std::make_shared<OwnedText>();
    static_cast<std::string&>(*owned) = std::move(json);
    // Members and, until there is a new one, the value point into the text before.
    const bool appends = !members_.empty();
    if (textOwner_ && (appends || value.size != 0)) {
        owned->earlier = textOwner_;
    }
    // Before it is read: what a failed import leaves points into it.
    textOwner_ = owned;
    importJson(std::string_view(*owned));
    if (!appends && !isOutside(value, *owned)) {
        owned->dropEarlier();
    }
}

const Deserializer* Deserializer::findMember(const char* key) const noexcept {
    const std::string_view wanted(key);
    for (const Deserializer& member : members_) {
        if (member.name_.size == wanted.size() &&
            internal::sameCharacters(member.name_.data, wanted.data(), wanted.size())) {
            return &member;
        }
    }
    return nullptr;
}

const Deserializer& Deserializer::getMember(const char* key) const {
    if (const Deserializer* member = findMember(key)) {
        return *member;
    }
    throw std::out_of_range("lwjson::deserializer \"" + std::string(key) +
                            "\" value not found in object \"" + name() + "\"");
}

const Deserializer& Deserializer::operator[](std::string_view key) const {
    if (type_ != MemberType::Object) {
        throw std::invalid_argument(
            "lwjson::deserializer operator[member] called on non-object type \"" + name() + "\"");
    }
    // A view of nothing has no NUL to read to.
    return getMember(key.data() == nullptr ? "" : key.data());
}

const Deserializer& Deserializer::operator[](unsigned index) const {
    if (type_ != MemberType::Array) {
        throw std::invalid_argument(
            "lwjson::deserializer operator[index] called on non-array type \"" + name() + "\"");
    }
    if (index >= members_.size()) {
        throw std::out_of_range(
            "lwjson::deserializer operator[index] called with index out of range \"" + name() +
            "\"");
    }
    return members_[index];
}

Deserializer::ValueType Deserializer::getValueType() const {
    const std::string_view text = value.view();
    if (text.empty()) {
        return ValueType::None;
    }
    if (text.front() == '"') {
        return ValueType::String;
    }
    if (text.starts_with("false") || text.starts_with("true")) {
        return ValueType::Boolean;
    }
    if (isInteger(text)) {
        return ValueType::Integer;
    }
    // Looked up in the text, not in the type: after a failed import that is the new text's already.
    if (text.front() == '{' || text.front() == '[') {
        return ValueType::None;
    }
    // The conversion needs a NUL behind the text; for most values the stack has room for the copy.
    std::array<char, 64> shortCopy;
    if (text.size() < shortCopy.size()) {
        text.copy(shortCopy.data(), text.size());
        shortCopy[text.size()] = '\0';
        return isFloat(shortCopy.data(), text.size()) ? ValueType::Float : ValueType::None;
    }
    return isFloat(std::string(text).c_str(), text.size()) ? ValueType::Float : ValueType::None;
}

}  // namespace vorn::common::lwjson
