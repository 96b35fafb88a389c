// SPDX-License-Identifier: MIT
#include "vorn/common/BinderStubDb.h"

namespace vorn::common {

BinderStubDb::BinderStubDb(const Uuid& owner) : BinderDb(owner) {}

BinderStubDb::~BinderStubDb() = default;

void BinderStubDb::getClientsList(BinderClientsList& list) {
    deserializeClientList(uuids_, interfaces_, list);
}

void BinderStubDb::updateClientsList(const BinderClientsList& list) {
    serializeClientsList(list, uuids_, interfaces_);
}

}  // namespace vorn::common
