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
    /// Explicit, so that a bare `T` never turns into one unseen.
    explicit StronglyTyped(T value) noexcept(std::is_nothrow_move_constructible_v<T>)
        : value_(std::move(value)) {}

    /// For what takes a bare `T`.
    [[nodiscard]] const T& get() const noexcept { return value_; }

    /// Only between values of the same tag.
    friend auto operator<=>(const StronglyTyped&, const StronglyTyped&) = default;

  private:
    T value_;
};

/// The first part of a device's identity, see Uuid: who made it.
struct VendorTag {};
/// The second part: the maker's name for the model.
struct ModelTag {};
/// The third part, which tells devices of one model apart.
struct SerialNumberTag {};

}  // namespace vorn::common
