#include "vorn/common/lwjson/Deserializer.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "lwjson/scan.h"

namespace vorn::common::lwjson {
namespace {

namespace scan = internal::scan;

constexpr std::string_view kStructural = ",[]{}:";

[[nodiscard]] std::string excerpt(const char* begin, const char* end) {
    return std::string(begin, static_cast<std::size_t>(std::min<std::ptrdiff_t>(end - begin, 32)));
}

[[noreturn, gnu::noinline]] void throwEmptyValue(const char* begin, const char* end) {
    throw std::runtime_error("Empty value (\"" + excerpt(begin, end) + "\")");
}

[[noreturn, gnu::noinline]] void throwInvalidValue(const char* begin, const char* end) {
    throw std::runtime_error("Invalid value (\"" + excerpt(begin, end) + "\")");
}

[[noreturn, gnu::noinline]] void throwMissingTerminator(char quote) {
    throw std::invalid_argument(std::string("The string is missing the terminator ") + quote +
                                " (" + std::to_string(static_cast<int>(quote)) + ")");
}

[[nodiscard]] const char* behindClosingQuote(const char* inside, const char* end, char quote) {
    const char* closing = scan::closingQuote(inside, end, quote);
    if (closing == nullptr) {
        throwMissingTerminator(quote);
    }
    return closing + 1;
}

[[nodiscard]] bool isKeyQuote(char character, Deserializer::Options options) {
    return character == '"' ||
           (character == '\'' && (options & Deserializer::AllowSingleQuotedKeys) != 0);
}

/// The position behind a key and its ':'; null where `parseKey` throws.
[[nodiscard]] const char* skipKey(const char* begin, const char* end,
                                  Deserializer::Options options) {
    const char* quote = scan::nonSpace(begin, end);
    if (quote == end || !isKeyQuote(*quote, options)) {
        return nullptr;
    }
    const char* closing = scan::closingQuote(quote + 1, end, *quote);
    if (closing == nullptr) {
        return nullptr;
    }
    const char* colon = scan::nonSpace(closing + 1, end);
    return colon != end && *colon == ':' ? colon + 1 : nullptr;
}

}  // namespace

/// Counts members ahead of the parser, so that each member list is allocated once. One scan of a
/// container notes the counts of the first containers inside it as well, in the order in which the
/// parser asks for them. Malformed text ends a scan; the parser then throws at the same place.
class Deserializer::MemberCounts {
  public:
    MemberCounts(const char* begin, const char* end, Options options)
        : budget_(4 * static_cast<std::uint64_t>(end - begin)), options_(options) {}

    /// The members of the container whose first member begins at `begin`; 0 when the scans have
    /// used up what keeps them linear in the text's length.
    [[nodiscard]] unsigned take(const char* begin, const char* end, char endToken, bool isObject,
                                unsigned depth) {
        if (next_ == known_) {
            if (budget_ == 0) {
                return 0;
            }
            const char* behind = scan(begin, end, endToken, isObject, depth);
            budget_ -= std::min(budget_, static_cast<std::uint64_t>(behind - begin));
        }
        return counts_[next_++];
    }

  private:
    static constexpr unsigned kWindow = 256;

    struct Level {
        unsigned slot;
        unsigned members;
        char endToken;
        bool isObject;
    };

    const char* scan(const char* begin, const char* end, char endToken, bool isObject,
                     unsigned depth);
    /// The position behind the value; null for a malformed one. `opened` is set when the value is a
    /// container with members, whose first one the position then is.
    const char* skipValue(const char* begin, const char* end, bool& opened) const;
    void open(char endToken, bool isObject) {
        levels_[opened_++] = {known_, 0, endToken, isObject};
        known_ = std::min(known_ + 1, kWindow);
    }
    void close() {
        const Level& level = levels_[--opened_];
        if (level.slot < kWindow) {
            counts_[level.slot] = level.members;
        }
    }

