// SPDX-License-Identifier: MIT

// What each operation costs the thread that calls it.
//   cost [NAME...]   "name, tab, allocations" for each
//   cost --memory    "document, tab, bytes of its text, of its tree, at the peak of its parse"
// The system call at the beginning and the end of the repetitions is for count_instructions.cpp,
// which counts what lies between.

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <new>
#include <string_view>
#include <thread>
#include <vector>

#include <vorn/common/lwjson/Deserializer.h>

#include "../json_inputs.h"
#include "mark.h"
#include "operations.h"

namespace {

constinit thread_local std::size_t allocations = 0;
constinit thread_local std::ptrdiff_t bytes = 0;
constinit thread_local std::ptrdiff_t mostBytes = 0;

void* allocate(std::size_t size) noexcept {
    void* const block = std::malloc(size == 0 ? 1 : size);
    ++allocations;
    bytes += static_cast<std::ptrdiff_t>(::malloc_usable_size(block));
    mostBytes = std::max(mostBytes, bytes);
    return block;
}

void release(void* block) noexcept {
    bytes -= static_cast<std::ptrdiff_t>(::malloc_usable_size(block));
    std::free(block);
}

void measure(const cost::Operation& operation) {
    const auto run = operation.prepare();
    const auto repeat = [&run] {
        for (int i = 0; i < cost::kRepetitions; ++i) {
            run();
        }
    };
    repeat();  // caches are filled, and containers as large as they get
    std::size_t least = std::numeric_limits<std::size_t>::max();
    for (int round = 0; round < cost::kRounds; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));  // others finish meanwhile
        const std::size_t before = allocations;
        ::close(cost::kMark);
        repeat();
        ::close(cost::kMark);
        least = std::min(least, allocations - before);
    }
    std::cout << operation.name << '\t' << static_cast<double>(least) / cost::kRepetitions
              << std::endl;
}

void measureMemory(const char* name, const std::vector<std::string>& texts) {
    std::size_t text = 0;
    std::ptrdiff_t tree = 0;
    std::ptrdiff_t peak = 0;
    for (const std::string& document : texts) {
        const std::ptrdiff_t before = mostBytes = bytes;
        const vorn::common::lwjson::Deserializer root{std::string_view(document)};
        text += document.size();
        tree += bytes - before;
        peak += mostBytes - before;
    }
    std::cout << name << '\t' << text << '\t' << tree << '\t' << peak << '\n';
}

}  // namespace

void* operator new(std::size_t size) {
    if (void* const block = allocate(size)) {
        return block;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}

int main(int argc, char** argv) {
    const std::vector<std::string_view> names(argv + 1, argv + argc);
    if (names == std::vector<std::string_view>{"--memory"}) {
        measureMemory("gateway", inputs::gatewayDocuments());
        measureMemory("text-heavy", {inputs::textHeavy()});
        measureMemory("number-arrays", {inputs::numberArrays()});
        measureMemory("objects", {inputs::objectsInArrays()});
        measureMemory("telemetry-5MB", {inputs::telemetry()});
        return 0;
    }
    std::vector<cost::Operation> operations;
    cost::addJson(operations);
    cost::addValues(operations);
    cost::addSystem(operations);
    for (const auto& operation : operations) {
        if (names.empty() || std::find(names.begin(), names.end(), operation.name) != names.end()) {
            measure(operation);
        }
    }
}
