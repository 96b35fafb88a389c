// SPDX-License-Identifier: MIT

// Reads a settings text: required and optional members, defaults, lists, and what a mistake says.

#include <iostream>
#include <stdexcept>

#include <vorn/common/lwjson/Deserializer.h>

using vorn::common::lwjson::Deserializer;
using vorn::common::time::SecondsDuration;

int main() {
    const Deserializer settings(R"({
        "name": "outlet \"A\"",
        "timeout": 30,
        "limits": {"low": 0.5, "high": 16},
        "tags": ["power", "cabinet 3"]
    })");

    std::cout << settings["name"].as<std::string>() << "\n";
    std::cout << settings["timeout"].as<SecondsDuration>() << "\n";
    std::cout << settings["limits"]["low"].as<double>() << " to "
              << settings["limits"]["high"].as<int>() << "\n";
    for (const Deserializer& tag : settings["tags"].members()) {
        std::cout << "tag " << tag.as<std::string>() << "\n";
    }

    const Deserializer* enabled = settings.findMember("enabled");
    std::cout << "enabled: " << (enabled == nullptr || enabled->as<bool>()) << "\n";

    try {
        std::cout << settings["limits"]["middle"].as<double>();
    } catch (const std::out_of_range& error) {
        std::cout << error.what() << "\n";
    }
    try {
        const Deserializer broken(R"({"name": "x", "limits": [1 2]})");
    } catch (const std::runtime_error& error) {
        std::cout << error.what() << "\n";
    }
}
