// SPDX-License-Identifier: MIT
#include <memory>
#include <string>
#include <string_view>

#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#include "../json_inputs.h"
#include "operations.h"

namespace cost {
namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

auto parsing(const std::string& text) {
    return [text] { return [text] { use(Deserializer(std::string_view(text))); }; };
}

auto writing(Serializer::Format format) {
    return [format] {
        return [format] {
            Serializer json(format);
            for (const char* key : {"operating", "health", "message", "version"}) {
                json.appendKey(key);
                json.addValue("some text value");
                Serializer inner(format);
                inner.appendKey("count");
                inner.addValue(12);
                inner.appendKey("load");
                inner.addValue(0.25);
                inner.finalize();
                json.appendKey("inner");
                json.addValue(inner);
            }
            json.finalize();
            use(json.json());
        };
    };
}

}  // namespace

void addJson(std::vector<Operation>& operations) {
    const auto documents = inputs::gatewayDocuments();
    const std::string& settings = documents.back();
    operations.push_back({"json.parse-command", parsing(documents.front())});
    operations.push_back({"json.parse-settings", parsing(settings)});
    operations.push_back({"json.parse-objects", parsing(inputs::objectsInArrays())});
    operations.push_back({"json.parse-numbers", parsing(inputs::numberArrays())});
    operations.push_back({"json.skip-text", parsing(inputs::textHeavy())});
    operations.push_back({"json.look-up", [settings] {
                              const auto root = std::make_shared<Deserializer>(settings);
                              return [root] {
                                  use((*root)["settings"]["outlet17"]["high"].as<double>());
                              };
                          }});
    operations.push_back({"json.unescape", [] {
                              const auto root = std::make_shared<Deserializer>(
                                  R"("a \"word\" and\ta line\n, and \u00e9 at the end")");
                              return [root] { use(root->as<std::string>()); };
                          }});
    operations.push_back({"json.write-compact", writing(Serializer::Compact)});
    operations.push_back({"json.write-pretty", writing(Serializer::Pretty)});
    operations.push_back({"json.copy-tree", [settings] {
                              const auto root = std::make_shared<Deserializer>(settings);
                              return [root] {
                                  Serializer json(Serializer::Pretty);
                                  json.addValue(*root);
                                  use(json.json());
                              };
                          }});
    operations.push_back({"json.compare", [settings] {
                              const auto left = std::make_shared<Deserializer>(settings);
                              const auto right = std::make_shared<Deserializer>(settings);
                              return [left, right] { use(left->compare(*right)); };
                          }});
}

}  // namespace cost
