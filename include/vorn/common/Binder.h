// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/export.h>
#include <vorn/common/time/SecondsDuration.h>

namespace vorn::common {

/// What both ends of a binding share: the result codes, and the conversion between the local clock
/// and the peer's time base, which the deriving service tells through syncTime().
///
/// Times are unsigned 32-bit counts of seconds. 0xFFFFFFFF is reserved for "never" and "without
/// limit" and passes every conversion unchanged; 0xFFFFFFFE is an ordinary time.
///
///     const unsigned deadline = binder.getDelayedTimestamp(time::SecondsDuration(30));
///     // ... later, or in another service that shares the time base:
///     const time::SecondsDuration left = binder.getDurationUntil(deadline);
///
/// Deliberate: sums are formed modulo 2^32 and nothing but what is said below is clamped, so that a
/// conversion near the top of the range may wrap around, or even yield the reserved mark.
///
/// Holds no data. Threads: safe from several threads when syncTime() is.
class VORN_GW_COMMON_EXPORT Binder {
  public:
    /// How a step of the protocol ended; sent between services by value, logged by name.
    enum Error : unsigned {
        BINDER_SUCCESS = 0,                   ///< the step was made, or the request accepted
        BINDER_ERROR_UNKNOWN = 1,             ///< for services; never made here
        BINDER_ERROR_BUSY = 2,                ///< another step is under way
        BINDER_ERROR_TIMEOUT = 3,             ///< for a transport: no answer came
        BINDER_ERROR_REJECTED = 4,            ///< for a listener that refuses a client
        BINDER_ERROR_ALREADY_BOUND = 5,       ///< the binding exists
        BINDER_ERROR_TOO_MANY_CLIENTS = 6,    ///< the server has as many as it may
        BINDER_ERROR_NOT_BOUND = 7,           ///< there is no binding to end
        BINDER_ERROR_BOUND_BUT_NOT_SYNC = 8,  ///< for services; never made here
        BINDER_ERROR_ABORTED = 9,             ///< for services; never made here
    };

    virtual ~Binder() = default;

    /// The present time of the peer's time base in seconds.
    [[nodiscard]] virtual unsigned syncTime() const = 0;
    /// Ends the service's part in the binding; does nothing here. See BinderProxy, BinderAdaptor.
    virtual void terminate() {}

    /// How long it takes from now until a time of the peer's time base; 0 when that is past.
    /// 0xFFFFFFFF gives SecondsDuration::INFINITE.
    [[nodiscard]] time::SecondsDuration getDurationUntil(unsigned timestamp) const;

    /// The time of the peer's time base after a delay, at most 0xFFFFFFFF.
    [[nodiscard]] unsigned getDelayedTimestamp(time::SecondsDuration delay) const;

    /// Converts a time of the local clock (time::now(), low 32 bits) to the peer's time base:
    /// localTimestamp + syncTime() - now, or 0 when the sum is not greater than now.
    [[nodiscard]] unsigned toSyncTimeBase(unsigned localTimestamp) const;

    /// Converts a time of the peer's time base to the local clock:
    /// syncTimestamp + now - syncTime(), or 0 when the sum is not greater than syncTime().
    [[nodiscard]] unsigned fromSyncTimeBase(unsigned syncTimestamp) const;
};

/// Returns the enumerator's name, as in "BINDER_ERROR_BUSY"; "unknown" for any other value.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(Binder::Error error);

}  // namespace vorn::common
