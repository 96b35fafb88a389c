// SPDX-License-Identifier: MIT
#include "posix/readToEnd.h"

#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "posix/retry.h"

namespace vorn::common::internal {

std::size_t lengthAfterAppending(std::size_t length, std::size_t added) {
    if (length + added < length) {
        throw std::overflow_error("reading from pipe caused overflow");
    }
    return length + added;
}

std::string readToEnd(int fd) {
    // As much as a pipe holds by default. Each round takes what is there: filling the block would
    // end every one with a small read, for which the writer is woken (half the speed).
    constexpr std::size_t kBlock = 65536;
    const auto buffer = std::make_unique_for_overwrite<char[]>(kBlock);
    std::string text;
    for (;;) {
        const auto count = retryOnEintr([&] { return ::read(fd, buffer.get(), kBlock); });
        if (count < 1) {
            return text;
        }
        const auto added = static_cast<std::size_t>(count);
        lengthAfterAppending(text.size(), added);
        text.append(buffer.get(), added);
    }
}

}  // namespace vorn::common::internal
