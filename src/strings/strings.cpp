// SPDX-License-Identifier: MIT
#include "vorn/common/strings/strings.h"

#include <algorithm>
#include <cctype>
#include <functional>

namespace vorn::common {

std::size_t findEsc(std::string_view text, std::string_view pattern, std::size_t start,
                    char escape) {
    // Escape characters are counted once, forward, up to the match at hand: counting back from each
    // match would be quadratic in a long run of them.
    std::size_t counted = start;
    bool escaped = false;
    // From match + 1, not behind the match: occurrences may overlap.
    for (std::size_t match = text.find(pattern, start); match != std::string_view::npos;
         match = text.find(pattern, match + 1)) {
        if (escape == '\0') {
            return match;
        }
        for (; counted < match; ++counted) {
            escaped = text[counted] == escape && !escaped;
        }
        if (!escaped) {
            return match;
        }
    }
    return std::string_view::npos;
}

namespace strings {

void trim(std::string& text) {
    const auto isVisible = [](char character) {
        return std::isspace(static_cast<unsigned char>(character)) == 0;
    };
    // The end first, so that there is less to move to the front.
    text.erase(std::find_if(text.rbegin(), text.rend(), isVisible).base(), text.end());
    text.erase(text.begin(), std::find_if(text.begin(), text.end(), isVisible));
}

std::size_t heap_size(const std::string& text) noexcept {
    // Short texts lie inside the object. `<` itself has no meaning between unrelated objects.
    const auto* const begin = reinterpret_cast<const char*>(&text);
    const std::less<const char*> before;
    const bool isInside =
        !before(text.data(), begin) && before(text.data(), begin + sizeof(std::string));
    return isInside ? 0 : text.capacity();
}

}  // namespace strings

}  // namespace vorn::common
