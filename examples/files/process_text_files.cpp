// SPDX-License-Identifier: MIT

// Reads a list of hosts line by line, stores it sorted, and puts the new list in place in one step.
#include <algorithm>
#include <iostream>

#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/tools.h>

namespace tools = vorn::common::fs::tools;

int main() {
    const vorn::common::fs::TemporaryDirectory work;
    const auto list = work.path() + "/hosts";
    tools::createFile(list, "  printer\n\nmodem  \ncamera\n");

    const std::set<tools::ReadFileOptions> cleaned{tools::ReadFileOptions::Trim,
                                                   tools::ReadFileOptions::SkipEmptyLines};
    auto hosts = tools::readFileLinesToArray(list, cleaned);
    std::sort(hosts.begin(), hosts.end());

    const auto sorted = list + ".sorted";
    auto stream = tools::createFile(sorted, "");
    for (const auto& host : hosts) {
        stream << host << '\n';
    }
    stream.close();
    tools::swapFiles(sorted, list);

    std::cout << "now: " << tools::readFileLinesToString(list, ", ", {}) << '\n';
    std::cout << "before: " << tools::readFileLinesToString(sorted, ", ", cleaned) << '\n';
    return 0;
}
