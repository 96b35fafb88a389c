// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

namespace helpers {

/// Succeeds when `call` throws exactly `Type` (not a class derived from it) with that text.
template <class Type, class Call>
testing::AssertionResult throwsText(Call call, const std::string& text) {
    try {
        call();
    } catch (const Type& error) {
        if (typeid(error) != typeid(Type)) {
            return testing::AssertionFailure() << "threw a derived type: " << typeid(error).name();
        }
        if (error.what() != text) {
            return testing::AssertionFailure()
                   << "text is:  " << error.what() << "\nexpected: " << text;
        }
        return testing::AssertionSuccess();
    } catch (const std::exception& error) {
        return testing::AssertionFailure()
               << "threw " << typeid(error).name() << ": " << error.what();
    }
    return testing::AssertionFailure() << "threw nothing, expected: " << text;
}

}  // namespace helpers

/// EXPECT_THROW_TEXT(reader["x"], std::out_of_range, "...");
#define EXPECT_THROW_TEXT(statement, type, text) \
    EXPECT_TRUE(::helpers::throwsText<type>([&] { static_cast<void>(statement); }, text))
