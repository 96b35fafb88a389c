// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include <vorn/common/Bindable.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// One entry of a clients list: a copy of a party's identity. A value; it cannot be used where a
/// Bindable is asked for. Threads: one object, one thread at a time.
class VORN_GW_COMMON_EXPORT BinderClient : private Bindable {
  public:
    /// Copies the party's uuid and interface; the party may go away.
    explicit BinderClient(const Bindable& party);
    /// From the two parts, as a stored list has them.
    BinderClient(Uuid uuid, std::string interface);

    /// Of the party, at the time of the copy.
    [[nodiscard]] const Uuid& uuid() const override { return uuid_; }
    /// Of the party, at the time of the copy.
    [[nodiscard]] const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

/// Equal when uuid and interface are.
[[nodiscard]] VORN_GW_COMMON_EXPORT bool operator==(const BinderClient& left,
                                                    const BinderClient& right);

/// The clients of a server, in the order in which its maker added them.
using BinderClientsList = std::vector<BinderClient>;

/// Writes a list for logs: the line "clientsList:", then four lines for each client, each of them
/// ended (and flushed) with std::endl, the comma after the last client included:
///
///     clientsList:
///         [
///             uuid = 933d6c80-dea9-8c6b-d111-8b3b46a181f1
///             intf = power
///         ],
///
/// The indentation is made of tabs.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& out, const BinderClientsList& list);

}  // namespace vorn::common
