#pragma once

#include <pthread.h>

#include <cstddef>

namespace helpers {

/// Makes every new thread of this process ask for more stack than the address space holds, so that
/// none can be created.
class NoMoreThreads {
  public:
    NoMoreThreads() {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        ::pthread_attr_init(&huge);
        ::pthread_attr_setstacksize(&huge, kImpossible);
        ::pthread_setattr_default_np(&huge);
        ::pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;

  private:
    static constexpr std::size_t kImpossible =
        sizeof(void*) == 8 ? std::size_t{1} << (sizeof(void*) * 8 - 17) : std::size_t{0xf0000000u};

    pthread_attr_t before_{};
};

}  // namespace helpers
