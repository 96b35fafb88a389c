#pragma once

#include <vorn/common/export.h>

#include <string>

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

/// Sleeps for the whole time, whatever signals arrive; returns at once for 0.
VORN_GW_COMMON_EXPORT void sleep(unsigned milliseconds);

}  // namespace vorn::common::test
