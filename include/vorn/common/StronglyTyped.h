// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <string>
#include <type_traits>
#include <utility>

namespace vorn::common {

/// A value of type `T` that cannot be mistaken for another value of the same type: `Tag` makes each
/// use a type of its own, so that arguments cannot be swapped by accident.
///
///     const StronglyTyped<std::string, VendorTag> vendor("Acme");
///     log << vendor.get();
///
/// Lifetime: owns its value. Moved-from objects hold whatever a moved-from `T` holds.
template <class T, class Tag>
class StronglyTyped {
  public:
    explicit StronglyTyped(T value) noexcept(std::is_nothrow_move_constructible_v<T>)
        : value_(std::move(value)) {}

    [[nodiscard]] const T& get() const noexcept { return value_; }

    friend auto operator<=>(const StronglyTyped&, const StronglyTyped&) = default;

  private:
    T value_;
};

/// The parts of a device's identity, see Uuid.
struct VendorTag {};
struct ModelTag {};
struct SerialNumberTag {};

}  // namespace vorn::common
