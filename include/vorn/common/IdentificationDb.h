// SPDX-License-Identifier: MIT
#pragma once

#include <vorn/common/Db.h>
#include <vorn/common/conv/Identification.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// Where a service keeps the identification record of what it represents. A service derives it for
/// its kind of storage; IdentificationStubDb keeps the record in memory.
///
///     conv::Identification record;
///     database.load(record);
///     record.location = "rack 7";
///     database.store(record);
///
/// It is no Db to its users, but uuid(), the owner's, can be called. Threads: as the deriving class
/// says.
class VORN_GW_COMMON_EXPORT IdentificationDb : protected Db {
  public:
    ~IdentificationDb() override;

    using Db::uuid;

    /// Sets one flag or count of the database; the deriving class says what it means.
    virtual void setFlag(unsigned flag) = 0;
    /// Replaces `record` with the stored one.
    virtual void load(conv::Identification& record) const = 0;
    /// Stores `record` in place of what was stored.
    virtual void store(const conv::Identification& record) = 0;
    /// Two more identifiers of the device; the deriving class says which.
    /// @{
    [[nodiscard]] virtual Uuid firstUuid() const = 0;
    [[nodiscard]] virtual Uuid secondUuid() const = 0;
    /// @}

  protected:
    /// Copies the owner's uuid.
    explicit IdentificationDb(const Uuid& owner);
};

}  // namespace vorn::common
