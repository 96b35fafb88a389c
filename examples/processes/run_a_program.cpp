// SPDX-License-Identifier: MIT

// Runs a program, captures what it prints, and stops it when it takes too long.
#include <chrono>
#include <iostream>

#include <vorn/common/executable/Executable.h>

using vorn::common::executable::Executable;

int main() {
    Executable sort({"/bin/sh", "-c", "printf 'pear\\napple\\n' | sort; echo done >&2; exit 3"},
                    {.environment = {"PATH=/bin:/usr/bin"}, .timeout = std::chrono::minutes(1)});
    sort.execSync();
    if (sort.getStatus() != Executable::Exited) {
        std::cerr << "killed after a minute\n";
        return 1;
    }
    std::cout << "exit status " << *sort.getExitCode() << "\n"
              << "output:\n"
              << *sort.readFromStdOut() << "errors:\n"
              << *sort.readFromStdErr();

    Executable endless({"/bin/sleep", "1000"}, {.timeout = std::chrono::milliseconds(50)});
    endless.execSync();
    std::cout << "the other one "
              << (endless.getStatus() == Executable::TimedOut ? "was stopped" : "ended") << "\n";
}
