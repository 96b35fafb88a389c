// SPDX-License-Identifier: MIT

// Writes an object with a list and an object inside, once for people and once for a wire.

#include <iostream>
#include <string>
#include <vector>

#include <vorn/common/lwjson/Serializer.h>

using vorn::common::lwjson::Serializer;

namespace {

std::string settings(Serializer::Format format) {
    Serializer limits(format);
    limits.appendKey("low");
    limits.addValue(0.5, 2);
    limits.appendKey("high");
    limits.addValue(16);
    limits.finalize();

    Serializer object(format);
    object.appendKey("name");
    object.addValue("outlet \"A\"");
    object.appendKey("limits");
    object.addValue(limits);
    object.appendKey("tags");
    object.addValue(std::vector<std::string>{"power", "cabinet 3"});
    object.addNull("note");
    object.finalize();
    return object.json();
}

}  // namespace

int main() {
    std::cout << settings(Serializer::Pretty) << "\n" << settings(Serializer::Compact) << "\n";
}
