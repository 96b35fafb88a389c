// SPDX-License-Identifier: MIT
// Two documents are compared as a search from the front for every name does: the same report, the
// same first difference, the same count. The first byte chooses how the rest makes the documents.
#include <sstream>
#include <string>
#include <string_view>

#include <vorn/common/lwjson/Deserializer.h>

#include "fuzz.h"
#include "json/referenceComparison.h"

namespace {

using vorn::common::lwjson::Deserializer;

/// An object with a member for each byte, so that short inputs make wide objects.
std::string wideObject(std::string_view bytes) {
    std::string text = "{";
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        text += (text.size() == 1 ? "\"k" : ",\"k") + std::to_string(code / 4) +
                "\":" + std::to_string(code % 4);
    }
    return text + "}";
}

void compare(const Deserializer& expected, const Deserializer& found) {
    ReferenceComparison reference;
    reference.compare(expected, found);
    std::ostringstream report;
    fuzz::same(reference.differences == 0, expected.compare(found, report), "result with a report");
    fuzz::same(reference.report, report.str(), "report");
    fuzz::same(reference.differences == 0, expected.compare(found), "result");

    const Deserializer::CompareContext counting(false, nullptr, false);
    expected.compare(found, counting);
    fuzz::same(reference.differences, counting.differences(), "number of differences");

    std::ostringstream line;
    const Deserializer::CompareContext throwing(true, &line, true);
    const std::string error = fuzz::errorOf([&] { expected.compare(found, throwing); });
    fuzz::same(reference.first.empty() ? "" : "runtime: " + reference.first, error, "exception");
    // Names and values may hold line feeds.
    fuzz::require(reference.report.starts_with(line.str()), "the report up to the exception");
    fuzz::same(reference.first.empty() ? 0U : 1U, throwing.differences(), "counted when thrown");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned kind = input.byte() & 3U;
    const std::string_view rest = input.rest();
    const std::size_t middle = rest.find('|');
    const std::string_view first = rest.substr(0, middle);
    const std::string_view second =
        middle == std::string_view::npos ? rest : rest.substr(middle + 1);
    Deserializer expected(Deserializer::AllowEmptyValues);
    Deserializer found(Deserializer::AllowEmptyValues);
    const std::string error = fuzz::errorOf([&] {
        expected.importJson(kind == 1 ? wideObject(first) : std::string(first));
        found.importJson(kind == 1 ? wideObject(second) : std::string(second));
    });
    if (error.empty()) {
        compare(expected, found);
        compare(found, expected);
        compare(expected, expected);
    }
    return 0;
}
