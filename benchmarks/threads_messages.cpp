// SPDX-License-Identifier: MIT

// Messages: one way from sender to handler, and streams of one sender and of two.

#include <atomic>
#include <functional>
#include <semaphore>
#include <thread>

#include <benchmark/benchmark.h>

#include <vorn/common/thread/MessageThread.h>

#ifdef VORN_PEER_POCO
#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>
#endif
#ifdef VORN_PEER_GLIB
#include <glib.h>
#endif

namespace {

constexpr int kBatch = 1000;

using Handler = std::function<void()>;

class VornMessages {
  public:
    explicit VornMessages(Handler handler)
        : thread_(
              [handler = std::move(handler)](const vorn::common::thread::Message&) { handler(); }) {
        thread_.start();
    }
    void send() { thread_.sendMessage(vorn::common::thread::Message(1, 2)); }

  private:
    vorn::common::thread::MessageThread thread_;
};

#ifdef VORN_PEER_GLIB
class GlibQueue {
  public:
    explicit GlibQueue(const Handler& handler)
        : thread_([this, handler] {
              while (g_async_queue_pop(queue_) != &end_) {
                  handler();
              }
          }) {}
    ~GlibQueue() {
        g_async_queue_push(queue_, &end_);
        thread_.join();
        g_async_queue_unref(queue_);
    }
    GlibQueue(const GlibQueue&) = delete;
    GlibQueue& operator=(const GlibQueue&) = delete;
    void send() { g_async_queue_push(queue_, &message_); }

  private:
    GAsyncQueue* queue_ = g_async_queue_new();
    int message_ = 0;
    int end_ = 0;
    std::thread thread_;
};

class GlibContext {
  public:
    explicit GlibContext(Handler handler)
        : handler_(std::move(handler)), thread_([this] { g_main_loop_run(loop_); }) {}
    ~GlibContext() {
        g_main_context_invoke(
            context_,
            [](gpointer loop) {
                g_main_loop_quit(static_cast<GMainLoop*>(loop));
                return G_SOURCE_REMOVE;
            },
            loop_);
        thread_.join();
        g_main_loop_unref(loop_);
        g_main_context_unref(context_);
    }
    GlibContext(const GlibContext&) = delete;
    GlibContext& operator=(const GlibContext&) = delete;
    void send() {
        GSource* source = g_idle_source_new();
        g_source_set_callback(
            source,
            [](gpointer self) {
                static_cast<GlibContext*>(self)->handler_();
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_source_attach(source, context_);
        g_source_unref(source);
    }

  private:
    Handler handler_;
    GMainContext* context_ = g_main_context_new();
    GMainLoop* loop_ = g_main_loop_new(context_, FALSE);
    std::thread thread_;
};
#endif

#ifdef VORN_PEER_POCO
class PocoQueue {
  public:
    explicit PocoQueue(const Handler& handler)
        : thread_([this, handler] {
              while (const Poco::Notification::Ptr next = queue_.waitDequeueNotification()) {
                  handler();
              }
          }) {}
    ~PocoQueue() {
        while (!queue_.hasIdleThreads()) {
            std::this_thread::yield();
        }
        queue_.wakeUpAll();
        thread_.join();
    }
    PocoQueue(const PocoQueue&) = delete;
    PocoQueue& operator=(const PocoQueue&) = delete;
    void send() { queue_.enqueueNotification(new Poco::Notification); }

  private:
    Poco::NotificationQueue queue_;
    std::thread thread_;
};
#endif

template <class Messages>
void oneWay(benchmark::State& state) {
    std::binary_semaphore handled(0);
    Messages messages([&] { handled.release(); });
    for (auto _ : state) {
        messages.send();
        handled.acquire();
    }
}

template <class Messages>
void stream(benchmark::State& state, int senders) {
    std::atomic<int> left = 0;
    std::binary_semaphore handled(0);
    Messages messages([&] {
        if (left.fetch_sub(1) == 1) {
            handled.release();
        }
    });
    const auto send = [&] {
        for (int i = 0; i < kBatch / senders; ++i) {
            messages.send();
        }
    };
    for (auto _ : state) {
        left = kBatch;
        std::jthread second(senders == 2 ? std::function<void()>(send) : [] {});
        send();
        handled.acquire();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

template <class Messages>
void oneSender(benchmark::State& state) {
    stream<Messages>(state, 1);
}

template <class Messages>
void twoSenders(benchmark::State& state) {
    stream<Messages>(state, 2);
}

BENCHMARK(oneWay<VornMessages>)->Name("message_handled/vorn")->UseRealTime();
BENCHMARK(oneSender<VornMessages>)->Name("message_stream_1000/vorn")->UseRealTime();
BENCHMARK(twoSenders<VornMessages>)->Name("message_stream_1000_two_senders/vorn")->UseRealTime();
#ifdef VORN_PEER_GLIB
BENCHMARK(oneWay<GlibQueue>)->Name("message_handled/glib_queue")->UseRealTime();
BENCHMARK(oneSender<GlibQueue>)->Name("message_stream_1000/glib_queue")->UseRealTime();
BENCHMARK(twoSenders<GlibQueue>)->Name("message_stream_1000_two_senders/glib_queue")->UseRealTime();
BENCHMARK(oneWay<GlibContext>)->Name("message_handled/glib_context")->UseRealTime();
#endif
#ifdef VORN_PEER_POCO
BENCHMARK(oneWay<PocoQueue>)->Name("message_handled/poco")->UseRealTime();
#endif

}  // namespace
