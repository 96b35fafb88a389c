// SPDX-License-Identifier: MIT
// A settings document is handed over, refused or ignored as its description says, and written as
// the step by step writer of the tests writes it. With an odd first byte the rest is the settings
// of an object, else the whole document.
#include <sstream>
#include <string>
#include <utility>

#include <vorn/common/settings/JsonSettings.h>

#include "fuzz.h"
#include "json/ReferenceWriter.h"
#include "json/referenceExtraction.h"

namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

/// What it is given to load it keeps as texts; what it is given to save it copies.
class Settings final : public vorn::common::settings::JsonSettings {
  public:
    std::string version;
    std::string loaded;
    const Deserializer* saved = nullptr;
    int loads = 0;

  private:
    bool loadSettings(const std::string& text, const Deserializer& settings) override {
        version = text;
        loaded = std::string(settings.value.view());
        ++loads;
        return loads % 2 == 0;
    }
    [[nodiscard]] std::pair<std::string, Serializer> saveSettings() const override {
        Serializer json;
        json.addValue(*saved);
        json.finalize();
        return {version, json};
    }
};

void read(const std::string& text) {
    Settings expected;
    bool accepted = false;
    std::string error;
    if (!text.empty()) {
        error = fuzz::errorOf([&] {
            const Deserializer document{std::string_view(text)};
            const Deserializer* const version = document.findMember("version");
            const Deserializer* const settings = document.findMember("settings");
            if (version == nullptr || settings == nullptr) {
                return;
            }
            if (version->type() != Deserializer::MemberType::Value || version->isNull()) {
                throw std::runtime_error("Cannot get value from a non-scalar or null");
            }
            const std::string raw(version->value.view());
            if (raw.front() != '"') {
                throw std::invalid_argument("lwjson::deserializer \"version\" is not a string");
            }
            expected.version = unescapedPassByPass(raw.substr(1, raw.size() - 2));
            expected.loaded = std::string(settings->value.view());
            expected.loads = 1;
            accepted = true;
        });
    }
    Settings found;
    bool result = false;
    std::istringstream stream(text);
    fuzz::same(error, fuzz::errorOf([&] { result = found.deserialize(stream); }), "error");
    fuzz::same(accepted, result, "result");
    fuzz::same(expected.loads, found.loads, "number of calls");
    fuzz::same(expected.version, found.version, "version");
    fuzz::same(expected.loaded, found.loaded, "settings");
    stream.setstate(std::ios_base::failbit);
    fuzz::same(false, found.deserialize(stream), "a stream that has failed");
    fuzz::same(expected.loads, found.loads, "nothing is called");
}

void write(const std::string& text) {
    Deserializer settings(Deserializer::AllowEmptyValues);
    if (!fuzz::errorOf([&] { settings.importJson(std::string_view(text)); }).empty()) {
        return;
    }
    Settings object;
    object.saved = &settings;
    object.version = text.substr(0, 5);
    ReferenceWriter value(true);
    value.add(settings);
    value.finalize();
    ReferenceWriter document(true);
    document.appendKey("version");
    document.addString(object.version);
    document.appendKey("settings");
    document.add(value);
    document.finalize();
    std::ostringstream out;
    object.serialize(out);
    fuzz::same(document.text, out.str(), "written document");
    read(out.str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    if (input.byte() % 2 == 1) {
        write(std::string(input.rest()));
    } else {
        read(std::string(input.rest()));
    }
    return 0;
}
