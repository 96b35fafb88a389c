// SPDX-License-Identifier: MIT
#include "vorn/common/IdentificationStubDb.h"

namespace vorn::common {

IdentificationStubDb::IdentificationStubDb(const Uuid& owner) : IdentificationDb(owner) {}

IdentificationStubDb::~IdentificationStubDb() = default;

void IdentificationStubDb::setFlag(unsigned flag) {
    flag_ = flag;
}

void IdentificationStubDb::load(conv::Identification& record) const {
    record = record_;
}

void IdentificationStubDb::store(const conv::Identification& record) {
    record_ = record;
    // Whatever the record says: a database speaks for its owner alone.
    record_.uuid = uuid().to_string();
}

Uuid IdentificationStubDb::firstUuid() const {
    return Uuid("110e8400-e29b-41d4-a716-111111111111");
}

Uuid IdentificationStubDb::secondUuid() const {
    return Uuid("110e8400-e29b-41d4-a716-222222222222");
}

}  // namespace vorn::common
