// SPDX-License-Identifier: MIT
#include <vorn/common/lwjson/Deserializer.h>

struct Point {
    int x, y;
};

int main() {
    const vorn::common::lwjson::Deserializer root(R"({"place":[1,2]})");
    static_cast<void>(root["place"][0].as<int>());
    static_cast<void>(root["place"].as<Point>());
}
