// SPDX-License-Identifier: MIT
// Guarantees: a wrong type, a number that does not fit and a nesting deeper than the limit (100)
// are exceptions. Behind the document a text that begins with one of `,[]{}:` is not looked at. A
// member is found without copying its text.
#include <vorn/common/lwjson/Deserializer.h>

#include "tasks.h"

std::string compared::vorn::readSettings(const std::string& document) {
    const ::vorn::common::lwjson::Deserializer settings(document);
    std::string result = settings["name"].as<std::string>();
    result += ' ' + std::to_string(settings["timeout"].as<int>());
    result += ' ' + std::to_string(settings["limits"]["high"].as<double>());
    for (const auto& tag : settings["tags"].members()) {
        result += ' ' + tag.as<std::string>();
    }
    return result;
}
