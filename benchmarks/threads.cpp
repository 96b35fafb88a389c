// Pools: a batch from submission to the end of its last task, and one task there and back.
// Messages: one way from sender to handler.

#include <atomic>
#include <functional>
#include <semaphore>

#include <benchmark/benchmark.h>

#include <vorn/common/ThreadPool.h>
#include <vorn/common/thread/MessageThread.h>

#ifdef VORN_PEER_BOOST
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef VORN_PEER_POCO
#include <thread>

#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>
#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>
#endif
#ifdef VORN_PEER_TBB
#include <oneapi/tbb/task_arena.h>
#endif
#ifdef VORN_PEER_GLIB
#include <thread>

#include <glib.h>
#endif

namespace {

constexpr int kWorkers = 2;
constexpr int kBatch = 1000;

/// Submits batches of tasks of almost no work.
template <class Submit>
void runBatches(benchmark::State& state, Submit submit) {
    for (auto _ : state) {
        std::atomic<int> left = kBatch;
        std::binary_semaphore done(0);
        for (int i = 0; i < kBatch; ++i) {
            submit([&] {
                if (left.fetch_sub(1) == 1) {
                    done.release();
                }
            });
        }
        done.acquire();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

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
void poolBatch(benchmark::State& state) {
    Pool pool;
    runBatches(state, std::ref(pool));
}

template <class Pool>
void poolSingle(benchmark::State& state) {
    Pool pool;
    runSingly(state, std::ref(pool));
}

BENCHMARK(poolBatch<VornPool>)->Name("pool_1000_tasks/vorn")->UseRealTime();
BENCHMARK(poolSingle<VornPool>)->Name("pool_one_task/vorn")->UseRealTime();
#ifdef VORN_PEER_BOOST
BENCHMARK(poolBatch<AsioPool>)->Name("pool_1000_tasks/boost_asio")->UseRealTime();
BENCHMARK(poolSingle<AsioPool>)->Name("pool_one_task/boost_asio")->UseRealTime();
#endif
#ifdef VORN_PEER_TBB
BENCHMARK(poolBatch<TbbArena>)->Name("pool_1000_tasks/onetbb")->UseRealTime();
BENCHMARK(poolSingle<TbbArena>)->Name("pool_one_task/onetbb")->UseRealTime();
#endif
#ifdef VORN_PEER_GLIB
BENCHMARK(poolBatch<GlibPool>)->Name("pool_1000_tasks/glib")->UseRealTime();
BENCHMARK(poolSingle<GlibPool>)->Name("pool_one_task/glib")->UseRealTime();
#endif

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

using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

void messageOneWay(benchmark::State& state) {
    std::binary_semaphore handled(0);
    MessageThread thread([&](const Message&) { handled.release(); });
    thread.start();
    for (auto _ : state) {
        thread.sendMessage(Message(1, 2));
        handled.acquire();
    }
}
BENCHMARK(messageOneWay)->Name("message_handled/vorn")->UseRealTime();

void messageStream(benchmark::State& state) {
    std::atomic<int> left = 0;
    std::binary_semaphore handled(0);
    MessageThread thread([&](const Message&) {
        if (left.fetch_sub(1) == 1) {
            handled.release();
        }
    });
    thread.start();
    for (auto _ : state) {
        left = kBatch;
        for (int i = 0; i < kBatch; ++i) {
            thread.sendMessage(Message(1, 2));
        }
        handled.acquire();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(messageStream)->Name("message_stream_1000/vorn")->UseRealTime();

#ifdef VORN_PEER_POCO
void messageOneWayPoco(benchmark::State& state) {
    std::binary_semaphore handled(0);
    Poco::NotificationQueue queue;
    std::thread thread([&] {
        while (const Poco::Notification::Ptr next = queue.waitDequeueNotification()) {
            handled.release();
        }
    });
    for (auto _ : state) {
        queue.enqueueNotification(new Poco::Notification);
        handled.acquire();
    }
    while (!queue.hasIdleThreads()) {
        std::this_thread::yield();
    }
    queue.wakeUpAll();
    thread.join();
}
BENCHMARK(messageOneWayPoco)->Name("message_handled/poco")->UseRealTime();
#endif

#ifdef VORN_PEER_GLIB
void messageOneWayGlib(benchmark::State& state) {
    std::binary_semaphore handled(0);
    int message = 0;
    int end = 0;
    GAsyncQueue* queue = g_async_queue_new();
    std::thread thread([&] {
        while (g_async_queue_pop(queue) != &end) {
            handled.release();
        }
    });
    for (auto _ : state) {
        g_async_queue_push(queue, &message);
        handled.acquire();
    }
    g_async_queue_push(queue, &end);
    thread.join();
    g_async_queue_unref(queue);
}
BENCHMARK(messageOneWayGlib)->Name("message_handled/glib")->UseRealTime();
#endif

}  // namespace
