// SPDX-License-Identifier: MIT
#include "helpers/TempDir.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace helpers {

TempDir::TempDir() : TempDir(std::filesystem::temp_directory_path()) {}

TempDir::TempDir(const std::filesystem::path& parent) {
    std::string pattern = (parent / "vorn-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
}

TempDir TempDir::inMemory() {
    const std::filesystem::path memory = "/dev/shm";
    return ::access(memory.c_str(), W_OK) == 0 ? TempDir(memory) : TempDir();
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string& name) const {
    return (path_ / name).string();
}

std::size_t TempDir::entries() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
}

std::string TempDir::write(const std::string& name, const std::string& content) const {
    const auto target = file(name);
    std::ofstream(target, std::ios::binary) << content;
    return target;
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace helpers
