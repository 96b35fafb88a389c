// SPDX-License-Identifier: MIT
#include "vorn/common/settings/JsonSettings.h"

#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

namespace vorn::common::settings {

using lwjson::Deserializer;

void JsonSettings::serialize(std::ostream& out) const {
    // Built as a whole first: what throws on the way has written nothing.
    const auto [version, settings] = saveSettings();
    lwjson::Serializer document;
    document.appendKey("version");
    document.addValue(version);
    document.appendKey("settings");
    document.addValue(settings);
    document.finalize();
    out << document.json();
}

bool JsonSettings::deserialize(std::istream& in) {
    if (!in.good()) {
        return false;
    }
    // From the buffer, past the formatting layer: white space is content.
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (text.empty()) {
        return false;
    }
    const Deserializer document(std::move(text));
    const auto* version = document.findMember("version");
    const auto* settings = document.findMember("settings");
    // Looked up before anything is handed over: half a document must leave the object unchanged.
    if (version == nullptr || settings == nullptr) {
        return false;
    }
    if (version->type() != Deserializer::MemberType::Value || version->isNull()) {
        throw std::runtime_error("Cannot get value from a non-scalar or null");
    }
    loadSettings(version->as<std::string>(), *settings);
    return true;
}

}  // namespace vorn::common::settings
