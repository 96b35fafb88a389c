// SPDX-License-Identifier: MIT

// Counts events on a message thread: the counter belongs to the handler, so it needs no lock.

#include <future>
#include <iostream>

#include <vorn/common/thread/MessageThread.h>

using vorn::common::thread::Message;
using vorn::common::thread::MessageThread;

namespace {

constexpr unsigned int kMeter = 1;
constexpr unsigned int kPulse = 1;
constexpr unsigned int kReport = 2;

}  // namespace

int main() {
    std::promise<int> report;
    int pulses = 0;
    MessageThread meter([&](const Message& message) {
        if (message == Message(kMeter, kPulse)) {
            ++pulses;
        } else if (message == Message(kMeter, kReport)) {
            report.set_value(pulses);
        }
    });
    meter.start();
    for (int i = 0; i < 5; ++i) {
        meter.sendMessage(Message(kMeter, kPulse));
    }
    meter.sendMessage(Message(kMeter, kReport));
    std::cout << report.get_future().get() << " pulses\n";
}
