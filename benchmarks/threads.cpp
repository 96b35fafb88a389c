// SPDX-License-Identifier: MIT

// Pools: batches from submission to the end of their last task, by one producer and by two, of
// tasks of no work and of 10 microseconds; and one task there and back, on all processors and on
// one.

#include <sched.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <semaphore>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include <vorn/common/ThreadPool.h>

#ifdef VORN_PEER_BOOST
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef VORN_PEER_POCO
#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>
#endif
#ifdef VORN_PEER_TBB
#include <oneapi/tbb/task_arena.h>
#endif
#ifdef VORN_PEER_GLIB
#include <glib.h>
#endif

namespace {

constexpr int kWorkers = 2;
constexpr int kBatch = 1000;

void noWork() {}

void tenMicroseconds() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(10);
    while (std::chrono::steady_clock::now() < end) {
    }
}

using Work = void (*)();

/// Submits batches of tasks.
template <class Submit>
void runBatches(benchmark::State& state, Submit submit, Work work, int producers) {
    for (auto _ : state) {
        std::atomic<int> left = kBatch;
        std::binary_semaphore done(0);
        const auto produce = [&] {
            for (int i = 0; i < kBatch / producers; ++i) {
                submit([&] {
                    work();
                    if (left.fetch_sub(1) == 1) {
                        done.release();
                    }
                });
            }
        };
        std::jthread second(producers == 2 ? std::function<void()>(produce) : [] {});
        produce();
        done.acquire();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

/// While it lives this thread, and those that it makes, share one processor.
class OneProcessor {
  public:
    OneProcessor() {
        ::sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(::sched_getcpu()), &one);
        ::sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { ::sched_setaffinity(0, sizeof before_, &before_); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

  private:
    cpu_set_t before_{};
};

/// Submits one task and waits for it.
template <class Submit>
void runSingly(benchmark::State& state, Submit submit) {
    for (auto _ : state) {
        std::binary_semaphore done(0);
        submit([&] { done.release(); });
        done.acquire();
    }
}

struct VornPool {
    template <class Task>
    void operator()(Task task) {
        pool._emplaceTask(task);
    }
    vorn::common::ThreadPool pool{kWorkers};
};

#ifdef VORN_PEER_BOOST
struct AsioPool {
    template <class Task>
    void operator()(Task task) {
        boost::asio::post(pool, task);
    }
    boost::asio::thread_pool pool{kWorkers};
};
#endif

#ifdef VORN_PEER_TBB
struct TbbArena {
    template <class Task>
    void operator()(Task task) {
        arena.enqueue(task);
    }
    oneapi::tbb::task_arena arena{kWorkers, 0};
};
#endif

#ifdef VORN_PEER_GLIB
struct GlibPool {
    GlibPool()
        : pool(g_thread_pool_new(
              [](gpointer task, gpointer) {
                  auto* function = static_cast<std::function<void()>*>(task);
                  (*function)();
                  delete function;
              },
              nullptr, kWorkers, TRUE, nullptr)) {}
    ~GlibPool() { g_thread_pool_free(pool, FALSE, TRUE); }
    GlibPool(const GlibPool&) = delete;
    GlibPool& operator=(const GlibPool&) = delete;

    template <class Task>
    void operator()(Task task) {
        g_thread_pool_push(pool, new std::function<void()>(task), nullptr);
    }
    GThreadPool* pool;
};
#endif

template <class Pool>
void batches(benchmark::State& state) {
    Pool pool;
    runBatches(state, std::ref(pool), noWork, 1);
}

template <class Pool>
void twoProducers(benchmark::State& state) {
    Pool pool;
    runBatches(state, std::ref(pool), noWork, 2);
}

template <class Pool>
void longTasks(benchmark::State& state) {
    Pool pool;
    runBatches(state, std::ref(pool), tenMicroseconds, 1);
}

template <class Pool>
void singly(benchmark::State& state) {
    Pool pool;
    runSingly(state, std::ref(pool));
}

template <class Pool>
void singlyOnOneProcessor(benchmark::State& state) {
    const OneProcessor one;
    Pool pool;
    runSingly(state, std::ref(pool));
}

template <class Pool>
void registerPool(const std::string& name) {
    using benchmark::RegisterBenchmark;
    const auto add = [&](const char* operation, void (*run)(benchmark::State&)) {
        RegisterBenchmark((operation + ("/" + name)).c_str(), run)->UseRealTime();
    };
    add("pool_1000_tasks", batches<Pool>);
    add("pool_1000_tasks_two_producers", twoProducers<Pool>);
    add("pool_1000_tasks_of_10us", longTasks<Pool>);
    add("pool_one_task", singly<Pool>);
    add("pool_one_task_on_one_processor", singlyOnOneProcessor<Pool>);
}

const bool registered = [] {
    registerPool<VornPool>("vorn");
#ifdef VORN_PEER_BOOST
    registerPool<AsioPool>("boost_asio");
#endif
#ifdef VORN_PEER_TBB
    registerPool<TbbArena>("onetbb");
#endif
#ifdef VORN_PEER_GLIB
    registerPool<GlibPool>("glib");
#endif
    return true;
}();

#ifdef VORN_PEER_POCO
/// A Poco pool starts one runnable per free thread, so it has no batches.
void poolSinglePoco(benchmark::State& state) {
    struct Task : Poco::Runnable {
        void run() override { done->release(); }
        std::binary_semaphore* done = nullptr;
    };
    Poco::ThreadPool pool(kWorkers + 2, kWorkers + 2);
    Task task;
    for (auto _ : state) {
        std::binary_semaphore done(0);
        task.done = &done;
        pool.start(task);
        done.acquire();
        pool.joinAll();
    }
}
BENCHMARK(poolSinglePoco)->Name("pool_one_task/poco")->UseRealTime();
#endif

}  // namespace
