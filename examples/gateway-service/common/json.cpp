// SPDX-License-Identifier: MIT
#include "json.h"

#include <charconv>
#include <stdexcept>

namespace gateway {

namespace {

bool isBetween(char character, unsigned low, unsigned high) {
    const unsigned code = static_cast<unsigned char>(character);
    return low <= code && code <= high;
}

// Length of the UTF-8 sequence at the start of `text`, 0 when there is none (RFC 3629, section 4).
std::size_t sequenceLength(std::string_view text) {
    const unsigned lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (!isBetween(text[1], low, high)) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (!isBetween(text[i], 0x80, 0xBF)) {
            return 0;
        }
    }
    return length;
}

// Whether it begins with one of U+0080 to U+009F, which terminals obey like those before the space.
bool isLateControl(std::string_view text) {
    return text.size() > 1 && text[0] == '\xC2' && isBetween(text[1], 0x80, 0x9F);
}

// What ends a line or turns the direction of writing: U+200E, U+200F, U+2028 to U+202E and U+2066
// to U+2069.
bool isFormat(std::string_view text) {
    return text.size() > 2 && text[0] == '\xE2' &&
           ((text[1] == '\x80' &&
             (isBetween(text[2], 0x8E, 0x8F) || isBetween(text[2], 0xA8, 0xAE))) ||
            (text[1] == '\x81' && isBetween(text[2], 0xA6, 0xA9)));
}

void appendEscaped(std::string& out, char control) {
    constexpr std::string_view digits = "0123456789abcdef";
    const unsigned code = static_cast<unsigned char>(control);
    out += "\\u00";
    out += digits[code >> 4U];
    out += digits[code & 15U];
}

void appendUtf8(std::string& out, unsigned code) {
    const auto tail = [&out](unsigned bits) { out += static_cast<char>(0x80U | (bits & 0x3FU)); };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0U | (code >> 6U));
        tail(code);
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0U | (code >> 12U));
        tail(code >> 6U);
        tail(code);
    } else {
        out += static_cast<char>(0xF0U | (code >> 18U));
        tail(code >> 12U);
        tail(code >> 6U);
        tail(code);
    }
}

// Reads the four digits of a "\u" escape and removes them from `rest`.
unsigned takeCodeUnit(std::string_view& rest) {
    unsigned unit = 0;
    const char* end = rest.data() + (rest.size() < 4 ? rest.size() : 4);
    const auto [stop, error] = std::from_chars(rest.data(), end, unit, 16);
    if (error != std::errc() || stop != rest.data() + 4) {
        throw std::invalid_argument("a \\u escape needs four hexadecimal digits");
    }
    rest.remove_prefix(4);
    return unit;
}

void appendUnicode(std::string& out, std::string_view& rest) {
    unsigned code = takeCodeUnit(rest);
    if (code >= 0xD800 && code <= 0xDFFF) {
        const bool paired = code < 0xDC00 && rest.substr(0, 2) == "\\u";
        if (paired) {
            rest.remove_prefix(2);
        }
        const unsigned low = paired ? takeCodeUnit(rest) : 0;
        if (low < 0xDC00 || low > 0xDFFF) {
            throw std::invalid_argument("a \\u escape holds half of a surrogate pair");
        }
        code = 0x10000 + ((code - 0xD800) << 10U) + (low - 0xDC00);
    }
    appendUtf8(out, code);
}

}  // namespace

std::string jsonString(std::string_view text) {
    std::string out = "\"";
    out.reserve(text.size() + 2);
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        const char first = text[0];
        if (length == 0) {
            out += "\xEF\xBF\xBD";
        } else if (first == '"' || first == '\\') {
            out += '\\';
            out += first;
        } else if (first == '\n') {
            out += "\\n";
        } else if (first == '\t') {
            out += "\\t";
        } else if (isBetween(first, 0, 0x1F)) {
            appendEscaped(out, first);
        } else if (isLateControl(text)) {
            appendEscaped(out, text[1]);
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    out += '"';
    return out;
}

std::string printable(std::string_view text, char instead) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0 || isBetween(text[0], 0, 0x1F) || text[0] == 0x7F || isLateControl(text) ||
            isFormat(text)) {
            out += instead;
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

std::string textOf(const vorn::common::lwjson::Deserializer& node) {
    std::string_view rest(node.value.data, node.value.size);
    if (rest.size() < 2 || rest.front() != '"') {
        throw std::invalid_argument("a string is expected");
    }
    rest = rest.substr(1, rest.size() - 2);
    constexpr std::string_view names = "\"\\/bfnrt";
    constexpr std::string_view characters = "\"\\/\b\f\n\r\t";
    std::string out;
    out.reserve(rest.size());
    while (!rest.empty()) {
        const std::size_t plain = rest.find('\\');
        out += rest.substr(0, plain);
        if (plain == std::string_view::npos) {
            break;
        }
        const char name = rest[plain + 1];
        rest.remove_prefix(plain + 2);
        if (name == 'u') {
            appendUnicode(out, rest);
        } else if (const std::size_t place = names.find(name); place != std::string_view::npos) {
            out += characters[place];
        } else {
            throw std::invalid_argument(std::string("there is no escape \\") + name);
        }
    }
    return out;
}

JsonLine& JsonLine::json(const char* key, const std::string& value) {
    serializer_.appendKey(key);
    serializer_.appendValue(value.c_str());
    return *this;
}

JsonLine& JsonLine::jsons(const char* key, const std::vector<std::string>& values) {
    std::string array = "[";
    for (const std::string& value : values) {
        array += array.size() > 1 ? "," : "";
        array += value;
    }
    return json(key, array + "]");
}

JsonLine& JsonLine::text(const char* key, std::string_view value) {
    return json(key, jsonString(value));
}

JsonLine& JsonLine::texts(const char* key, const std::vector<std::string>& values) {
    std::vector<std::string> elements;
    elements.reserve(values.size());
    for (const std::string& value : values) {
        elements.push_back(jsonString(value));
    }
    return jsons(key, elements);
}

JsonLine& JsonLine::number(const char* key, std::int64_t value) {
    return json(key, std::to_string(value));
}

JsonLine& JsonLine::flag(const char* key, bool value) {
    return json(key, value ? "true" : "false");
}

JsonLine& JsonLine::uuid(const char* key, const vorn::common::Uuid& value) {
    serializer_.appendKey(key);
    serializer_.addValue(value);
    return *this;
}

std::string JsonLine::take() {
    serializer_.finalize();
    return serializer_.mutableJson();
}

}  // namespace gateway
