// SPDX-License-Identifier: MIT
#include <charconv>
#include <string>

#include <benchmark/benchmark.h>

#include <vorn/common/TypedArgs.h>

namespace {

using namespace vorn::common;

constexpr std::string_view kInteger = "1234567";
constexpr std::string_view kFloating = "1234.5678";

template <class T>
T fromChars(std::string_view text) {
    T value{};
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

template <class Read>
void integer(benchmark::State& state, Read read) {
    for (auto _ : state) {
        auto text = kInteger;
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(read(text));
    }
}
BENCHMARK_CAPTURE(integer, vorn, GetTypedArgHelper<int>::get);
BENCHMARK_CAPTURE(integer, from_chars, fromChars<int>);
BENCHMARK_CAPTURE(integer, stoi,
                  [](std::string_view text) { return std::stoi(std::string(text)); });

template <class Read>
void floating(benchmark::State& state, Read read) {
    for (auto _ : state) {
        auto text = kFloating;
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(read(text));
    }
}
BENCHMARK_CAPTURE(floating, vorn, GetTypedArgHelper<double>::get);
BENCHMARK_CAPTURE(floating, stold,
                  [](std::string_view text) { return std::stold(std::string(text)); });

}  // namespace
