// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/TypedArgs.h>

#include "ladders/Ladder.h"

namespace {

using ladders::Trial;
using vorn::common::Args;
using vorn::common::GetTypedArgHelper;
using vorn::common::loadArgs;
using vorn::common::lwjson::Deserializer;

void loading(Trial& trial) {
    const Deserializer document(
        R"({"a name of some length":{"and another one":["a text that needs memory of its own",2],)"
        R"("b":true},"c":1.5})");
    const auto expected = loadArgs(document);
    Args args;
    trial.operate([&] { args = loadArgs(document); });
    trial.require(args == (trial.threw() ? Args() : expected), "neither all arguments nor none");
    trial.require(loadArgs(document) == expected, "the next use");
}

/// Into a map that has arguments already; those stay.
void loadingMore(Trial& trial) {
    const Deserializer document(R"({"a name of some length":{"b":"a text that needs memory"}})");
    Args args{{"before", "a value that needs memory of its own"}};
    trial.operate([&] { loadArgs(args, "a prefix that needs memory of its own_", document); });
    trial.require(args.count("before") == 1, "an argument is lost");
    trial.require(trial.threw() || args.size() == 2, "an argument is missing");
    loadArgs(args, "a prefix that needs memory of its own_", document);
    trial.require(args.size() == 2, "the next use");
}

template <class Value>
std::function<void(Trial&)> getting(const char* text, Value expected) {
    return [text, expected](Trial& trial) {
        Value value{};
        trial.operate([&] { value = GetTypedArgHelper<Value>::get(text); });
        trial.require(trial.threw() || value == expected, "another value");
        trial.require(GetTypedArgHelper<Value>::get(text) == expected, "the next use");
    };
}

TEST(ArgumentsLadder, Allocations) {
    const std::string longText = "a text that needs memory of its own";
    ladders::climbAllocations({
        {"loadArgs", loading},
        {"loadArgs into a map", loadingMore},
        {"GetTypedArgHelper<string>",
         getting<std::string>("\"a text that needs memory of its own\"", longText)},
        {"GetTypedArgHelper<int>", getting("12", 12)},
        {"GetTypedArgHelper<double>", getting("1.5", 1.5)},
        {"GetTypedArgHelper<bool>", getting("true", true)},
    });
}

}  // namespace
