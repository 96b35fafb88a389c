#include "Arguments.h"

#include <gtest/gtest.h>

#include "helpers/expect_throw.h"

namespace gateway {

namespace {

Arguments arguments(std::vector<std::string> words) {
    words.insert(words.begin(), "gwctl");
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    return {static_cast<int>(pointers.size()), pointers.data()};
}

}  // namespace

TEST(Arguments, OptionsAreTakenFromAnywhereBeforeTheDashes) {
    Arguments taken = arguments({"--a", "1", "x", "--a=2", "--f", "--b", "7", "--", "--f", "-"});
    EXPECT_TRUE(taken.flag("--f"));
    EXPECT_FALSE(taken.flag("--f"));
    EXPECT_EQ(taken.values("--a"), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(taken.number("--b"), 7U);
    EXPECT_EQ(taken.value("--none"), std::nullopt);
    EXPECT_EQ(taken.operand("it"), "x");
    EXPECT_EQ(taken.operands(), (std::vector<std::string>{"--f", "-"}));
    taken.finish();
}

TEST(Arguments, ADashAloneIsAnOperand) {
    Arguments taken = arguments({"-"});
    EXPECT_EQ(taken.operand("it"), "-");
}

TEST(Arguments, SayWhatIsWrong) {
    EXPECT_THROW_TEXT(arguments({"--a"}).value("--a"), UsageError, "--a needs a value");
    EXPECT_THROW_TEXT(arguments({"--a=1", "--a=2"}).value("--a"), UsageError, "--a is given twice");
    EXPECT_THROW_TEXT(arguments({"--a=1x"}).number("--a"), UsageError,
                      "--a needs a number, not \"1x\"");
    EXPECT_THROW_TEXT(arguments({"--a=4294967296"}).number("--a"), UsageError,
                      "--a needs a number, not \"4294967296\"");
    EXPECT_THROW_TEXT(arguments({}).operand("it"), UsageError, "it is missing");
    EXPECT_THROW_TEXT(arguments({"--z", "a"}).operand("it"), UsageError,
                      "there is no option --z here");
    EXPECT_THROW_TEXT(arguments({"a"}).finish(), UsageError, "\"a\" is one argument too many");
}

}  // namespace gateway
