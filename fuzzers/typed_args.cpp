// SPDX-License-Identifier: MIT
// Documents are flattened, and texts converted, as the step by step forms of the tests do it. With
// an even first byte the rest is one argument's text, else a document.
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include <vorn/common/TypedArgs.h>
#include <vorn/common/lwjson/Deserializer.h>

#include "arguments/referenceArguments.h"
#include "fuzz.h"

namespace {

using vorn::common::Args;
using vorn::common::GetTypedArgHelper;
using vorn::common::lwjson::Deserializer;

template <class T>
void convert(std::string_view text, const std::optional<T>& expected, const char* kind) {
    std::optional<T> found;
    errno = 1234;
    const std::string error = fuzz::errorOf([&] { found = GetTypedArgHelper<T>::get(text); });
    fuzz::same(1234, errno, "errno");
    fuzz::same(
        expected ? "" : std::string("invalid: Invalid argument: ") + kind + " value expected",
        error, "error");
    fuzz::require(
        found == expected || (expected && found && *expected != *expected && *found != *found),
        "value");
}

template <class Integer>
void integer(std::string_view text) {
    convert(text, reference::integerArgument<Integer>(text),
            std::is_signed_v<Integer> ? "signed integer" : "unsigned integer");
}

template <class Number>
void floating(std::string_view text) {
    convert(text, reference::floatingArgument<Number>(text), "floating point");
}

void document(const std::string& text) {
    Deserializer root(Deserializer::AllowEmptyValues);
    if (!fuzz::errorOf([&] { root.importJson(std::string_view(text)); }).empty()) {
        return;
    }
    Args expected;
    reference::flattenArguments(expected, "", root, false);
    fuzz::require(vorn::common::loadArgs(root) == expected, "flattened");
    Args more{{"p", "kept"}, {"p_a", "kept"}};
    expected = more;
    reference::flattenArguments(expected, "p_", root, false);
    vorn::common::loadArgs(more, "p_", root);
    fuzz::require(more == expected, "flattened into a map");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned kind = input.byte() & 3U;
    const std::string text(input.rest());
    const fuzz::ExactCopy copy(text);
    const std::string_view exact = copy.view();
    if (kind % 2 == 1) {
        document(text);
    } else if (kind == 0) {
        integer<signed char>(exact);
        integer<unsigned char>(exact);
        integer<short>(exact);
        integer<unsigned short>(exact);
        integer<int>(exact);
        integer<unsigned>(exact);
        integer<long>(exact);
        integer<unsigned long>(exact);
        integer<long long>(exact);
        integer<unsigned long long>(exact);
    } else {
        floating<float>(exact);
        floating<double>(exact);
        floating<long double>(exact);
        convert(exact,
                exact == "true"    ? std::optional(true)
                : exact == "false" ? std::optional(false)
                                   : std::nullopt,
                "boolean");
        std::optional<std::string_view> quoted;
        if (exact.size() >= 2 && exact.front() == '"' && exact.back() == '"') {
            quoted = exact.substr(1, exact.size() - 2);
        }
        convert(exact, quoted, "string");
        convert(exact, quoted ? std::optional<std::string>(*quoted) : std::nullopt, "string");
    }
    return 0;
}
