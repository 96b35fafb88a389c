// SPDX-License-Identifier: MIT
#include <fcntl.h>

#include <utility>

#include <gtest/gtest.h>

#include "posix/Descriptor.h"

namespace {

using vorn::common::internal::Descriptor;

bool isOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1;
}

TEST(Descriptor, ClosesWhatItOwns) {
    int fd = -1;
    {
        const Descriptor descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        fd = descriptor.get();
        ASSERT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(Descriptor, MovedFromOwnsNothing) {
    Descriptor source(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int fd = source.get();
    Descriptor target;
    target = std::move(source);
    EXPECT_EQ(target.get(), fd);
    EXPECT_TRUE(isOpen(fd));
    Descriptor third(std::move(target));
    auto& same = third;
    third = std::move(same);
    EXPECT_TRUE(isOpen(fd));
    EXPECT_EQ(third.release(), fd);
    EXPECT_FALSE(third);
    EXPECT_TRUE(isOpen(fd));
    ::close(fd);
}

}  // namespace
