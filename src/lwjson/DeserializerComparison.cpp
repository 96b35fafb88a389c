// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Deserializer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "lwjson/characters.h"

namespace vorn::common::lwjson {
namespace {

[[nodiscard]] const char* typeName(Deserializer::MemberType type) {
    switch (type) {
        case Deserializer::MemberType::Value:
            return "value";
        case Deserializer::MemberType::Object:
            return "object";
        case Deserializer::MemberType::Array:
            return "array";
        default:
            return "undefined";
    }
}

void appendMember(std::string& path, std::string_view key) {
    if (!path.empty()) {
        path += '.';
    }
    path += key;
}

void appendElement(std::string& path, std::size_t index) {
    path += '[';
    path += std::to_string(index);
    path += ']';
}

}  // namespace

/// One comparison. The path is a chain of stack frames; it becomes text when a difference is
/// reported.
class Deserializer::Comparison {
  public:
    explicit Comparison(const CompareContext& context) : context_(context) {}

    void run(const Deserializer& expected, const Deserializer& found) {
        nodes(expected, found, nullptr);
    }

  private:
    struct Frame {
        const Frame* parent;
        const String* key;
        std::size_t index;
    };
    struct NameEntry {
        std::uint32_t hash;
        std::uint32_t index;
    };
    static constexpr std::uint32_t kNone = 0xFFFFFFFFU;
    static constexpr std::size_t kWide = 16;

    [[nodiscard]] static bool same(const String& left, const String& right) {
        return left.size == right.size &&
               internal::sameCharacters(left.data, right.data, left.size);
    }
    /// Most pairs are, and need no frame.
    [[nodiscard]] static bool areSameScalars(const Deserializer& expected,
                                             const Deserializer& found) {
        return expected.type_ == MemberType::Value && found.type_ == MemberType::Value &&
               same(expected.value, found.value);
    }

    void nodes(const Deserializer& expected, const Deserializer& found, const Frame* frame);
    void objects(const Deserializer& expected, const Deserializer& found, const Frame* frame);
    void arrays(const Deserializer& expected, const Deserializer& found, const Frame* frame);

    void differs(const Frame* frame, const char* shortText, const std::string& longText);
    // Out of line: the texts they build would make every frame of the recursion larger, and a
    // hundred levels shall fit into a small stack.
    [[gnu::noinline]] void typeDiffers(const Deserializer& expected, const Deserializer& found,
                                       const Frame* frame);
    [[gnu::noinline]] void sizeDiffers(const Deserializer& expected, const Deserializer& found,
                                       const Frame* frame);
    [[gnu::noinline]] void valueDiffers(const Deserializer& expected, const Deserializer& found,
                                        const Frame* frame);
    [[gnu::noinline]] void keyDiffers(const Deserializer& member, bool isMissing,
                                      const Frame* frame);
    void appendPath(std::string& path, const Frame* frame) const;

    [[nodiscard]] static bool haveSameNames(const std::vector<Deserializer>& expected,
                                            const std::vector<Deserializer>& found);
    [[nodiscard]] static bool areDistinct(const std::vector<Deserializer>& members);
    [[nodiscard]] static bool areDistinctInTable(const std::vector<Deserializer>& members);
    [[nodiscard]] static std::uint32_t firstWithName(const Deserializer& node, const String& name);
    [[nodiscard]] static std::vector<NameEntry> sortedNames(const Deserializer& node);
    static void matchWide(const Deserializer& expected, const Deserializer& found,
                          std::vector<std::uint32_t>& matches, std::vector<bool>& known);

