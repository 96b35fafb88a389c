// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace vorn::common::internal {

/// What a reader has found of containers that are still open, the innermost one on top.
///
/// It exists so that a text is read once and yet every member list is allocated once, at its exact
/// size: a list's length is known only at its closing bracket, and until then its members wait
/// here. Short texts find room in the object itself, which lives on the stack. Beyond that the
/// capacity grows by a quarter, because what waits is all that a parse needs beyond its result.
template <class Entry, std::size_t kInline>
class PendingStack {
  public:
    PendingStack() noexcept = default;
    PendingStack(const PendingStack&) = delete;
    PendingStack& operator=(const PendingStack&) = delete;
    ~PendingStack() {
        cut(0);
        release();
    }

    [[nodiscard]] std::size_t size() const noexcept {
        return static_cast<std::size_t>(end_ - begin_);
    }
    [[nodiscard]] Entry& operator[](std::size_t index) noexcept { return begin_[index]; }

    void push(Entry entry) {
        if (end_ == limit_) {
            grow();
        }
        ::new (static_cast<void*>(end_)) Entry(std::move(entry));
        ++end_;
    }

    /// Drops all entries but the lowest `size` ones.
    void cut(std::size_t size) noexcept {
        Entry* const end = begin_ + size;
        std::destroy(end, end_);
        end_ = end;
    }

  private:
    [[nodiscard]] Entry* inlineBegin() noexcept {
        return static_cast<Entry*>(static_cast<void*>(inline_));
    }

    void release() noexcept {
        if (begin_ != inlineBegin()) {
            std::allocator<Entry>().deallocate(begin_, static_cast<std::size_t>(limit_ - begin_));
        }
    }

    void grow() {
        const std::size_t used = size();
        const std::size_t room = used + used / 4;
        Entry* const begin = std::allocator<Entry>().allocate(room);
        std::uninitialized_move(begin_, end_, begin);
        std::destroy(begin_, end_);
        release();
        begin_ = begin;
        end_ = begin + used;
        limit_ = begin + room;
    }

    alignas(Entry) std::byte inline_[kInline * sizeof(Entry)];
    Entry* begin_ = inlineBegin();
    Entry* end_ = begin_;
    Entry* limit_ = begin_ + kInline;
};

}  // namespace vorn::common::internal
