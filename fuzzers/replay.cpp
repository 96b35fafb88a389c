// SPDX-License-Identifier: MIT
// Gives every file of the folders and files named on the command line to a fuzzer, in the order of
// their names, so that the ordinary tests repeat what the fuzzers have found worth keeping.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz.h"

int main(int count, char** arguments) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < count; ++i) {
        if (std::filesystem::is_directory(arguments[i])) {
            for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
                files.push_back(entry.path());
            }
        } else {
            files.emplace_back(arguments[i]);
        }
    }
    if (files.empty()) {
        std::fputs("no inputs\n", stderr);
        return 1;
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        // Named first: a disagreement ends the program.
        std::printf("%s\n", file.filename().c_str());
        std::fflush(stdout);
        std::ifstream in(file, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(in), {}};
        static_cast<void>(LLVMFuzzerTestOneInput(
            reinterpret_cast<const std::uint8_t*>(content.data()), content.size()));
    }
    std::printf("%zu inputs\n", files.size());
}
