// SPDX-License-Identifier: MIT
#include <map>
#include <mutex>

#include <benchmark/benchmark.h>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/cipher/helper.h>

namespace {

using namespace vorn::common;

/// The same look-up with a map behind a mutex.
std::optional<cipher::CipherProxy> getCipherLocked(const std::string_view& path,
                                                   const std::string_view& name) {
    static std::mutex mutex;
    static auto& libraries = *new std::map<std::string, std::shared_ptr<DynamicLibrary>>;
    std::shared_ptr<DynamicLibrary> library;
    {
        const std::lock_guard lock(mutex);
        auto& entry = libraries[std::string(path)];
        if (entry == nullptr) {
            entry = loadDynamicLibrary(std::string(path), {});
        }
        library = entry;
    }
    return library->object()->getCipher(name);
}

template <class LookUp>
void lookUp(benchmark::State& state, LookUp function) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(function(PLUGIN_PATH, "cipher"));
    }
}

BENCHMARK_CAPTURE(lookUp, vorn, cipher::getCipherFromLib)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK_CAPTURE(lookUp, mutex_map, getCipherLocked)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
