// SPDX-License-Identifier: MIT
#include "vorn/common/thread/Message.h"

namespace vorn::common::thread {

// Here and not in the header, so that the class has its virtual table in one place.
Message::~Message() = default;

std::unique_ptr<Message> Message::move() {
    return std::make_unique<Message>(msgClass_, msgType_);
}

}  // namespace vorn::common::thread
