#include "vorn/common/thread/Message.h"

namespace vorn::common::thread {

Message::~Message() = default;

std::unique_ptr<Message> Message::move() {
    return std::make_unique<Message>(msgClass_, msgType_);
}

}  // namespace vorn::common::thread
