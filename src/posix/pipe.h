// SPDX-License-Identifier: MIT
#pragma once

namespace vorn::common::internal {

/// Opens a pipe whose ends are close-on-exec and 3 or higher. False when there is none; an end that
/// is open all the same is the caller's to close, the other one is -1.
[[nodiscard]] bool openPipe(int (&ends)[2]) noexcept;

/// Closes an end and marks it with -1; nothing when it is marked already.
void closeEnd(int& end) noexcept;

/// Makes `target` mean what `source` means, closing what it meant before; -1 on failure.
int duplicateOnto(int source, int target) noexcept;

}  // namespace vorn::common::internal
