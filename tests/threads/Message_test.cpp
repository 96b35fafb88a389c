// SPDX-License-Identifier: MIT
#include <type_traits>
#include <typeinfo>

#include <gtest/gtest.h>

#include <vorn/common/thread/Message.h>

namespace {

using vorn::common::thread::Message;

TEST(Message, KeepsClassAndType) {
    const Message message(4294967295u, 7);
    EXPECT_EQ(message.msgClass(), 4294967295u);
    EXPECT_EQ(message.msgType(), 7u);
    Message copy(1, 2);
    copy = message;
    EXPECT_EQ(copy, message);
    EXPECT_NE(copy, Message(7, 4294967295u));
}

TEST(Message, MoveGivesANewMessageAndKeepsTheOldOne) {
    Message message(3, 4);
    const auto moved = message.move();
    EXPECT_NE(moved.get(), &message);
    EXPECT_EQ(*moved, Message(3, 4));
    EXPECT_EQ(message, Message(3, 4));
}

struct Derived : Message {
    using Message::Message;
};

TEST(Message, MoveOfADerivedMessageGivesAPlainOne) {
    Derived derived(5, 6);
    const auto moved = derived.move();
    const Message& plain = *moved;
    EXPECT_EQ(typeid(plain), typeid(Message));
    EXPECT_EQ(plain, Message(5, 6));
    static_assert(std::has_virtual_destructor_v<Message>);
}

}  // namespace