    const CompareContext& context_;
};

void Deserializer::Comparison::appendPath(std::string& path, const Frame* frame) const {
    if (frame == nullptr) {
        path += context_.path();
        return;
    }
    appendPath(path, frame->parent);
    if (frame->key != nullptr) {
        appendMember(path, frame->key->view());
    } else {
        appendElement(path, frame->index);
    }
}

void Deserializer::Comparison::differs(const Frame* frame, const char* shortText,
                                       const std::string& longText) {
    // Counted first: the exception below must not go before it.
    ++*context_.differences_;
    if (context_.reportDifferences_ && context_.report_ != nullptr) {
        std::string line;
        appendPath(line, frame);
        if (!line.empty()) {
            line += " - ";
        }
        line += longText;
        line += '\n';
        // Unformatted: the width and flags of the caller's stream do not apply.
        context_.report_->write(line.data(), static_cast<std::streamsize>(line.size()));
    }
    if (context_.throwOnDifference_) {
        throw CompareContext::Exception(shortText);
    }
}

void Deserializer::Comparison::typeDiffers(const Deserializer& expected, const Deserializer& found,
                                           const Frame* frame) {
    differs(frame, "Type mismatch",
            std::string("type mismatch: found ") + typeName(found.type_) + ", expected " +
                typeName(expected.type_));
}

void Deserializer::Comparison::sizeDiffers(const Deserializer& expected, const Deserializer& found,
                                           const Frame* frame) {
    const bool isArray = expected.type_ == MemberType::Array;
    differs(frame, isArray ? "Array size mismatch" : "Object size mismatch",
            (isArray ? "array size mismatch: found " : "object size mismatch: found ") +
                std::to_string(found.members_.size()) + ", expected " +
                std::to_string(expected.members_.size()));
}

void Deserializer::Comparison::valueDiffers(const Deserializer& expected, const Deserializer& found,
                                            const Frame* frame) {
    differs(frame, "Value mismatch",
            "value mismatch: found " + std::string(found.value.view()) + ", expected " +
                std::string(expected.value.view()));
}

void Deserializer::Comparison::keyDiffers(const Deserializer& member, bool isMissing,
                                          const Frame* frame) {
    differs(frame, isMissing ? "Missing key" : "Unexpected key",
            (isMissing ? "missing key '" : "unexpected key '") + member.name() + "'");
}

void Deserializer::Comparison::nodes(const Deserializer& expected, const Deserializer& found,
                                     const Frame* frame) {
    if (expected.type_ != found.type_) {
        typeDiffers(expected, found, frame);
        return;
    }
    if (expected.type_ == MemberType::Object) {
        objects(expected, found, frame);
    } else if (expected.type_ == MemberType::Array) {
        arrays(expected, found, frame);
    } else if (expected.type_ == MemberType::Value && !same(expected.value, found.value)) {
        valueDiffers(expected, found, frame);
    }
}

void Deserializer::Comparison::arrays(const Deserializer& expected, const Deserializer& found,
                                      const Frame* frame) {
    const std::size_t expectedCount = expected.members_.size();
    const std::size_t foundCount = found.members_.size();
    if (expectedCount != foundCount) {
        sizeDiffers(expected, found, frame);
    }
    for (std::size_t i = 0; i < std::min(expectedCount, foundCount); ++i) {
        if (!areSameScalars(expected.members_[i], found.members_[i])) {
            const Frame element{frame, nullptr, i};
            nodes(expected.members_[i], found.members_[i], &element);
        }
    }
}

void Deserializer::Comparison::objects(const Deserializer& expected, const Deserializer& found,
                                       const Frame* frame) {
    const std::size_t expectedCount = expected.members_.size();
    const std::size_t foundCount = found.members_.size();
    if (expectedCount != foundCount) {
        sizeDiffers(expected, found, frame);
    }
    if (haveSameNames(expected.members_, found.members_)) {
        for (std::size_t i = 0; i < expectedCount; ++i) {
            const Deserializer& member = expected.members_[i];
            if (!areSameScalars(member, found.members_[i])) {
                const Frame below{frame, &member.name_, 0};
                nodes(member, found.members_[i], &below);
            }
        }
        return;
    }
    // In few names a search from the front is quicker than sorting them.
    const bool wide = std::min(expectedCount, foundCount) > kWide;
    std::vector<std::uint32_t> matches;
    std::vector<bool> known;
    if (wide) {
        matchWide(expected, found, matches, known);
    }
    for (std::size_t i = 0; i < expectedCount; ++i) {
        const Deserializer& member = expected.members_[i];
        const std::uint32_t match = wide ? matches[i] : firstWithName(found, member.name_);
        const Frame below{frame, &member.name_, 0};
        if (match != kNone) {
            nodes(member, found.members_[match], &below);
        } else {
            keyDiffers(member, true, frame);
        }
    }
    for (std::size_t i = 0; i < foundCount; ++i) {
        const Deserializer& member = found.members_[i];
        if (wide ? !known[i] : firstWithName(expected, member.name_) == kNone) {
            keyDiffers(member, false, frame);
        }
    }
}

/// Whether both list the same names in the same order, each once: every member is then compared
/// with the one at its own place, and no key is missing or unexpected. May say no where that is so.
bool Deserializer::Comparison::haveSameNames(const std::vector<Deserializer>& expected,
                                             const std::vector<Deserializer>& found) {
    const std::size_t count = expected.size();
    if (count != found.size()) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!same(expected[i].name_, found[i].name_)) {
            return false;
        }
    }
    return count <= kWide ? areDistinct(expected) : areDistinctInTable(expected);
}

/// A name is looked for among those before it only when one of the same kind, of 64, was there.
bool Deserializer::Comparison::areDistinct(const std::vector<Deserializer>& members) {
    std::uint64_t seen = 0;
    for (auto member = members.begin(); member != members.end(); ++member) {
        const String& name = member->name_;
        const std::uint64_t kind = std::uint64_t{1}
                                   << (internal::spread(name.data, name.size) >> 26);
        if ((seen & kind) != 0 &&
            std::any_of(members.begin(), member,
                        [&](const Deserializer& earlier) { return same(earlier.name_, name); })) {
            return false;
        }
        seen |= kind;
    }
    return true;
}

