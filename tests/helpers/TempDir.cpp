// SPDX-License-Identifier: MIT
#include "helpers/TempDir.h"

#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace helpers {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vorn-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
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
