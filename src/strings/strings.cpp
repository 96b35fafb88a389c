#include "vorn/common/strings/strings.h"

#include <algorithm>
#include <cctype>
#include <functional>

namespace vorn::common {

std::size_t findEsc(std::string_view text, std::string_view pattern, std::size_t start,
                    char escape) {
    std::size_t counted = start;
    bool escaped = false;
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
    text.erase(std::find_if(text.rbegin(), text.rend(), isVisible).base(), text.end());
    text.erase(text.begin(), std::find_if(text.begin(), text.end(), isVisible));
}

std::size_t heap_size(const std::string& text) noexcept {
    const auto* const begin = reinterpret_cast<const char*>(&text);
    const std::less<const char*> before;
    const bool isInside =
        !before(text.data(), begin) && before(text.data(), begin + sizeof(std::string));
    return isInside ? 0 : text.capacity();
}

}  // namespace strings

}  // namespace vorn::common
