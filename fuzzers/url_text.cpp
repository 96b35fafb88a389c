// SPDX-License-Identifier: MIT
// Percent-encoding, byte-order marks and the string helpers agree with their descriptions followed
// character by character. The first byte is a length or an escape character where one is needed.
#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/encoding/utf/BOM.h>
#include <vorn/common/strings/strings.h>
#include <vorn/common/strlcpy.h>

#include "fuzz.h"
#include "identifiers/encoding/referenceUrl.h"

namespace {

using vorn::common::encoding::UrlEncode;
using vorn::common::encoding::utf::BOM;

void marks(const std::string& text, std::string_view exact) {
    using namespace std::string_view_literals;
    static const struct {
        std::string_view mark;
        BOM bom;
    } kMarks[] = {
        {"\xFF\xFE\0\0"sv, {BOM::Encoding::utf32, false, true, 4}},
        {"\0\0\xFE\xFF"sv, {BOM::Encoding::utf32, true, true, 4}},
        {"\xEF\xBB\xBF"sv, {BOM::Encoding::utf8, false, false, 3}},
        {"\xFF\xFE"sv, {BOM::Encoding::utf16, false, true, 2}},
        {"\xFE\xFF"sv, {BOM::Encoding::utf16, true, true, 2}},
        {"\x2B\x2F\x76"sv, {BOM::Encoding::utf7, false, false, 3}},
    };
    std::optional<BOM> expected;
    for (const auto& row : kMarks) {
        if (!expected && text.starts_with(row.mark)) {
            expected = row.bom;
        }
    }
    using vorn::common::encoding::utf::getBOM;
    fuzz::require(getBOM(exact.data(), static_cast<unsigned>(exact.size())) == expected, "mark");
    fuzz::require(getBOM(std::vector<char>(text.begin(), text.end())) == expected,
                  "mark of vector");
}

std::size_t foundByRule(std::string_view text, std::string_view pattern, std::size_t start,
                        char escape) {
    for (std::size_t at = start; at <= text.size(); ++at) {
        if (text.substr(at, pattern.size()) != pattern) {
            continue;
        }
        std::size_t escapes = 0;
        while (escape != '\0' && at - escapes > start && text[at - escapes - 1] == escape) {
            ++escapes;
        }
        if (escapes % 2 == 0) {
            return at;
        }
    }
    return std::string::npos;
}

void helpers(const std::string& text, unsigned choice) {
    std::string trimmed = text;
    vorn::common::strings::trim(trimmed);
    const auto isSpace = [](char character) {
        return std::isspace(static_cast<unsigned char>(character)) != 0;
    };
    std::string expected = text;
    while (!expected.empty() && isSpace(expected.back())) {
        expected.pop_back();
    }
    while (!expected.empty() && isSpace(expected.front())) {
        expected.erase(0, 1);
    }
    fuzz::same(expected, trimmed, "trimmed");

    // The pattern is the end of the text behind the last '|', or a few of its characters.
    const std::size_t bar = std::min(text.rfind('|'), text.size());
    const std::string_view view = text;
    const std::string_view pattern =
        bar == text.size() ? view.substr(0, choice % 3) : view.substr(bar + 1);
    const char escape = choice % 4 == 0 ? '\0' : '\\';
    const std::size_t start = choice / 4 % 16;
    const fuzz::ExactCopy exact(view.substr(0, bar));
    fuzz::same(foundByRule(exact.view(), pattern, start, escape),
               vorn::common::findEsc(exact.view(), pattern, start, escape), "found");

    const std::string source = text.c_str();
    const fuzz::ExactCopy terminated(std::string_view(source.c_str(), source.size() + 1));
    // One more than is told: with a length of 0 the target must not be null either.
    std::vector<char> target(choice + 1, '!');
    fuzz::same(source.size(),
               vorn::common::strlcpy(target.data(), terminated.view().data(), choice),
               "length of the source");
    if (choice != 0) {
        fuzz::same(source.substr(0, choice - 1), std::string(target.data()), "copied");
        fuzz::require(
            std::all_of(target.begin() + static_cast<std::ptrdiff_t>(
                                             std::min<std::size_t>(source.size() + 1, choice)),
                        target.end(), [](char left) { return left == '!'; }),
            "what lies behind the copy");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned choice = input.byte();
    const std::string text(input.rest());
    fuzz::same(reference::urlEncoded(text), UrlEncode::encode(text), "encoded");
    std::string expected;
    std::string found;
    const std::string error = fuzz::errorOf([&] { expected = reference::urlDecoded(text); });
    fuzz::same(error, fuzz::errorOf([&] { found = UrlEncode::decode(text); }), "error");
    fuzz::same(expected, found, "decoded");
    for (const char character : text) {
        fuzz::same(reference::isUrlCharacter(character), UrlEncode::isValidUrlChar(character),
                   "character");
    }
    marks(text, fuzz::ExactCopy(text).view());
    helpers(text, choice);
    return 0;
}
