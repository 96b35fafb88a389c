// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The operations whose cost is watched: how often they allocate, how many instructions they take.
namespace cost {

/// `prepare()` makes what one operation needs and returns the operation, which is then repeated.
struct Operation {
    std::string name;
    std::function<std::function<void()>()> prepare;
};

void addJson(std::vector<Operation>& operations);
void addValues(std::vector<Operation>& operations);
void addSystem(std::vector<Operation>& operations);

/// The compiler must take `value` for used.
template <class Value>
void use(const Value& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

}  // namespace cost
