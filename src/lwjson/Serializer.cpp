// SPDX-License-Identifier: MIT
#include "vorn/common/lwjson/Serializer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "lwjson/Tail.h"
#include "lwjson/indentation.h"
#include "lwjson/scan.h"

namespace vorn::common::lwjson {
namespace {

constexpr unsigned kDefaultReserve = 512;

/// Whether the text of an object that is continued ends behind a value.
[[nodiscard]] bool lacksComma(const std::string& text) {
    const std::size_t last = text.find_last_not_of(" \t\n\r");
    return last != std::string::npos && text[last] != ',' && text[last] != '{';
}

/// The rare case stands apart: within `appendKey` it would cost every key room on the stack.
[[gnu::noinline]] void appendOwnKey(Serializer& json, std::string_view key) {
    json.appendKey(std::string(key).c_str());
}

}  // namespace

/// What a format writes; indentations are lengths of the beginning of `kIndentation`.
struct Serializer::Layout {
    std::array<char, 4> keySeparator;  // copied whole, by one instruction
    unsigned keySeparatorSize;
    unsigned step;
    unsigned minimum;
    unsigned maximum;
};

Serializer::Serializer(unsigned reserve, Format format)
    : owned_(std::make_shared<std::string>()), output_(owned_.get()) {
    init(reserve, format);
}

Serializer::Serializer() : Serializer(Pretty) {}

Serializer::Serializer(Format format) : Serializer(kDefaultReserve, format) {}

Serializer::Serializer(std::string& json, Format format) : output_(&json) {
    init(kDefaultReserve, format);
}

Serializer::Serializer(const std::string& json, Format format)
    : owned_(std::make_shared<std::string>(json)), output_(owned_.get()) {
    init(kDefaultReserve, format);
}

Serializer::Serializer(std::string&& json, Format format)
    : owned_(std::make_shared<std::string>(std::move(json))), output_(owned_.get()) {
    init(kDefaultReserve, format);
}

void Serializer::init(unsigned reserve, Format format) {
    static constexpr Layout kPretty{
        {'"', ':', ' '}, 3, internal::kIndentationStep, 1, internal::kIndentation.size()};
    static constexpr Layout kCompact{{'"', ':'}, 2, 0, 0, 0};
    format_ = format;
    layout_ = format == Pretty ? &kPretty : &kCompact;
    indentation_ = layout_->minimum;
    object_ = false;
    plain_ = true;
    finalized_ = false;
    inArray_ = false;
    continued_ = false;
    // The text is all that is known of what was written before.
    if (output_->empty()) {
        output_->reserve(reserve);
    } else if (output_->front() != '{') {
        finalized_ = true;
    } else {
        object_ = true;
        plain_ = false;
        finalized_ = output_->back() == '}';
        if (!finalized_) {
            continued_ = true;
            indentation_ = indentedUp();
        }
    }
}

void Serializer::requireOpen() const {
    if (finalized_) {
        throw std::runtime_error("Trying to append value on a finalized Serializer");
    }
}

void Serializer::requireFinalized(const Serializer& other) {
    if (!other.finalized_) {
        throw std::invalid_argument(
            "lwjson::Serializer::addValue(const Serializer & object) - object is not finalized");
    }
}

unsigned Serializer::indentedUp() const {
    return std::min(indentation_ + layout_->step, layout_->maximum);
}

void Serializer::indentDown() {
    // Both are unsigned: below the minimum the difference would wrap.
    indentation_ = std::max(indentation_, layout_->minimum + layout_->step) - layout_->step;
}

void Serializer::appendIndentation() {
    output_->append(internal::kIndentation.data(), indentation_);
}

void Serializer::removeLast(char character) {
    if (!output_->empty() && output_->back() == character) {
        output_->pop_back();
    }
}

void Serializer::startOwnLine() {
    if (!output_->empty() && !inArray_) {
        // The space behind the key would stand at the end of its line.
        removeLast(' ');
        appendIndentation();
    }
}

void Serializer::appendKey(const char* key) {
    requireOpen();
    const std::string_view name(key);
    if (internal::liesIn(name, *output_)) {
        return appendOwnKey(*this, name);
    }
    const bool needsComma = continued_ && lacksComma(*output_);
    const unsigned indentation = object_ ? indentation_ : indentedUp();
    const std::size_t room = name.size() + internal::indentationRoom(indentation) + 8;
    internal::appendWritten(*output_, room, [&](char* to) {
        if (!object_ || needsComma) {
            *to++ = object_ ? ',' : '{';
        }
        to = internal::copyIndentation(to, indentation);
        *to++ = '"';
        to = internal::copyCharacters(to, name);
        std::memcpy(to, layout_->keySeparator.data(), layout_->keySeparator.size());
        return to + layout_->keySeparatorSize;
    });
    // Behind all that may fail for lack of memory.
    indentation_ = indentation;
    plain_ = false;
    object_ = true;
    continued_ = false;
}

/// `value` does not lie in the output.
void Serializer::append(std::string_view value) {
    internal::appendWritten(*output_, value.size() + 1, [&](char* to) {
        to = internal::copyCharacters(to, value);
        *to++ = ',';
        return to;
    });
}

void Serializer::appendValue(const char* text) {
    requireOpen();
    if (internal::liesIn(text, *output_)) {
        return append(std::string(text));
    }
    append(text);
}

void Serializer::appendValueAsString(const char* text) {
    requireOpen();
    const std::string_view value(text);
    if (internal::liesIn(value, *output_)) {
        return appendValueAsString(std::string(value).c_str());
    }
    internal::appendQuoted(*output_, value);
}

void Serializer::addNull(const char* key) {
    appendKey(key);
    appendValue("null");
}

void Serializer::addValue(const Serializer& other) {
    requireFinalized(other);
    requireOpen();
    // The own text moves while it grows.
    const bool isOwnText = other.output_ == output_;
    const std::string copy = isOwnText ? *output_ : std::string();
    std::string_view text = isOwnText ? copy : *other.output_;
    // Compact texts are taken as they are, Pretty ones inside them too.
    if (format_ != Pretty) {
        append(text);
        return;
    }
    if (text.empty()) {
        return;
    }
    if (!other.plain_) {
        startOwnLine();
    }
    // A line feed at the end begins no further line.
    if (text.back() == '\n') {
        text.remove_suffix(1);
    }
    internal::Tail lines(*output_, text.size() + 1);
    const char* const end = text.data() + text.size();
    for (const char* lineEnd = internal::scan::lineFeed(text.data(), end); lineEnd != end;
         lineEnd = internal::scan::lineFeed(text.data(), end)) {
        const auto length = static_cast<std::size_t>(lineEnd - text.data());
        char* to = lines.room(length + internal::indentationRoom(indentation_));
        to = internal::copyCharacters(to, text.substr(0, length));
        lines.advanceTo(internal::copyIndentation(to, indentation_));
        text.remove_prefix(length + 1);
    }
    lines.put(text);
    lines.put(',');
}

bool Serializer::beginArray(bool empty) {
    startOwnLine();
    *output_ += '[';
    plain_ = false;
    if (!empty) {
        indentation_ = indentedUp();
    }
    return std::exchange(inArray_, true);
}

void Serializer::endArray(bool empty, bool wasInArray) {
    if (!empty) {
        removeLast(',');
        indentDown();
    }
    appendIndentation();
    append("]");
    inArray_ = wasInArray;
}

void Serializer::setNull() {
    requireOpen();
    *output_ = "null";
    object_ = false;
    plain_ = true;
    indentation_ = layout_->minimum;
    continued_ = false;
}

void Serializer::finalize() {
    if (finalized_) {
        return;
    }
    if (output_->empty()) {
        *output_ = "null";
    } else {
        removeLast(',');
        if (object_) {
            indentDown();
            appendIndentation();
            *output_ += '}';
        }
    }
    finalized_ = true;
}

}  // namespace vorn::common::lwjson
