// SPDX-License-Identifier: MIT
#pragma once

namespace cost {

/// Closing this descriptor, which nobody has, tells the counter that repetitions begin or end.
constexpr int kMark = 0x76726e01;

constexpr int kRepetitions = 10;

/// The least of so many rounds counts: another thread may disturb one of them.
constexpr int kRounds = 5;

}  // namespace cost
