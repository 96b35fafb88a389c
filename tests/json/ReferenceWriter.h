// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <ios>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <vorn/common/lwjson/Deserializer.h>

/// Seven passes over the whole text, one kind after the other, each going on behind what it has put
/// in.
inline std::string escapedPassByPass(std::string text) {
    constexpr std::pair<char, char> kPasses[] = {
        {'\\', '\\'}, {'"', '"'}, {'\b', 'b'}, {'\f', 'f'}, {'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}};
    for (const auto& [character, letter] : kPasses) {
        for (std::size_t at = text.find(character); at != std::string::npos;
             at = text.find(character, at + 2)) {
            text.replace(at, 1, {'\\', letter});
        }
    }
    return text;
}

/// A slow writer made step by step from the layout's description, to compare the real one with.
struct ReferenceWriter {
    bool pretty = true;
    std::string text;
    bool object = false;
    bool plain = true;
    bool finalized = false;
    bool inArray = false;
    bool continued = false;
    unsigned spaces = 0;

    explicit ReferenceWriter(bool isPretty, std::string start = {})
        : pretty(isPretty), text(std::move(start)) {
        if (text.empty()) {
            return;
        }
        if (text.front() != '{') {
            finalized = true;
            return;
        }
        object = true;
        plain = false;
        finalized = text.back() == '}';
        if (!finalized) {
            continued = true;
            indentUp();
        }
    }

    void indentUp() { spaces = std::min(spaces + 2, 200U); }
    void indentDown() { spaces = spaces < 2 ? 0 : spaces - 2; }
    void indentation() {
        if (pretty) {
            text += '\n' + std::string(spaces, ' ');
        }
    }
    void removeLast(char character) {
        if (!text.empty() && text.back() == character) {
            text.pop_back();
        }
    }
    void requireOpen() const {
        if (finalized) {
            throw std::runtime_error("Trying to append value on a finalized Serializer");
        }
    }

    void appendKey(const std::string& key) {
        requireOpen();
        if (!object) {
            text += '{';
            object = true;
            indentUp();
            plain = false;
        } else if (continued) {
            const std::size_t last = text.find_last_not_of(" \t\n\r");
            text += text[last] == ',' || text[last] == '{' ? "" : ",";
        }
        continued = false;
        indentation();
        text += '"' + key + (pretty ? "\": " : "\":");
    }
    void appendValue(const std::string& value) {
        requireOpen();
        text += value + ',';
    }
    void addString(const std::string& value) { appendValue('"' + escapedPassByPass(value) + '"'); }
    /// Fixed notation with that many decimals, or scientific.
    template <class Number>
    void addNumber(Number value, bool fixed, int decimals) {
        std::ostringstream stream;
        stream.imbue(std::locale::classic());
        stream << (fixed ? std::fixed : std::scientific);
        stream.precision(decimals);
        stream << value;
        appendValue(stream.str());
    }

    void add(const ReferenceWriter& other) {
        if (!other.finalized) {
            throw std::invalid_argument(
                "lwjson::Serializer::addValue(const Serializer & object) - object is not "
                "finalized");
        }
        requireOpen();
        if (!pretty) {
            appendValue(other.text);
            return;
        }
        std::istringstream stream(other.text);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        if (lines.empty()) {
            return;
        }
        if (!other.plain && !inArray && !text.empty()) {
            removeLast(' ');
            indentation();
        }
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (i != 0) {
                indentation();
            }
            text += lines[i];
        }
        text += ',';
    }

    void add(const std::vector<ReferenceWriter>& elements) {
        requireOpen();
        for (const ReferenceWriter& element : elements) {
            if (!element.finalized) {
                add(element);  // which throws
            }
        }
        if (!text.empty() && !inArray) {
            removeLast(' ');
            indentation();
        }
        text += '[';
        const bool before = std::exchange(inArray, true);
        plain = false;
        if (!elements.empty()) {
            indentUp();
            for (const ReferenceWriter& element : elements) {
                indentation();
                add(element);
            }
            removeLast(',');
            indentDown();
        }
        indentation();
        text += "],";
        inArray = before;
    }

    void add(const vorn::common::lwjson::Deserializer& node) {
        using MemberType = vorn::common::lwjson::Deserializer::MemberType;
        requireOpen();
        if (node.isNull()) {
            appendValue("null");
        } else if (node.type() == MemberType::Value) {
            appendValue(std::string(node.value.view()));
        } else if (node.type() == MemberType::Array) {
            std::vector<ReferenceWriter> elements;
            for (const auto& member : node.members()) {
                ReferenceWriter element(true);
                element.add(member);
                element.finalize();
                elements.push_back(std::move(element));
            }
            add(elements);
        } else if (node.type() == MemberType::Object) {
            ReferenceWriter nested(true);
            for (const auto& member : node.members()) {
                nested.appendKey(member.name());
                nested.add(member);
            }
            nested.finalize();
            add(nested);
        }
    }

    void setNull() {
        requireOpen();
        text = "null";
        object = false;
        plain = true;
        continued = false;
        spaces = 0;
    }

    void finalize() {
        if (finalized) {
            return;
        }
        if (text.empty()) {
            text = "null";
        } else {
            removeLast(',');
            if (object) {
                indentDown();
                indentation();
                text += '}';
            }
        }
        finalized = true;
    }
};
