// SPDX-License-Identifier: MIT
#include "vorn/common/Binder.h"

#include <vorn/common/time/now.h>

#include "internal/EnumTexts.h"
#include "timeBase.h"

namespace vorn::common {
namespace {

using internal::kReservedTimestamp;

constexpr std::array<internal::EnumText<Binder::Error>, 10> kErrors{{
    {Binder::BINDER_SUCCESS, "BINDER_SUCCESS"},
    {Binder::BINDER_ERROR_UNKNOWN, "BINDER_ERROR_UNKNOWN"},
    {Binder::BINDER_ERROR_BUSY, "BINDER_ERROR_BUSY"},
    {Binder::BINDER_ERROR_TIMEOUT, "BINDER_ERROR_TIMEOUT"},
    {Binder::BINDER_ERROR_REJECTED, "BINDER_ERROR_REJECTED"},
    {Binder::BINDER_ERROR_ALREADY_BOUND, "BINDER_ERROR_ALREADY_BOUND"},
    {Binder::BINDER_ERROR_TOO_MANY_CLIENTS, "BINDER_ERROR_TOO_MANY_CLIENTS"},
    {Binder::BINDER_ERROR_NOT_BOUND, "BINDER_ERROR_NOT_BOUND"},
    {Binder::BINDER_ERROR_BOUND_BUT_NOT_SYNC, "BINDER_ERROR_BOUND_BUT_NOT_SYNC"},
    {Binder::BINDER_ERROR_ABORTED, "BINDER_ERROR_ABORTED"},
}};

// The protocol counts 32-bit seconds; the local clock is cut to them, not clamped.
std::uint32_t localNow() {
    return static_cast<std::uint32_t>(time::now());
}

}  // namespace

time::SecondsDuration Binder::getDurationUntil(unsigned timestamp) const {
    const unsigned now = syncTime();
    if (timestamp == kReservedTimestamp) {
        return time::SecondsDuration::INFINITE;
    }
    return time::SecondsDuration(now < timestamp ? timestamp - now : 0);
}

unsigned Binder::getDelayedTimestamp(time::SecondsDuration delay) const {
    const unsigned now = syncTime();
    // Compared this way round, because the sum would wrap. Without any room the time is itself the
    // mark for "never", and stays so.
    const unsigned room = kReservedTimestamp - now;
    return delay.count() >= room ? kReservedTimestamp : now + delay.count();
}

unsigned Binder::toSyncTimeBase(unsigned localTimestamp) const {
    return internal::changeTimeBase(localTimestamp, localNow(), syncTime());
}

unsigned Binder::fromSyncTimeBase(unsigned syncTimestamp) const {
    return internal::changeTimeBase(syncTimestamp, syncTime(), localNow());
}

std::string toString(Binder::Error error) {
    return internal::textOf(kErrors, error, "unknown");
}

}  // namespace vorn::common
