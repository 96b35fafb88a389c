// SPDX-License-Identifier: MIT
#pragma once

namespace vorn::common::internal {

/// Writes "<file>:<line>: <function>: Assertion `<condition>' failed." to the standard error stream
/// and aborts.
[[noreturn]] void assertionFailed(const char* file, int line, const char* function,
                                  const char* condition) noexcept;

}  // namespace vorn::common::internal

/// Active in every build type: a programming error must not go on in the field. Variadic, so that
/// commas inside the condition need no parentheses.
#define VORN_ASSERT(...)                                                         \
    (static_cast<bool>(__VA_ARGS__) ? static_cast<void>(0)                       \
                                    : ::vorn::common::internal::assertionFailed( \
                                          __FILE__, __LINE__, __PRETTY_FUNCTION__, #__VA_ARGS__))
