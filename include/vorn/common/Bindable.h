// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// A party of the binding protocol: who it is, and which interface it speaks. Servers hold their
/// clients through it, services derive from it what they know about a peer: two members and the two
/// functions below (docs/binding.md shows it).
///
/// Lifetime: the references stay valid for as long as the party lives and does not change.
class VORN_GW_COMMON_EXPORT Bindable {
  public:
    virtual ~Bindable() = default;

    /// The identity under which the party is bound, stored and looked for.
    [[nodiscard]] virtual const Uuid& uuid() const = 0;
    /// The name of the interface; without '|' where it is stored by BinderDb's two-string form.
    [[nodiscard]] virtual const std::string& interface() const = 0;
};

}  // namespace vorn::common
