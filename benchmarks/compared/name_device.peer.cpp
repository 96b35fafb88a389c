// SPDX-License-Identifier: MIT
// Peer: Boost
// Guarantees: the same name gives the same identifier on every machine (RFC 4122, version 5); 16
// bytes without an allocation; a text is made at each call.
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "tasks.h"

std::string compared::peer::nameDevice(const std::string& name) {
    const boost::uuids::uuid space =
        boost::uuids::string_generator()("6ba7b810-9dad-11d1-80b4-00c04fd430c8");
    return boost::uuids::to_string(boost::uuids::name_generator_sha1(space)(name));
}
