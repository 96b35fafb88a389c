// SPDX-License-Identifier: MIT

// Prepares a report in a temporary file and keeps it only when it is complete.
#include <filesystem>
#include <fstream>
#include <iostream>

#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/TemporaryFile.h>
#include <vorn/common/fs/tools.h>

namespace fs = vorn::common::fs;

namespace {

bool report(const std::string& target, bool complete) {
    fs::TemporaryFile draft(target + ".draft");
    std::ofstream(draft.getPath()) << "uptime: 3 days\n";
    if (!complete) {
        return false;  // the draft is removed
    }
    std::filesystem::rename(draft.getPath(), target);
    draft.release();
    return true;
}

}  // namespace

int main() {
    const fs::TemporaryDirectory directory;
    const auto target = directory.path() + "/report";
    for (const bool complete : {false, true}) {
        report(target, complete);
        std::cout << fs::tools::listFilesFromDirPath(directory.path(), false).size()
                  << " file(s)\n";
    }
    std::cout << fs::tools::readFile(target);
    return 0;
}
