// SPDX-License-Identifier: MIT
#pragma once

#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// The base of the service databases: knows whose database it is. What is stored, and how, is up to
/// the deriving class. Holds nothing but that identity, and may be used as it is where a database
/// is only asked for it. Threads: uuid() from any thread.
class VORN_GW_COMMON_EXPORT Db {
  public:
    /// Copies the owner's uuid.
    explicit Db(const Uuid& owner);
    virtual ~Db();

    /// The owner's uuid (a copy that shares its texts).
    [[nodiscard]] virtual Uuid uuid() const;

  private:
    Uuid owner_;
};

}  // namespace vorn::common
