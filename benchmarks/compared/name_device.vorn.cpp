// SPDX-License-Identifier: MIT
// Guarantees: the same name gives the same identifier on every machine (RFC 4122, version 5); the
// texts are made once and shared by copies; the namespace may be used in static initialisers.
#include <vorn/common/Uuid.h>

#include "tasks.h"

std::string compared::vorn::nameDevice(const std::string& name) {
    using ::vorn::common::Uuid;
    return Uuid(Uuid("6ba7b810-9dad-11d1-80b4-00c04fd430c8"), name).to_string();
}
