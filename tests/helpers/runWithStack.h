// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <cstddef>
#include <functional>

namespace helpers {

/// Runs `body` on a thread with that many bytes of stack; false when there is no such thread to be
/// had. 16 KiB is the smallest stack on the architectures of this library.
inline bool runWithStack(std::size_t bytes, std::function<void()> body) {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    const bool started = ::pthread_attr_setstacksize(&attributes, bytes) == 0 &&
                         ::pthread_create(&thread, &attributes, run, &body) == 0;
    ::pthread_attr_destroy(&attributes);
    return started && ::pthread_join(thread, nullptr) == 0;
}

}  // namespace helpers
