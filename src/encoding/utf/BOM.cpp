// SPDX-License-Identifier: MIT
#include "vorn/common/encoding/utf/BOM.h"

#include <array>
#include <string_view>

#include "internal/EnumTexts.h"

namespace vorn::common::encoding::utf {

namespace {

using Encoding = BOM::Encoding;
using namespace std::string_view_literals;

constexpr std::array<internal::EnumText<Encoding>, 4> kTexts = {{{Encoding::utf7, "utf-7"},
                                                                 {Encoding::utf8, "utf-8"},
                                                                 {Encoding::utf16, "utf-16"},
                                                                 {Encoding::utf32, "utf-32"}}};

struct Mark {
    std::string_view bytes;
    Encoding encoding;
    bool bigEndian;
    bool hasByteOrder;
};

// In the order in which they are tried: the UTF-32 mark begins with the one of UTF-16.
constexpr Mark kMarks[] = {
    {"\xFF\xFE\x00\x00"sv, Encoding::utf32, false, true},
    {"\x00\x00\xFE\xFF"sv, Encoding::utf32, true, true},
    {"\xEF\xBB\xBF"sv, Encoding::utf8, false, false},
    {"\xFF\xFE"sv, Encoding::utf16, false, true},
    {"\xFE\xFF"sv, Encoding::utf16, true, true},
    {"\x2B\x2F\x76"sv, Encoding::utf7, false, false},
};

std::optional<BOM> find(std::string_view text) {
    for (const Mark& mark : kMarks) {
        if (text.starts_with(mark.bytes)) {
            return BOM{mark.encoding, mark.bigEndian, mark.hasByteOrder,
                       static_cast<unsigned>(mark.bytes.size())};
        }
    }
    return std::nullopt;
}

}  // namespace

std::string BOM::toString(Encoding encoding) {
    return internal::textOf(kTexts, encoding, "");
}

std::optional<BOM> getBOM(const char* data, unsigned size) {
    return find({data, size});
}

std::optional<BOM> getBOM(const std::vector<char>& data) {
    return find({data.data(), data.size()});
}

}  // namespace vorn::common::encoding::utf
