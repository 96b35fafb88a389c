// SPDX-License-Identifier: MIT

// One process produces a file, another waits for it; neither ever sees half of it.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>

#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/fs/TemporaryDirectory.h>

using vorn::common::fs::LockedFile;

int main() {
    const vorn::common::fs::TemporaryDirectory directory;
    const auto path = directory.path() + "/address";

    const auto producer = ::fork();
    if (producer == 0) {
        LockedFile::create(path).stream() << "10.0.0."
                                          << "17";
        ::_exit(0);
    }

    std::string address;
    LockedFile::waitUntil(path, std::chrono::steady_clock::now() + std::chrono::seconds(60))
            .stream() >>
        address;
    std::cout << "address: " << address << '\n';
    ::waitpid(producer, nullptr, 0);
    return 0;
}
