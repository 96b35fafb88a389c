#pragma once

#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

#include "FileDescriptor.h"

namespace gateway {

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

    /// Returns whether it was set, and makes it unset.
    bool clear() const noexcept {
        std::uint64_t count = 0;
        return ::read(get(), &count, sizeof count) == sizeof count;
    }

  private:
    FileDescriptor descriptor_;
};

}  // namespace gateway
