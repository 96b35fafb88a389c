// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "lwjson/PendingStack.h"
#include "lwjson/scan.h"

namespace vorn::common::lwjson {
namespace {

namespace scan = internal::scan;

constexpr std::string_view kStructural = ",[]{}:";

// What throws is kept out of line, so that the loops of the reader stay small.

[[nodiscard]] std::string excerpt(const char* begin, const char* end) {
    return std::string(begin, static_cast<std::size_t>(std::min<std::ptrdiff_t>(end - begin, 32)));
}

[[noreturn, gnu::noinline]] void throwEmptyValue(const char* begin, const char* end) {
    throw std::runtime_error("Empty value (\"" + excerpt(begin, end) + "\")");
}

[[noreturn, gnu::noinline]] void throwInvalidValue(const char* begin, const char* end) {
    throw std::runtime_error("Invalid value (\"" + excerpt(begin, end) + "\")");
}

[[noreturn, gnu::noinline]] void throwMalformed(const char* problem) {
    throw std::runtime_error(problem);
}

[[noreturn, gnu::noinline]] void throwMissingTerminator(char quote) {
    throw std::invalid_argument(std::string("The string is missing the terminator ") + quote +
                                " (" + std::to_string(static_cast<int>(quote)) + ")");
}

[[nodiscard]] inline const char* behindClosingQuote(const char* inside, const char* end,
                                                    char quote) {
    const char* closing = scan::closingQuote(inside, end, quote);
    if (closing == nullptr) {
        throwMissingTerminator(quote);
    }
    return closing + 1;
}

/// Reads a string or a token at `first`; `begin` is what an error quotes.
[[nodiscard, gnu::always_inline]] inline const char* behindScalar(const char* begin,
                                                                  const char* first,
                                                                  const char* end) {
    if (*first == '"') {
        return behindClosingQuote(first + 1, end, '"');
    }
    const char* next = scan::tokenEnd(first, end);
    // A closing bracket or a colon: empty whatever the options allow.
    if (next == first) {
        throwEmptyValue(begin, end);
    }
    // `nullable` is refused, lest it be taken for a null; other words are the caller's affair.
    if (*first == 'n' && next - first > 4 && std::memcmp(first, "null", 4) == 0) {
        throwInvalidValue(first, end);
    }
    return next;
}

constexpr const char* kTooDeep = "Maximum nested objects limit reached";

[[nodiscard]] constexpr bool opensContainer(char character) {
    return character == '[' || character == '{';
}

[[nodiscard]] constexpr char closingToken(char opening) {
    return opening == '[' ? ']' : '}';
}

[[nodiscard]] constexpr Deserializer::MemberType typeOf(char first) {
    return first == '['   ? Deserializer::MemberType::Array
           : first == '{' ? Deserializer::MemberType::Object
                          : Deserializer::MemberType::Value;
}

[[nodiscard]] bool isNullToken(const Deserializer::String& value) {
    return value.size == 4 && std::memcmp(value.data, "null", 4) == 0;
}

void requireEmptyValues(const char* begin, const char* end, Deserializer::Options options) {
    if ((options & Deserializer::AllowEmptyValues) == 0) {
        throwEmptyValue(begin, end);
    }
}

const char* readKey(Deserializer::String& key, const char* begin, const char* end,
                    Deserializer::Options options) {
    const char* quote = scan::nonSpace(begin, end);
    if (quote == end || (*quote != '"' && (*quote != '\'' ||
                                           (options & Deserializer::AllowSingleQuotedKeys) == 0))) {
        throwMalformed("Invalid token when looking for key");
    }
    const char* next = behindClosingQuote(quote + 1, end, *quote);
    if (next == quote + 2) {
        throwMalformed("Empty key");
    }
    key = Deserializer::String(quote + 1, next - 1);
    const char* colon = scan::nonSpace(next, end);
    if (colon == end || *colon != ':') {
        throwMalformed("Missing ':' token after key");
    }
    return colon + 1;
}

}  // namespace

/// The inside of containers, with one function for each rule of the grammar. What is found of a
/// member waits in a record until its container is closed; the nodes are then made in one go.
class Deserializer::Reader {
  public:
    Reader(const char* begin, const char* end, Options options)
        : base_(begin), end_(end), options_(options) {
        if (static_cast<std::uint64_t>(end - begin) > 0xFFFFFFFFU) {
            throw std::length_error("lwjson::deserializer text of 4 GiB or more");
        }
    }

