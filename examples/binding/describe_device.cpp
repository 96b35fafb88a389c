// SPDX-License-Identifier: MIT

// Keeps what a service tells about its device, under the uuid of the owner.

#include <iostream>

#include <vorn/common/DbWithIdentification.h>
#include <vorn/common/IdentificationStubDb.h>
#include <vorn/common/conv/ConnectorType.h>

int main() {
    vorn::common::IdentificationStubDb storage(vorn::common::Uuid::VORN_NAMESPACE);
    vorn::common::DbWithIdentification database(storage);

    conv::Identification record;
    record.vendor = "Acme";
    record.model = "Strip 8";
    record.serial = "0042";
    record.interface = "outlets";
    record.location = "rack 7";
    database.setIdentification(record);
    std::cout << database.identification() << "\n";

    const auto type = conv::from_string<conv::ConnectorType>("Schuko");
    std::cout << "outlets of type " << toString(type) << "\n";
}
