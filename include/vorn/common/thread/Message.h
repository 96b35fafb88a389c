// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <vorn/common/export.h>

namespace vorn::common::thread {

/// What a MessageThread's handler dispatches on: a class (the category) and a type within it, two
/// numbers of the service's own choice.
///
/// Deliberate: queues carry these two numbers alone. A message of a derived class arrives as a
/// plain Message; what the derived class adds stays behind.
///
/// Threads: as any value.
class VORN_GW_COMMON_EXPORT Message {
  public:
    /// No pair is reserved, and none means anything to the library.
    Message(unsigned int msgClass, unsigned int msgType) noexcept
        : msgClass_(msgClass), msgType_(msgType) {}
    /// Class and type.
    /// @{
    Message(const Message&) = default;
    Message& operator=(const Message&) = default;
    /// @}
    virtual ~Message();

    /// A new message on the heap with the same class and type; this one keeps its own.
    [[nodiscard]] virtual std::unique_ptr<Message> move();

    /// The category; the type counts within it.
    [[nodiscard]] unsigned int msgClass() const noexcept { return msgClass_; }
    /// Means nothing without msgClass().
    [[nodiscard]] unsigned int msgType() const noexcept { return msgType_; }

    /// Compares class and type.
    [[nodiscard]] friend bool operator==(const Message& left, const Message& right) noexcept {
        return left.msgClass_ == right.msgClass_ && left.msgType_ == right.msgType_;
    }

  private:
    unsigned int msgClass_;
    unsigned int msgType_;
};

}  // namespace vorn::common::thread
