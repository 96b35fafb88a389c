#include "vorn/common/lwjson/Serializer.h"

#include <algorithm>

#include "lwjson/indentation.h"

namespace vorn::common::lwjson {

/// Writes what adding nested Pretty serializers would give, without making them. A frame stands for
/// one of these serializers.
class Serializer::TreeCopy {
  public:
    struct Frame {
        std::size_t shift;   ///< spaces that the serializers around this one add behind a line feed
        std::size_t indent;  ///< spaces of its own
        bool pretty;
        bool empty;
        bool inArray;
    };

    explicit TreeCopy(std::string& output) : output_(output) {}

    /// False when there was nothing to write.
    bool write(const Deserializer& node, Frame& frame);

  private:
    void writeArray(const Deserializer& node, Frame& frame);
    void writeObject(const Deserializer& node, const Frame& frame);
    void text(std::string_view text, std::size_t shift);
    void newLine(const Frame& frame);
    void startOwnLine(const Frame& frame);
    void removeLast(char character);
    [[nodiscard]] static Frame inside(const Frame& frame, bool empty) {
        return {frame.pretty ? frame.shift + frame.indent : 0, 0, true, empty, false};
    }

    std::string& output_;
};

bool Serializer::TreeCopy::write(const Deserializer& node, Frame& frame) {
    switch (node.type()) {
        case Deserializer::MemberType::Value:
            text(node.value.view(), frame.shift);
            output_ += ',';
            return true;
        case Deserializer::MemberType::Array:
            writeArray(node, frame);
            return true;
        case Deserializer::MemberType::Object:
            writeObject(node, frame);
            return true;
        default:
            return false;
    }
}

void Serializer::TreeCopy::writeArray(const Deserializer& node, Frame& frame) {
    startOwnLine(frame);
    output_ += '[';
    if (!node.members().empty()) {
        frame.indent =
            std::min(frame.indent + internal::kIndentationStep, internal::kMaxIndentation);
        for (const Deserializer& member : node.members()) {
            newLine(frame);
            Frame element = inside(frame, true);
            if (!write(member, element)) {
                output_ += "null,";
            }
        }
        removeLast(',');
        frame.indent -= internal::kIndentationStep;
    }
    newLine(frame);
    output_ += "],";
}

void Serializer::TreeCopy::writeObject(const Deserializer& node, const Frame& frame) {
    if (node.members().empty()) {
        output_ += "null,";
        return;
    }
    if (frame.pretty) {
        startOwnLine(frame);
    }
    Frame object = inside(frame, false);
    output_ += '{';
    object.indent = internal::kIndentationStep;
    for (const Deserializer& member : node.members()) {
        newLine(object);
        output_ += '"';
        text(member.key().view(), object.shift);
        output_ += "\": ";
        write(member, object);
    }
    removeLast(',');
    object.indent = 0;
    newLine(object);
    output_ += "},";
}

void Serializer::TreeCopy::text(std::string_view text, std::size_t shift) {
    if (shift != 0) {
        for (std::size_t end = text.find('\n'); end != std::string_view::npos;
             end = text.find('\n')) {
            output_ += text.substr(0, end + 1);
            output_.append(shift, ' ');
            text.remove_prefix(end + 1);
        }
    }
    output_ += text;
}

void Serializer::TreeCopy::newLine(const Frame& frame) {
    if (frame.pretty) {
        output_ += '\n';
        output_.append(frame.shift + frame.indent, ' ');
    }
}

void Serializer::TreeCopy::startOwnLine(const Frame& frame) {
    if (!frame.empty && !frame.inArray) {
        removeLast(' ');
        newLine(frame);
    }
}

void Serializer::TreeCopy::removeLast(char character) {
    if (!output_.empty() && output_.back() == character) {
        output_.pop_back();
    }
}

void Serializer::addValue(const Deserializer& node) {
    requireOpen();
    const bool pretty = format_ == Pretty;
    TreeCopy::Frame frame{0, pretty ? indentation_ - 1 : 0, pretty, output_->empty(), inArray_};
    TreeCopy(*output_).write(node, frame);
    if (pretty) {
        indentation_ = static_cast<unsigned>(frame.indent) + 1;
    }
    if (node.type() == Deserializer::MemberType::Array) {
        plain_ = false;
    }
}

}  // namespace vorn::common::lwjson
