// SPDX-License-Identifier: MIT
#include "posix/ExecImage.h"

#include <unistd.h>

#include <stdexcept>

namespace vorn::common::internal {
namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const auto& text : texts) {
        // execve takes pointers to mutable texts, for historical reasons, and leaves them alone.
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

const std::string& programOf(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        throw std::runtime_error("arguments cannot be empty");
    }
    return arguments.front();
}

}  // namespace

ExecImage::ExecImage(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment)
    : path_(programOf(arguments).c_str()),
      argv_(pointersTo(arguments)),
      envp_(pointersTo(environment)) {
    // argv[0] is the last part of the path; the path itself goes to execve as it was given.
    const auto slash = arguments.front().rfind('/');
    if (slash != std::string::npos) {
        argv_.front() += slash + 1;
    }
}

int ExecImage::execute() const noexcept {
    return ::execve(path(), argv(), envp());
}

}  // namespace vorn::common::internal
