// SPDX-License-Identifier: MIT
#pragma once

#include <vorn/common/Db.h>
#include <vorn/common/IdentificationDb.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// A database that belongs to the owner of an identification record, and gives access to that
/// record. A service derives its own database from it, or uses it as it is:
///
///     IdentificationStubDb storage(owner);
///     DbWithIdentification database(storage);   // database.uuid() is the owner
///     database.setIdentification(record);
///
/// Lifetime: the storage is not owned and must outlive this object. Threads: as the storage says.
class VORN_GW_COMMON_EXPORT DbWithIdentification : public Db {
  public:
    /// Has the same owner as the storage.
    explicit DbWithIdentification(IdentificationDb& storage);
    ~DbWithIdentification() override;

    /// The stored record.
    [[nodiscard]] conv::Identification identification() const;
    /// Stores `record` as the storage does, which may adjust fields.
    void setIdentification(const conv::Identification& record);

  private:
    IdentificationDb& storage_;
};

}  // namespace vorn::common
