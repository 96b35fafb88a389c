// SPDX-License-Identifier: MIT
// Peer: GLib
// Guarantees: pointers come out in the order in which they went in; who owns what they point to,
// and how the thread ends, is the caller's; memory or a thread that cannot be had ends the process.
// The queue has no limit.
#include <glib.h>

#include "tasks.h"

namespace {

struct Pulse {
    int count;
};

struct Meter {
    GAsyncQueue* queue;
    int all;
    int sum;
};

gpointer run(gpointer data) {
    auto* meter = static_cast<Meter*>(data);
    while (meter->sum < meter->all) {
        auto* pulse = static_cast<Pulse*>(g_async_queue_pop(meter->queue));
        meter->sum += pulse->count;
        g_free(pulse);
    }
    return nullptr;
}

}  // namespace

std::string compared::peer::sendMessages(const std::string& messages) {
    Meter meter{g_async_queue_new_full(g_free), std::stoi(messages), 0};
    GThread* thread = g_thread_new("meter", run, &meter);
    for (int i = 0; i < meter.all; ++i) {
        auto* pulse = g_new(Pulse, 1);
        pulse->count = 1;
        g_async_queue_push(meter.queue, pulse);
    }
    g_thread_join(thread);
    g_async_queue_unref(meter.queue);
    return std::to_string(meter.sum);
}
