// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "helpers/faults/reach.h"
#include "ladders/Trial.h"

/// A ladder runs one operation again and again, and lets its first, second, third, ... allocation
/// or system call fail. After each run the operation has failed as its header says or succeeded, as
/// many descriptors, threads, children and blocks of memory are left as before, and what the row
/// checks holds: the next use works.
namespace ladders {

/// What an operation does without memory.
enum class Answer {
    Throws,  ///< std::bad_alloc
    Hides,   ///< as its header says: it returns, or throws std::bad_alloc or an error of its own
};

/// One operation, and all that it may answer to a failure.
struct Row {
    /// An exception that the header of the operation states: its type, and how its text begins.
    struct Error {
        bool (*matches)(const std::exception&);
        std::string text;
    };

    std::string name;
    std::function<void(Trial&)> run;  ///< checks what was returned; that may not be less than asked
    Answer answer = Answer::Throws;
    faults::Threads threads = faults::Threads::This;  ///< whose allocations fail
    std::vector<Error> errors{};                      ///< see mayThrow

    /// Any other exception is a failure, but for std::bad_alloc where memory was lacking.
    template <class Exception>
    Row mayThrow(std::string text) const {
        Row row = *this;
        row.errors.push_back({[](const std::exception& error) {
                                  return dynamic_cast<const Exception*>(&error) != nullptr;
                              },
                              std::move(text)});
        return row;
    }
};

/// The row of a call that gives a value: the same again after every failure.
template <class Make>
Row giving(const std::string& name, Make make) {
    return {name, [make](Trial& trial) {
                const auto expected = make();
                auto result = expected;
                trial.operate([&] { result = make(); });
                trial.require(result == expected, "another result");
                trial.require(make() == expected, "the next use");
            }};
}

/// Each row with operator new failing at call k, once and from there on; reports failures to the
/// running test.
void climbAllocations(const std::vector<Row>& rows);

/// Each row with its k-th system call failing with each plausible errno, those of the threads and
/// children (until they execute a program) included. Where the kernel has no listener for filtered
/// calls (under the user-mode emulator) the C library calls are taken instead.
void climbCalls(const std::vector<Row>& rows);

/// The same without reporting: a line for each failure.
/// @{
std::string failuresOfAllocations(const std::vector<Row>& rows);
std::string failuresOfCalls(const std::vector<Row>& rows);
/// @}

}  // namespace ladders
