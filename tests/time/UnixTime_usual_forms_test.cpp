// SPDX-License-Identifier: MIT
#include <cfenv>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/time/UnixTime.h>

#include "helpers/environment.h"

namespace {

using vorn::common::time::UnixTime;

/// A leading blank is skipped and keeps the text off the short way for the usual forms, so it must
/// make no difference.
void expectTheSameBothWays(const std::string& text) {
    auto usual = UnixTime::fromSeconds(42.25, false);
    auto lenient = usual;
    ASSERT_EQ(usual.parseIso8601(text), lenient.parseIso8601(" " + text)) << text;
    ASSERT_EQ(usual.seconds(), lenient.seconds()) << text;
    ASSERT_EQ(usual.highPrecision(), lenient.highPrecision()) << text;
}

const char* const kForms[] = {
    "2023-11-14T22:13:20",
    "2023-11-14T22:13:20Z",
    "2023-11-14T22:13:20.250Z",
    "2023-11-14T22:13:20.123456789",
    "2023-11-14T22:13:20+01:30",
    "2023-11-14T22:13:20.5-11:45",
    "2024-02-29T00:00:00.999999999999999Z",
    "1970-01-01T00:30:00+00:31",
    "9999-12-31T23:59:59-99:99",
};

TEST(UnixTimeUsualForms, AreReadAsTheLenientWayDoes) {
    for (const char* form : kForms) {
        expectTheSameBothWays(form);
    }
}

TEST(UnixTimeUsualForms, WithAnyByteAtAnyPlace) {
    constexpr unsigned kStep = helpers::kSlow ? 7 : 1;
    for (const std::string form : kForms) {
        for (std::size_t place = 0; place < form.size(); ++place) {
            for (unsigned code = 0; code < 256; code += kStep) {
                std::string text = form;
                text[place] = static_cast<char>(static_cast<unsigned char>(code));
                expectTheSameBothWays(text);
            }
        }
    }
}

TEST(UnixTimeUsualForms, CutOffDoubledAndFollowedByAnything) {
    for (const std::string form : kForms) {
        for (std::size_t place = 0; place <= form.size(); ++place) {
            expectTheSameBothWays(form.substr(0, place));
            for (const char* more :
                 {"0", "9", ".", ":", "Z", "+", "-", " ", "T", "00", "\t", "e"}) {
                expectTheSameBothWays(std::string(form).insert(place, more));
            }
            if (place < form.size()) {
                expectTheSameBothWays(std::string(form).erase(place, 1));
            }
        }
    }
}

TEST(UnixTimeUsualForms, EveryValueOfEveryField) {
    const std::string form = "2023-05-14T12:13:14+05:06";
    for (const std::size_t place : {0U, 2U, 5U, 8U, 11U, 14U, 17U, 20U, 23U}) {
        for (char high = '0'; high <= '9'; ++high) {
            for (char low = '0'; low <= '9'; ++low) {
                std::string text = form;
                text[place] = high;
                text[place + 1] = low;
                expectTheSameBothWays(text);
            }
        }
    }
}

TEST(UnixTimeUsualForms, FractionsOfAnyLengthInAnyRoundingMode) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> digit(0, 9);
    const int rounds = helpers::kSlow ? 20 : 200;
    for (const int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        for (int length = 0; length <= 20; ++length) {
            for (int round = 0; round < rounds; ++round) {
                // Before the epoch's first minute is over, all digits of a fraction count.
                std::string text = "1970-01-01T00:00:00.";
                for (int i = 0; i < length; ++i) {
                    text += static_cast<char>('0' + digit(random));
                }
                expectTheSameBothWays(text + (round % 2 == 0 ? "Z" : "+00:00"));
            }
        }
    }
    std::fesetround(FE_TONEAREST);
}

}  // namespace
