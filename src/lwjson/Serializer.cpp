#include "vorn/common/lwjson/Serializer.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "lwjson/Detached.h"
#include "lwjson/indentation.h"

namespace vorn::common::lwjson {
namespace {

constexpr unsigned kDefaultReserve = 512;
}  // namespace

/// What a format writes; indentations are lengths of the beginning of `kIndentation`.
struct Serializer::Layout {
    std::string_view keySeparator;
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
    static constexpr Layout kPretty{"\": ", internal::kIndentationStep, 1,
                                    internal::kIndentation.size()};
    static constexpr Layout kCompact{"\":", 0, 0, 0};
    format_ = format;
    layout_ = format == Pretty ? &kPretty : &kCompact;
    indentation_ = layout_->minimum;
    object_ = false;
    plain_ = true;
    finalized_ = false;
    inArray_ = false;
    continued_ = false;
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
            indentUp();
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

void Serializer::indentUp() {
    indentation_ = std::min(indentation_ + layout_->step, layout_->maximum);
}

void Serializer::indentDown() {
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
        removeLast(' ');
        appendIndentation();
    }
}

void Serializer::appendKey(const char* key) {
    requireOpen();
    const internal::Detached name(key, *output_);
    if (!object_) {
        *output_ += '{';
        object_ = true;
        plain_ = false;
        indentUp();
    } else if (std::exchange(continued_, false)) {
        const std::size_t last = output_->find_last_not_of(" \t\n\r");
        if (last != std::string::npos && (*output_)[last] != ',' && (*output_)[last] != '{') {
            *output_ += ',';
        }
    }
    appendIndentation();
    *output_ += '"';
    *output_ += name.view();
    *output_ += layout_->keySeparator;
}

void Serializer::append(std::string_view value) {
    *output_ += value;
    *output_ += ',';
}

void Serializer::appendValue(const char* text) {
    requireOpen();
    append(text);
}

void Serializer::appendValueAsString(const char* text) {
    requireOpen();
    const internal::Detached value(text, *output_);
    *output_ += '"';
    *output_ += value.view();
    *output_ += "\",";
}

void Serializer::addNull(const char* key) {
    appendKey(key);
    appendValue("null");
}

void Serializer::addValue(const Serializer& other) {
    requireFinalized(other);
    requireOpen();
    const internal::Detached value(*other.output_, *output_);
    std::string_view text = value.view();
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
    if (text.back() == '\n') {
        text.remove_suffix(1);
    }
    for (std::size_t lineEnd = text.find('\n'); lineEnd != std::string_view::npos;
         lineEnd = text.find('\n')) {
        *output_ += text.substr(0, lineEnd);
        appendIndentation();
        text.remove_prefix(lineEnd + 1);
    }
    append(text);
}

bool Serializer::beginArray(bool empty) {
    startOwnLine();
    *output_ += '[';
    plain_ = false;
    if (!empty) {
        indentUp();
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
