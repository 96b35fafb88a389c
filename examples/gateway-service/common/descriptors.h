// SPDX-License-Identifier: MIT
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace gateway {

/// Owns one file descriptor and closes it. -1 means none.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }

    [[nodiscard]] int get() const noexcept { return descriptor_; }
    [[nodiscard]] explicit operator bool() const noexcept { return descriptor_ >= 0; }

  private:
    int descriptor_ = -1;
};

/// A descriptor that becomes readable when somebody sets it: how other threads and signal handlers
/// wake a poll loop.
class EventDescriptor {
  public:
    EventDescriptor() : descriptor_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (!descriptor_) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }

    [[nodiscard]] int get() const { return descriptor_.get(); }

    /// Safe from any thread and from a signal handler.
    void set() const noexcept {
        const int before = errno;
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(get(), &one, sizeof one);
        errno = before;
    }

    /// Returns how often it was set since it was cleared last, and makes it unset.
    std::uint64_t clear() const noexcept {
        std::uint64_t count = 0;
        return ::read(get(), &count, sizeof count) == sizeof count ? count : 0;
    }

  private:
    FileDescriptor descriptor_;
};

}  // namespace gateway
