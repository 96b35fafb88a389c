// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A slow reader written step by step from the grammar's description, to compare the real one with.
/// `text` must be NUL-terminated behind `end`.
struct ReferenceReader {
    bool isNull = false;
    int type = 0;
    std::string name;
    std::string value;
    const char* begin = nullptr;  ///< with `end`, the text that the node parses
    const char* end = nullptr;
    std::vector<ReferenceReader> members;
    bool singleQuotedKeys = false;
    bool emptyValues = false;

    static const char* skip(const char* p, const char* end) {
        p += std::strspn(p, " \t\n\r");
        return p < end ? p : end;
    }

    static const char* closingQuote(const char* from, const char* end, char quote) {
        for (const char* p = std::strchr(from, quote); p != nullptr && p < end;
             p = std::strchr(p + 1, quote)) {
            const char* before = p;
            while (before != from && before[-1] == '\\') {
                --before;
            }
            if ((p - before) % 2 == 0) {
                return p;
            }
        }
        throw std::invalid_argument(std::string("The string is missing the terminator ") + quote +
                                    " (" + std::to_string(int{quote}) + ")");
    }

    static std::string first32(const char* begin, const char* end) {
        return std::string(begin, end).substr(0, 32);
    }

    const char* parse(const char* from, const char* to, unsigned depth, bool root) {
        begin = from;
        end = to;
        isNull = false;
        const char* p = skip(begin, end);
        if (p == end || *p == ',') {
            if (emptyValues) {
                return p;
            }
            throw std::runtime_error("Empty value (\"" + first32(begin, end) + "\")");
        }
        const char* q = nullptr;
        if (*p == '[' || *p == '{') {
            type = *p == '[' ? 3 : 2;
            q = extract(p + 1, *p == '[' ? ']' : '}', *p == '{', depth);
            value = std::string(p, q);
        } else if (*p == '"') {
            type = 1;
            q = closingQuote(p + 1, end, '"') + 1;
            value = std::string(p, q);
        } else {
            type = 1;
            q = p + std::strcspn(p, " \t\n\r,[]{}:");
            q = q < end ? q : end;
            if (end - p >= 4 && std::strncmp(p, "null", 4) == 0) {
                if (q - p != 4) {
                    throw std::runtime_error("Invalid value (\"" + first32(p, end) + "\")");
                }
                isNull = true;
            } else if (q == p) {
                throw std::runtime_error("Empty value (\"" + first32(begin, end) + "\")");
            }
            value = std::string(p, q);
        }
        const char* r = skip(q, end);
        if (root && r != end && (*r == '\0' || std::strchr(",[]{}:", *r) == nullptr)) {
            throw std::runtime_error(std::string("Unexpected character '") + *r +
                                     "' found after value '" + value + "'");
        }
        return r;
    }

    const char* key(std::string& result, const char* from) const {
        const char* p = skip(from, end);
        if (*p != '"' && !(singleQuotedKeys && *p == '\'')) {
            throw std::runtime_error("Invalid token when looking for key");
        }
        const char* q = closingQuote(p + 1, end, *p);
        result = std::string(p + 1, q);
        if (result.empty()) {
            throw std::runtime_error("Empty key");
        }
        const char* r = skip(q + 1, end);
        if (*r != ':') {
            throw std::runtime_error("Missing ':' token after key");
        }
        return r + 1;
    }

    const char* extract(const char* inside, char endToken, bool isObject, unsigned depth) {
        if (depth == 0) {
            throw std::runtime_error("Maximum nested objects limit reached");
        }
        const char* p = skip(inside, end);
        if (*p == endToken) {
            return p + 1;
        }
        for (;;) {
            ReferenceReader member;
            member.singleQuotedKeys = singleQuotedKeys;
            member.emptyValues = emptyValues;
            if (isObject) {
                p = key(member.name, p);
            }
            p = member.parse(p, end, depth - 1, false);
            members.push_back(std::move(member));
            if (p == end) {
                throw std::runtime_error("Missing end token");
            }
            if (*p == ',') {
                ++p;
                continue;
            }
            if (*p == endToken) {
                return p + 1;
            }
            throw std::runtime_error("Invalid token in object");
        }
    }
};