    /// Appends the members of the container whose inside begins at `inside`, before an error those
    /// that are complete; returns the position behind `endToken`.
    const char* readInto(std::vector<Deserializer>& members, const char* inside, char endToken,
                         bool isObject, unsigned depth);

  private:
    /// Offsets in the text; the characters around them tell the rest of a node. Kept small: the
    /// records of the open containers are what reading needs beyond its result.
    struct Record {
        std::uint32_t key;  ///< unused in arrays
        std::uint32_t value;
        std::uint32_t size;  ///< 0 where the value is missing
    };

    /// Where an open container's entries begin; they are dropped when it is closed or given up.
    class OpenContainer {
      public:
        explicit OpenContainer(Reader& reader) noexcept
            : firstRecord(reader.records_.size()),
              firstList(reader.memberLists_.size()),
              reader_(reader) {}
        OpenContainer(const OpenContainer&) = delete;
        OpenContainer& operator=(const OpenContainer&) = delete;
        ~OpenContainer() {
            reader_.records_.cut(firstRecord);
            reader_.memberLists_.cut(firstList);
        }

        const std::size_t firstRecord;
        const std::size_t firstList;

      private:
        Reader& reader_;
    };

    const char* container(const char* opening, unsigned depth);
    const char* members(const char* first, char endToken, bool isObject, unsigned depth) {
        return isObject ? memberList<true>(first, endToken, depth)
                        : memberList<false>(first, endToken, depth);
    }
    template <bool kIsObject>
    const char* memberList(const char* p, char endToken, unsigned depth);
    const char* value(Record& record, const char* begin, unsigned depth);

    void appendNodes(std::vector<Deserializer>& members, const OpenContainer& from, bool isObject);
    [[nodiscard]] Deserializer node(const Record& record, bool isObject, bool isFirst) const;
    [[nodiscard]] bool hasMembers(const Record& record) const;
    [[nodiscard]] std::uint32_t offset(const char* at) const {
        return static_cast<std::uint32_t>(at - base_);
    }

