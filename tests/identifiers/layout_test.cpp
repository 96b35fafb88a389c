// SPDX-License-Identifier: MIT
#include <vorn/common/encoding/utf/BOM.h>

#include "helpers/layout.h"

using vorn::common::encoding::utf::BOM;

template struct helpers::Fields<BOM, &BOM::encoding, &BOM::bigEndian, &BOM::hasByteOrder,
                                &BOM::length>;

TEST(IdentifiersLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(1);
}
