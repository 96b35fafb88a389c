// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "helpers/faults/reach.h"
#include "ladders/Trial.h"

/// A ladder runs one operation again and again, and lets its first, second, third, ... allocation
/// or system call fail. After each run the operation has failed as its header says or succeeded, as
/// many descriptors, threads, children and blocks of memory are left as before, and what the row
/// checks holds: the next use works.
namespace ladders {

/// What an operation does about a failure.
enum class Answer {
    Throws,  ///< std::bad_alloc for want of memory; any standard exception, or success, otherwise
    Hides,   ///< as its header says it returns, or throws something of its own
};

struct Row {
    std::string name;
    std::function<void(Trial&)> run;
    Answer answer = Answer::Throws;
    faults::Threads threads = faults::Threads::This;  ///< whose allocations fail
};

/// Each row with operator new failing at call k, once and from there on; reports failures to the
/// running test.
void climbAllocations(const std::vector<Row>& rows);

/// Each row with its k-th system call failing with each plausible errno, those of the threads and
/// children (until they execute a program) included. Where the kernel has no listener for filtered
/// calls (under the user-mode emulator) the C library calls are taken instead.
void climbCalls(const std::vector<Row>& rows);

}  // namespace ladders
