// SPDX-License-Identifier: MIT
#pragma once

/// No test of this program may signal process 0 or -1, i.e. a whole group or everything there is:
/// such a call is refused, and the test fails. This is checked around every test, in forked
/// children too.
namespace kills {

/// Permits them for as long as it lives, in a child that leads a group of its own.
class Permitted {
  public:
    Permitted();
    ~Permitted();
    Permitted(const Permitted&) = delete;
    Permitted& operator=(const Permitted&) = delete;
};

}  // namespace kills
