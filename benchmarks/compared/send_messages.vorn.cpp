// SPDX-License-Identifier: MIT
// Guarantees: messages are handled one at a time and in their order, on one thread that the object
// owns; the destructor ends it after the message at hand and drops the rest. The queue has no
// limit.
#include <future>

#include <vorn/common/thread/MessageThread.h>

#include "tasks.h"

namespace {

struct Pulse : vorn::common::thread::Message {
    explicit Pulse(int amount) : Message(1, 1), count(amount) {}
    std::unique_ptr<Message> move() override { return std::make_unique<Pulse>(*this); }
    int count;
};

}  // namespace

std::string compared::vorn::sendMessages(const std::string& messages) {
    const int all = std::stoi(messages);
    std::promise<void> done;
    int sum = 0;
    ::vorn::common::thread::MessageThread meter(
        [&](const ::vorn::common::thread::Message& message) {
            sum += static_cast<const Pulse&>(message).count;
            if (sum == all) {
                done.set_value();
            }
        });
    meter.start();
    for (int i = 0; i < all; ++i) {
        meter.sendMessage(Pulse(1));
    }
    done.get_future().wait();
    return std::to_string(sum);
}
