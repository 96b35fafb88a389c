// SPDX-License-Identifier: MIT
// A text is read as the step by step reader of the tests reads it, with the standard library's own
// reader of dates; a refused text changes nothing. The first byte holds the precision before, and
// how many hundred zeros are put behind the first point: few fractions are too small for a double.
#include <cerrno>
#include <string>

#include <vorn/common/time/UnixTime.h>

#include "fuzz.h"
#include "time/referenceTime.h"

using vorn::common::time::UnixTime;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned choice = input.byte();
    const reference::Time before{1234.5, choice % 2 == 0};
    std::string text(input.rest());
    if (const std::size_t point = text.find('.'); point != std::string::npos) {
        text.insert(point + 1, choice / 2 % 4 * 110, '0');
    }
    const auto expected = reference::timeOfText(text, before);
    UnixTime found = UnixTime::fromSeconds(before.seconds, before.highPrecision);
    errno = 1234;
    fuzz::same(expected.has_value(), found.parseIso8601(text), "accepted");
    fuzz::same(1234, errno, "errno");
    const reference::Time& time = expected ? *expected : before;
    fuzz::same(time.highPrecision, found.highPrecision(), "precision");
    if (time.seconds >= 4294967295.0) {
        fuzz::require(found.isInfinite(), "infinite");
    } else {
        fuzz::same(time.seconds, found.seconds(), "seconds");
    }
    // Written without its fraction it reads as itself.
    found.trunc();
    UnixTime again;
    fuzz::require(again.parseIso8601(found.toIso8601()) && again == found, "read back");
    return 0;
}