    std::uint64_t budget_;
    Options options_;
    unsigned next_ = 0;
    unsigned known_ = 0;
    unsigned opened_ = 0;
    std::array<unsigned, kWindow> counts_;
    std::array<Level, kMaxNestingDepth> levels_;
};

const char* Deserializer::MemberCounts::skipValue(const char* begin, const char* end,
                                                  bool& opened) const {
    opened = false;
    switch (*begin) {
        case '"': {
            const char* closing = scan::closingQuote(begin + 1, end, '"');
            return closing == nullptr ? nullptr : closing + 1;
        }
        case '[':
        case '{': {
            const char* inside = scan::nonSpace(begin + 1, end);
            opened = inside == end || *inside != (*begin == '[' ? ']' : '}');
            return opened ? inside : inside + 1;
        }
        default: {
            const char* stop = scan::tokenEnd(begin, end);
            const bool mayBeEmpty = *begin == ',' && (options_ & AllowEmptyValues) != 0;
            return stop == begin && !mayBeEmpty ? nullptr : stop;
        }
    }
}

const char* Deserializer::MemberCounts::scan(const char* begin, const char* end, char endToken,
                                             bool isObject, unsigned depth) {
    next_ = 0;
    known_ = 0;
    open(endToken, isObject);
    const char* p = begin;
    while (opened_ != 0) {
        const char* next = levels_[opened_ - 1].isObject ? skipKey(p, end, options_) : p;
        next = next == nullptr ? end : scan::nonSpace(next, end);
        if (next == end) {
            break;
        }
        ++levels_[opened_ - 1].members;
        const bool object = *next == '{';
        bool inside = false;
        next = skipValue(next, end, inside);
        if (next == nullptr || (inside && opened_ == depth)) {
            break;
        }
        p = next;
        if (inside) {
            open(object ? '}' : ']', object);
            continue;
        }
        p = scan::nonSpace(p, end);
        while (opened_ != 0 && p != end && *p == levels_[opened_ - 1].endToken) {
            close();
            p = scan::nonSpace(p + 1, end);
        }
        if (p == end || *p != ',') {
            break;
        }
        ++p;
    }
    while (opened_ != 0) {
        close();
    }
    return p;
}

const char* Deserializer::parseJson(const char* begin, const char* end, unsigned depth) {
    const char* next = parseText(begin, end, depth);
    if (next != end && kStructural.find(*next) == std::string_view::npos) {
        throw std::runtime_error(std::string("Unexpected character '") + *next +
                                 "' found after value '" + std::string(value.view()) + "'");
    }
    return next;
}

const char* Deserializer::parseText(const char* begin, const char* end, unsigned depth) {
    MemberCounts counts(begin, end, options_);
    return parseValue(begin, end, std::min(depth, kMaxNestingDepth), counts);
}

const char* Deserializer::parseValue(const char* begin, const char* end, unsigned depth,
                                     MemberCounts& counts) {
    isNull_ = false;
    const char* first = scan::nonSpace(begin, end);
    if (first == end || *first == ',') {
        if ((options_ & AllowEmptyValues) != 0) {
            return first;
        }
        throwEmptyValue(begin, end);
    }
    const char* next = nullptr;
    switch (*first) {
        case '[':
            type_ = MemberType::Array;
            next = parseMembers(first + 1, end, ']', false, depth, counts);
            break;
        case '{':
            type_ = MemberType::Object;
            next = parseMembers(first + 1, end, '}', true, depth, counts);
            break;
        case '"':
            type_ = MemberType::Value;
            next = behindClosingQuote(first + 1, end, '"');
            break;
        default:
            type_ = MemberType::Value;
            next = scan::tokenEnd(first, end);
            if (const String token(first, next); token.view().starts_with("null")) {
                if (token.size != 4) {
                    throwInvalidValue(first, end);
                }
                isNull_ = true;
            } else if (token.size == 0) {
                throwEmptyValue(begin, end);
            }
    }
    value = String(first, next);
    return scan::nonSpace(next, end);
}

const char* Deserializer::extractMembers(const char* begin, const char* end, char endToken,
                                         bool isObject, unsigned depth) {
    MemberCounts counts(begin, end, options_);
    return parseMembers(begin, end, endToken, isObject, std::min(depth, kMaxNestingDepth), counts);
}

const char* Deserializer::parseMembers(const char* begin, const char* end, char endToken,
                                       bool isObject, unsigned depth, MemberCounts& counts) {
    if (depth == 0) {
        throw std::runtime_error("Maximum nested objects limit reached");
    }
    const char* p = scan::nonSpace(begin, end);
    if (p != end && *p == endToken) {
        return p + 1;
    }
    members_.reserve(members_.size() + counts.take(p, end, endToken, isObject, depth));
    for (;;) {
        String key;
        if (isObject) {
            p = parseKey(key, p, end);
        }
        Deserializer& member = members_.emplace_back(MemberKey{}, p, end, key, options_);
        try {
            p = member.parseValue(p, end, depth - 1, counts);
        } catch (...) {
            members_.pop_back();
            throw;
        }
        if (p == end) {
            throw std::runtime_error("Missing end token");
        }
        if (*p != ',') {
            if (*p == endToken) {
                return p + 1;
            }
            throw std::runtime_error("Invalid token in object");
        }
        ++p;
    }
}

const char* Deserializer::parseKey(String& key, const char* begin, const char* end) const {
    const char* quote = scan::nonSpace(begin, end);
    if (quote == end || !isKeyQuote(*quote, options_)) {
        throw std::runtime_error("Invalid token when looking for key");
    }
    const char* next = behindClosingQuote(quote + 1, end, *quote);
    key = String(quote + 1, next - 1);
    if (key.size == 0) {
        throw std::runtime_error("Empty key");
    }
    const char* colon = scan::nonSpace(next, end);
    if (colon == end || *colon != ':') {
        throw std::runtime_error("Missing ':' token after key");
    }
    return colon + 1;
}

}  // namespace vorn::common::lwjson
