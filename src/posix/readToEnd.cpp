#include "posix/readToEnd.h"

#include <memory>
#include <stdexcept>

#include "posix/transfer.h"

namespace vorn::common::internal {

std::size_t lengthAfterAppending(std::size_t length, std::size_t added) {
    if (length + added < length) {
        throw std::overflow_error("reading from pipe caused overflow");
    }
    return length + added;
}

std::string readToEnd(int fd) {
    // As much as a pipe holds by default: a writer that fills it is emptied in one call.
    constexpr std::size_t kBlock = 65536;
    const auto buffer = std::make_unique_for_overwrite<char[]>(kBlock);
    std::string text;
    for (std::size_t added = kBlock; added == kBlock;) {
        added = readUpTo(fd, buffer.get(), kBlock);
        lengthAfterAppending(text.size(), added);
        text.append(buffer.get(), added);
    }
    return text;
}

}  // namespace vorn::common::internal
