// SPDX-License-Identifier: MIT
#pragma once

#include <vorn/common/IdentificationDb.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// An IdentificationDb in memory, for tests and for services without storage. All fields of the
/// record are empty at first, its `uuid` included. Threads: one at a time.
class VORN_GW_COMMON_EXPORT IdentificationStubDb : public IdentificationDb {
  public:
    /// Copies the owner's uuid; the record stays without one until it is stored.
    explicit IdentificationStubDb(const Uuid& owner);
    ~IdentificationStubDb() override;

    /// Keeps the number for flag() and has no other effect.
    void setFlag(unsigned flag) override;
    void load(conv::Identification& record) const override;
    /// Stores a copy whose `uuid` field is the owner's uuid in canonical text, whatever `record`
    /// says there.
    void store(const conv::Identification& record) override;
    /// Always 110e8400-e29b-41d4-a716-111111111111.
    [[nodiscard]] Uuid firstUuid() const override;
    /// Always 110e8400-e29b-41d4-a716-222222222222.
    [[nodiscard]] Uuid secondUuid() const override;

    /// What setFlag was last given; 0 at first.
    [[nodiscard]] unsigned flag() const noexcept { return flag_; }

  private:
    conv::Identification record_;
    unsigned flag_ = 0;
};

}  // namespace vorn::common
