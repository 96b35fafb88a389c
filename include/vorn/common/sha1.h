// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <vorn/common/export.h>

/// @file
/// SHA-1 with the interface of RFC 3174 (algorithm: FIPS 180). These names are global.
///
///     SHA1Context context;
///     std::uint8_t digest[20];
///     SHA1Reset(&context);
///     SHA1Input(&context, data, size);        // any number of times
///     SHA1Result(&context, digest);
///
/// For identifiers and check sums only: SHA-1 is no protection against a deliberate collision.
/// Threads: a context belongs to one thread at a time; the routines share nothing else.

/// The results of the routines.
enum {
    shaSuccess = 0,   ///< nothing went wrong
    shaNull,          ///< a pointer was null
    shaInputTooLong,  ///< more than 2^64 - 1 bits in one message
    shaStateError     ///< input after the result
};

/// The state of one computation. A plain value: a copy goes on independently. Its members are the
/// routines' own; read nothing but the results.
struct SHA1Context {
    std::uint32_t state[5];  ///< the chaining value
    std::uint64_t length;    ///< bytes taken so far
    std::uint8_t block[64];  ///< the bytes that do not fill a block yet
    bool computed;           ///< the result has been made; `state` holds it
    int error;               ///< sticky until the next reset
};

/// Begins a new message.
VORN_GW_COMMON_EXPORT int SHA1Reset(SHA1Context* context);

/// Takes the next `length` bytes of the message; nothing happens when that is 0. An error sticks to
/// the context until the next SHA1Reset.
VORN_GW_COMMON_EXPORT int SHA1Input(SHA1Context* context, const std::uint8_t* bytes,
                                    unsigned length);

/// Ends the message and stores its 20 bytes; may be repeated and then stores the same bytes.
VORN_GW_COMMON_EXPORT int SHA1Result(SHA1Context* context, std::uint8_t digest[20]);
