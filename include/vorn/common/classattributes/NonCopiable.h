// SPDX-License-Identifier: MIT
#pragma once

/// Mixins that say what a class is not.
namespace vorn::common::classattributes {

/// Mixin that forbids copying and moving: `class A : NonCopiable<A> {}`. The parameters only make
/// each use a distinct base class, so that several bases of one class can carry the mixin.
template <class Owner, class Tag = Owner>
class NonCopiable {
  public:
    NonCopiable(const NonCopiable&) = delete;
    NonCopiable& operator=(const NonCopiable&) = delete;

  protected:
    NonCopiable() = default;
    ~NonCopiable() = default;
};

}  // namespace vorn::common::classattributes
