// SPDX-License-Identifier: MIT
#include "vorn/common/conv/Identification.h"

#include <ostream>
#include <utility>

namespace conv {

Identification::Identification(std::string uuidText, std::string vendorText, std::string modelText,
                               std::string serialText, std::string physicalNameText,
                               std::string nameText, std::string interfaceText,
                               std::string versionText, std::string locationText,
                               std::string contactText)
    : uuid(std::move(uuidText)),
      vendor(std::move(vendorText)),
      model(std::move(modelText)),
      serial(std::move(serialText)),
      physicalName(std::move(physicalNameText)),
      name(std::move(nameText)),
      interface(std::move(interfaceText)),
      version(std::move(versionText)),
      location(std::move(locationText)),
      contact(std::move(contactText)) {}

std::ostream& operator<<(std::ostream& out, const Identification& record) {
    return out << "identification:" << std::endl
               << "\t\tuuid = " << record.uuid << std::endl
               << "\t\tvendor = " << record.vendor << std::endl
               << "\t\tmodel = " << record.model << std::endl
               << "\t\tserial = " << record.serial << std::endl
               << "\t\tphysicalName = " << record.physicalName << std::endl
               << "\t\tname = " << record.name << std::endl
               << "\t\tinterface = " << record.interface << std::endl
               << "\t\tversion = " << record.version << std::endl
               << "\t\tlocation = " << record.location << std::endl
               << "\t\tcontact = " << record.contact;
}

}  // namespace conv
