// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

/// Nine passes over the whole text, one kind after the other, each going on behind what it has put
/// in.
inline std::string unescapedPassByPass(std::string text) {
    constexpr std::pair<char, char> kPasses[] = {{'"', '"'},  {'\\', '\\'}, {'/', '/'},
                                                 {'b', '\b'}, {'f', '\f'},  {'n', '\n'},
                                                 {'r', '\r'}, {'t', '\t'},  {'\'', '\''}};
    for (const auto& [letter, character] : kPasses) {
        const std::string escape = {'\\', letter};
        for (std::size_t at = text.find(escape); at != std::string::npos;
             at = text.find(escape, at + 1)) {
            text.replace(at, 2, 1, character);
        }
    }
    return text;
}