/// Gives up, saying no, when names collide so often that somebody chose them to.
bool Deserializer::Comparison::areDistinctInTable(const std::vector<Deserializer>& members) {
    const int bits = std::min(30, static_cast<int>(std::bit_width(members.size())) + 1);
    std::vector<std::uint32_t> table(std::size_t{1} << bits);
    std::size_t collisions = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const String& name = members[i].name_;
        std::size_t slot = internal::spread(name.data, name.size) >> (32 - bits);
        for (; table[slot] != 0; slot = (slot + 1) % table.size()) {
            if (same(members[table[slot] - 1].name_, name) || ++collisions > table.size()) {
                return false;
            }
        }
        table[slot] = static_cast<std::uint32_t>(i + 1);
    }
    return true;
}

std::uint32_t Deserializer::Comparison::firstWithName(const Deserializer& node,
                                                      const String& name) {
    for (std::size_t i = 0; i < node.members_.size(); ++i) {
        if (same(node.members_[i].name_, name)) {
            return static_cast<std::uint32_t>(i);
        }
    }
    return kNone;
}

std::vector<Deserializer::Comparison::NameEntry> Deserializer::Comparison::sortedNames(
    const Deserializer& node) {
    std::vector<NameEntry> names(node.members_.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::size_t hash = std::hash<std::string_view>()(node.members_[i].name_.view());
        names[i] = {static_cast<std::uint32_t>(hash), static_cast<std::uint32_t>(i)};
    }
    // By hash first: the names of one object often begin alike. The place decides last, so that the
    // first of equal names comes first.
    std::sort(names.begin(), names.end(), [&](const NameEntry& left, const NameEntry& right) {
        if (left.hash != right.hash) {
            return left.hash < right.hash;
        }
        const int order =
            node.members_[left.index].name_.view().compare(node.members_[right.index].name_.view());
        return order != 0 ? order < 0 : left.index < right.index;
    });
    return names;
}

/// Gives every expected member the first found one of its name, and tells of every found member
/// whether its name is expected at all: what a search from the front would answer for each, by
/// walking along both lists of sorted names.
void Deserializer::Comparison::matchWide(const Deserializer& expected, const Deserializer& found,
                                         std::vector<std::uint32_t>& matches,
                                         std::vector<bool>& known) {
    matches.assign(expected.members_.size(), kNone);
    known.assign(found.members_.size(), false);
    const std::vector<NameEntry> wanted = sortedNames(expected);
    const std::vector<NameEntry> present = sortedNames(found);
    const auto order = [&](const NameEntry& left, const NameEntry& right) {
        if (left.hash != right.hash) {
            return left.hash < right.hash ? -1 : 1;
        }
        return expected.members_[left.index].name_.view().compare(
            found.members_[right.index].name_.view());
    };
    auto entry = wanted.begin();
    auto first = present.begin();
    while (entry != wanted.end() && first != present.end()) {
        const int comparison = order(*entry, *first);
        if (comparison < 0) {
            ++entry;
        } else if (comparison > 0) {
            ++first;
        } else {
            const NameEntry name = *entry;
            const std::uint32_t match = first->index;
            for (; entry != wanted.end() && order(*entry, *first) == 0; ++entry) {
                matches[entry->index] = match;
            }
            for (; first != present.end() && order(name, *first) == 0; ++first) {
                known[first->index] = true;
            }
        }
    }
}

bool Deserializer::compare(const Deserializer& other) const {
    const CompareContext context(true, nullptr, false);
    try {
        compare(other, context);
    } catch (const CompareContext::Exception&) {
        // Only the way out at the first difference, which has been counted.
    }
    return context.differences() == 0;
}

bool Deserializer::compare(const Deserializer& other, std::ostream& report) const {
    const CompareContext context(false, &report, true);
    compare(other, context);
    return context.differences() == 0;
}

void Deserializer::compare(const Deserializer& other, const CompareContext& context) const {
    Comparison(context).run(*this, other);
}

Deserializer::CompareContext::CompareContext(bool throwOnDifference, std::ostream* report,
                                             bool reportDifferences)
    : throwOnDifference_(throwOnDifference),
      report_(report),
      reportDifferences_(reportDifferences),
      differences_(std::make_shared<unsigned>(0)) {}

Deserializer::CompareContext Deserializer::CompareContext::member(std::string_view key) const {
    CompareContext derived = *this;
    appendMember(derived.path_, key);
    return derived;
}

Deserializer::CompareContext Deserializer::CompareContext::element(unsigned index) const {
    CompareContext derived = *this;
    appendElement(derived.path_, index);
    return derived;
}

}  // namespace vorn::common::lwjson
