// SPDX-License-Identifier: MIT

// Tells what changed between two settings texts, whatever the order of their members.

#include <iostream>

#include <vorn/common/lwjson/Deserializer.h>

using vorn::common::lwjson::Deserializer;

int main() {
    const Deserializer before(R"({"name":"a","limits":[1,2,3],"nested":{"x":true}})");
    const Deserializer reordered(R"({"nested":{"x":true},"limits":[1,2,3],"name":"a"})");
    const Deserializer after(R"({"name":"a","limits":[1,5],"nested":{"y":true}})");

    std::cout << "same: " << before.compare(reordered) << "\n";
    const bool same = before.compare(after, std::cout);
    std::cout << "same: " << same << "\n";

    const Deserializer::CompareContext context(false, &std::cout, true);
    before["limits"].compare(after["limits"], context.member("limits"));
    std::cout << context.differences() << " differences in the limits\n";
}
