// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace vorn::common::internal {

/// Owns one file descriptor; -1 means none.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.fd_, -1));
        }
        return *this;
    }
    ~Descriptor() { reset(); }

    [[nodiscard]] int get() const noexcept { return fd_; }
    [[nodiscard]] explicit operator bool() const noexcept { return fd_ != -1; }
    [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

    /// Not repeated on EINTR: Linux has released the descriptor by then.
    void reset(int fd = -1) noexcept {
        if (fd_ != -1) {
            ::close(fd_);
        }
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

}  // namespace vorn::common::internal
