// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

namespace vorn::common::internal {

/// First in, first out, in blocks that are linked. Unlike std::deque an empty one owns no memory,
/// so that making, swapping and destroying one cannot fail; room can be reserved ahead; and a queue
/// that stays short uses the same one or two blocks for ever. Not thread-safe.
template <class T, std::size_t Maximum = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(T)>
class BlockQueue {
  public:
    static constexpr std::size_t kBlockSize = 64;

    BlockQueue() noexcept = default;
    BlockQueue(const BlockQueue&) = delete;
    BlockQueue& operator=(const BlockQueue&) = delete;
    ~BlockQueue() {
        // One after the other: a chain that destroys its rest recursively overflows the stack.
        while (first_) {
            first_ = std::move(first_->next);
        }
    }

    void swap(BlockQueue& other) noexcept {
        std::swap(first_, other.first_);
        std::swap(last_, other.last_);
        std::swap(spare_, other.spare_);
        std::swap(front_, other.front_);
        std::swap(back_, other.back_);
        std::swap(size_, other.size_);
    }

    /// Makes sure that the next `places` calls of push(), one block at most, need no memory. Throws
    /// std::bad_alloc, nothing changed.
    void reserve(std::size_t places) {
        if (roomInLast() < places && !spare_) {
            spare_ = std::make_unique<Block>();
        }
    }

    /// Throws std::bad_alloc, or std::length_error beyond the maximum; nothing changed then.
    void push(T value) {
        if (size_ == Maximum) {
            throw std::length_error("cannot create std::deque larger than max_size()");
        }
        if (roomInLast() == 0) {
            appendBlock();
        }
        last_->items[back_++] = std::move(value);
        ++size_;
    }

    /// Of a queue that is not empty.
    [[nodiscard]] T pop() noexcept {
        T value = std::exchange(first_->items[front_++], T{});
        --size_;
        if (size_ == 0) {
            front_ = back_ = 0;
        } else if (front_ == kBlockSize) {
            removeBlock();
        }
        return value;
    }

    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    struct Block {
        std::array<T, kBlockSize> items{};
        std::unique_ptr<Block> next;
    };

    [[nodiscard]] std::size_t roomInLast() const noexcept {
        return last_ == nullptr ? 0 : kBlockSize - back_;
    }

    void appendBlock() {
        auto block = spare_ ? std::move(spare_) : std::make_unique<Block>();
        auto& link = last_ == nullptr ? first_ : last_->next;
        link = std::move(block);
        last_ = link.get();
        back_ = 0;
    }

    void removeBlock() noexcept {
        auto used = std::move(first_);
        first_ = std::move(used->next);
        front_ = 0;
        // One is kept, so that a queue whose length swings around a block's end does not allocate.
        if (!spare_) {
            spare_ = std::move(used);
        }
    }

    std::unique_ptr<Block> first_;
    Block* last_ = nullptr;
    std::unique_ptr<Block> spare_;
    std::size_t front_ = 0;  // within the first block
    std::size_t back_ = 0;   // within the last block: the first free place
    std::size_t size_ = 0;
};

}  // namespace vorn::common::internal
