// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/BinderDb.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// A BinderDb in memory, for tests and for servers whose bindings need not outlive them. It keeps
/// the list in BinderDb's two-string form, and reads it back with that form's peculiarity: a list
/// of one client is exact, reading a list of several throws std::invalid_argument.
///
/// Empty at first. Threads: one at a time.
class VORN_GW_COMMON_EXPORT BinderStubDb : public BinderDb {
  public:
    /// Copies the owner's uuid.
    explicit BinderStubDb(const Uuid& owner);
    ~BinderStubDb() override;

    /// Throws std::invalid_argument when several clients are stored; `list` is empty then.
    void getClientsList(BinderClientsList& list) override;
    void updateClientsList(const BinderClientsList& list) override;

  private:
    std::string uuids_;
    std::string interfaces_;
};

}  // namespace vorn::common
