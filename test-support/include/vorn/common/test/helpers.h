// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/export.h>

/// Small helpers for console test programs. Threads: the keyboard functions change the settings of
/// the one terminal, so call them from one thread at a time; the others from any.
namespace vorn::common::test {

/// Waits for one key on the standard input, without echo and without waiting for a line end; prints
/// the character and a line feed, and returns it ('\0' when nothing could be read, at the end of
/// the input for one). A signal does not end the wait.
///
/// Each failing step is reported on the standard error stream with perror, under "tcsetattr()" (the
/// settings could not be read), "tcsetattr ICANON", "read()" or "tcsetattr ~ICANON", and the
/// next step follows all the same; so it works on a pipe too, with three such reports.
/// Deliberate: "tcsetattr()" is the text for the failed reading of the settings. Afterwards
/// canonical mode and echo are on, whatever they were before.
VORN_GW_COMMON_EXPORT char _getch();

/// Prints "Press a key" and waits for one with _getch.
VORN_GW_COMMON_EXPORT void pressKey();

/// Returns a JSON text in the indented layout, so that two documents that differ in layout only
/// become the same text. The text is read with the default options. The reader's exceptions pass:
/// std::runtime_error and std::invalid_argument with the place and kind of the mistake.
///
/// Deliberate: an empty object is written as `null`, as the writer copies every tree, so that `{}`
/// and `null` cannot be told apart afterwards; an empty array stays an array.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string normalizeJson(const std::string& text);

/// Sleeps for the whole time, whatever signals arrive; returns at once for 0.
VORN_GW_COMMON_EXPORT void sleep(unsigned milliseconds);

}  // namespace vorn::common::test
