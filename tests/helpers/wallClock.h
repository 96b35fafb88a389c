// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace helpers {

/// As the kernel has it: 64 bits everywhere, whatever the C library's time_t is.
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

#ifdef SYS_clock_settime64
inline constexpr long kSetClock = SYS_clock_settime64;
inline constexpr long kGetClock = SYS_clock_gettime64;
inline constexpr long kSetTimes = SYS_utimensat_time64;
#else
inline constexpr long kSetClock = SYS_clock_settime;
inline constexpr long kGetClock = SYS_clock_gettime;
inline constexpr long kSetTimes = SYS_utimensat;
#endif

/// Instants behind what 32 bits hold, with and without a sign.
inline constexpr std::int64_t kIn2040 = 2'208'988'800;
inline constexpr std::int64_t kIn2106 = 4'294'967'296;

/// Gives a file these times. Throws when that is refused.
inline void giveTimes(const std::filesystem::path& path, std::int64_t seconds) {
    const KernelTime times[] = {{seconds, 0}, {seconds, 0}};
    if (::syscall(kSetTimes, AT_FDCWD, path.c_str(), times, 0) != 0) {
        throw std::runtime_error("cannot set the times of " + path.string());
    }
}

/// When a file was last accessed and modified, in seconds.
std::pair<std::int64_t, std::int64_t> timesOf(const std::filesystem::path& path);

/// Whether the wall clock may be changed: on a machine that runs nothing else.
inline bool ownsWallClock() {
    return std::getenv("VORN_TESTS_OWN_KERNEL") != nullptr;
}

/// Sets the wall clock of the machine, and at the end to what it would be.
class MovedWallClock {
  public:
    explicit MovedWallClock(std::int64_t seconds) { set(seconds); }
    ~MovedWallClock() {
        const auto gone = std::chrono::steady_clock::now() - start_;
        const KernelTime now{
            before_.seconds + std::chrono::duration_cast<std::chrono::seconds>(gone).count(),
            before_.nanoseconds};
        static_cast<void>(::syscall(kSetClock, CLOCK_REALTIME, &now));
    }
    MovedWallClock(const MovedWallClock&) = delete;
    MovedWallClock& operator=(const MovedWallClock&) = delete;

    static void set(std::int64_t seconds) {
        const KernelTime time{seconds, 0};
        if (::syscall(kSetClock, CLOCK_REALTIME, &time) != 0) {
            throw std::runtime_error("cannot set the wall clock");
        }
    }

    [[nodiscard]] static KernelTime now() {
        KernelTime time{};
        static_cast<void>(::syscall(kGetClock, CLOCK_REALTIME, &time));
        return time;
    }

  private:
    const KernelTime before_ = now();
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace helpers