    const char* base_;
    const char* end_;
    Options options_;
    internal::PendingStack<Record, 128> records_;
    /// Those of the recorded containers that have members, in the records' order.
    internal::PendingStack<std::vector<Deserializer>, 32> memberLists_;
};

const char* Deserializer::Reader::readInto(std::vector<Deserializer>& list, const char* inside,
                                           char endToken, bool isObject, unsigned depth) {
    if (depth == 0) {
        throwMalformed(kTooDeep);
    }
    const char* first = scan::nonSpace(inside, end_);
    if (first != end_ && *first == endToken) {
        return first + 1;
    }
    const OpenContainer open(*this);
    const char* next = nullptr;
    try {
        next = members(first, endToken, isObject, depth);
    } catch (...) {
        try {
            appendNodes(list, open, isObject);
        } catch (const std::bad_alloc&) {
            // The first error is the one to tell of; without memory what was read before is lost.
        }
        throw;
    }
    appendNodes(list, open, isObject);
    return next;
}

/// An object or array inside another one: what it leaves behind is its member list.
const char* Deserializer::Reader::container(const char* opening, unsigned depth) {
    if (depth == 0) {
        throwMalformed(kTooDeep);
    }
    const bool isObject = *opening == '{';
    const char endToken = closingToken(*opening);
    const char* first = scan::nonSpace(opening + 1, end_);
    if (first != end_ && *first == endToken) {
        return first + 1;
    }
    std::vector<Deserializer> list;
    const char* next = nullptr;
    {
        const OpenContainer open(*this);
        next = members(first, endToken, isObject, depth);
        appendNodes(list, open, isObject);
    }
    // Behind the end of `open`, which has taken away what belonged to the members.
    memberLists_.push(std::move(list));
    return next;
}

template <bool kIsObject>
const char* Deserializer::Reader::memberList(const char* p, char endToken, unsigned depth) {
    for (;;) {
        Record record{};
        if constexpr (kIsObject) {
            String key;
            p = readKey(key, p, end_, options_);
            record.key = offset(key.data);
        }
        p = value(record, p, depth - 1);
        // Only complete members are recorded: these are what an error leaves.
        records_.push(record);
        if (p == end_) {
            throwMalformed("Missing end token");
        }
        if (*p != ',') {
            if (*p == endToken) {
                return p + 1;
            }
            throwMalformed("Invalid token in object");
        }
        ++p;
    }
}

inline const char* Deserializer::Reader::value(Record& record, const char* begin, unsigned depth) {
    const char* first = scan::nonSpace(begin, end_);
    record.value = offset(first);
    if (first == end_ || *first == ',') {
        requireEmptyValues(begin, end_, options_);
        return first;
    }
    const char* next =
        opensContainer(*first) ? container(first, depth) : behindScalar(begin, first, end_);
    record.size = static_cast<std::uint32_t>(next - first);
    return scan::nonSpace(next, end_);
}

/// A member of which all but the members is known.
inline Deserializer::Deserializer(const String& text, const String& name, const String& raw,
                                  Options options) noexcept
    : text_(text), name_(name), options_(options) {
    if (raw.size != 0) {
        type_ = typeOf(*raw.data);
        isNull_ = isNullToken(raw);
        value = raw;
    }
}

/// A value is preceded by white space and, unless it is an array's first, by its ',' or ':'; a ':'
/// by white space and the closing quote of the key.
inline Deserializer Deserializer::Reader::node(const Record& record, bool isObject,
                                               bool isFirst) const {
    const char* begin = base_ + record.value;
    const String value(begin, record.size);
    String key;
    if (isObject || !isFirst) {
        begin = scan::behindLastNonSpace(begin);
    }
    if (isObject) {
        key = String(base_ + record.key, scan::behindLastNonSpace(begin - 1) - 1);
    }
    return Deserializer(String(begin, end_), key, value, options_);
}

inline bool Deserializer::Reader::hasMembers(const Record& record) const {
    const char* opening = base_ + record.value;
    return record.size != 0 && opensContainer(*opening) &&
           *scan::nonSpace(opening + 1, end_) != closingToken(*opening);
}

void Deserializer::Reader::appendNodes(std::vector<Deserializer>& list, const OpenContainer& from,
                                       bool isObject) {
    const std::size_t count = records_.size() - from.firstRecord;
    // Exact for a list that is read in one go. One that grows from import to import is doubled, or
    // each import would move all members before it.
    if (const std::size_t needed = list.size() + count; needed > list.capacity()) {
        list.reserve(list.empty() ? needed : std::max(needed, 2 * list.capacity()));
    }
    std::size_t memberList = from.firstList;
    for (std::size_t i = 0; i != count; ++i) {
        const Record& record = records_[from.firstRecord + i];
        // Where a reallocation is ruled out the node is made in place, else on the stack and moved.
        if (list.size() == list.capacity()) {
            __builtin_unreachable();
        }
        list.push_back(node(record, isObject, i == 0));
        if (hasMembers(record)) {
            list.back().members_ = std::move(memberLists_[memberList++]);
        }
    }
}

const char* Deserializer::parseJson(const char* begin, const char* end, unsigned depth) {
    const char* next = parseValue(begin, end, depth);
    // Structure may follow: the value may stand in a text of the caller's.
    if (next != end && kStructural.find(*next) == std::string_view::npos) {
        throw std::runtime_error(std::string("Unexpected character '") + *next +
                                 "' found after value '" + std::string(value.view()) + "'");
    }
    return next;
}

const char* Deserializer::parseValue(const char* begin, const char* end, unsigned depth) {
    isNull_ = false;
    const char* first = scan::nonSpace(begin, end);
    if (first == end || *first == ',') {
        requireEmptyValues(begin, end, options_);
        return first;
    }
    // Set before the value: a failed import shows what it was reading.
    type_ = typeOf(*first);
    const char* next = type_ == MemberType::Value
                           ? behindScalar(begin, first, end)
                           : extractMembers(first + 1, end, closingToken(*first),
                                            type_ == MemberType::Object, depth);
    value = String(first, next);
    isNull_ = isNullToken(value);
    return scan::nonSpace(next, end);
}

const char* Deserializer::extractMembers(const char* begin, const char* end, char endToken,
                                         bool isObject, unsigned depth) {
    return Reader(begin, end, options_)
        .readInto(members_, begin, endToken, isObject, std::min(depth, kMaxNestingDepth));
}

const char* Deserializer::parseKey(String& key, const char* begin, const char* end) const {
    return readKey(key, begin, end, options_);
}

}  // namespace vorn::common::lwjson
