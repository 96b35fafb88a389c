// SPDX-License-Identifier: MIT
// Peer: Poco
// Guarantees: a document that is no JSON, or deeper than the limit (128), is an exception; a scalar
// of another type is converted where that is possible ("30" is read as 30), else an exception; a
// missing object is a null pointer. All of it may be changed afterwards.
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include "tasks.h"

std::string compared::peer::readSettings(const std::string& document) {
    Poco::JSON::Parser parser;
    const auto settings = parser.parse(document).extract<Poco::JSON::Object::Ptr>();
    std::string result = settings->getValue<std::string>("name");
    result += ' ' + std::to_string(settings->getValue<int>("timeout"));
    result += ' ' + std::to_string(settings->getObject("limits")->getValue<double>("high"));
    for (const auto& tag : *settings->getArray("tags")) {
        result += ' ' + tag.convert<std::string>();
    }
    return result;
}
