// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "lwjson/indentation.h"

namespace vorn::common::internal {

/// Whether `text` would move when `output` grows.
[[nodiscard]] inline bool liesIn(std::string_view text, const std::string& output) noexcept {
    const std::less<> before;
    return !before(text.data(), output.data()) &&
           !before(output.data() + output.size(), text.data());
}

/// Copies short texts without a call: up to 16 characters as two words that may overlap. Returns
/// the position behind them.
inline char* copyCharacters(char* to, std::string_view text) noexcept {
    const char* const from = text.data();
    const std::size_t size = text.size();
    const auto ends = [&](auto first) {
        const std::size_t lastAt = size - sizeof first;
        auto last = first;
        std::memcpy(&first, from, sizeof first);
        std::memcpy(&last, from + lastAt, sizeof last);
        std::memcpy(to, &first, sizeof first);
        std::memcpy(to + lastAt, &last, sizeof last);
    };
    if (size > 16) {
        std::memcpy(to, from, size);
    } else if (size >= 8) {
        ends(std::uint64_t{});
    } else if (size >= 4) {
        ends(std::uint32_t{});
    } else if (size != 0) {
        to[0] = from[0];
        to[size / 2] = from[size / 2];
        to[size - 1] = from[size - 1];
    }
    return to + size;
}

/// The room that `copyIndentation` needs: most indentations are short, so that many are copied by
/// one instruction.
[[nodiscard]] constexpr std::size_t indentationRoom(std::size_t size) noexcept {
    return std::max<std::size_t>(size, 16);
}

/// The first `size` characters of `kIndentation`.
inline char* copyIndentation(char* to, std::size_t size) noexcept {
    std::memcpy(to, kIndentation.data(), 16);
    if (size > 16) {
        std::memcpy(to, kIndentation.data(), size);
    }
    return to + size;
}

/// Room at the end of a string that is written to directly: each append would cost a call, and most
/// of what a writer writes are pieces of a few characters. What is not used is cut off at the end.
/// Texts that are put must not lie in the string (`liesIn`).
class Tail {
  public:
    Tail(std::string& text, std::size_t room) : text_(text), used_(text.size()) {
        // Most pieces are short: a block of a fixed size is appended without a call.
        static constexpr std::array<char, 64> kBlock{};
        if (room <= kBlock.size() && text_.capacity() - used_ >= kBlock.size()) {
            text_.append(kBlock.data(), kBlock.size());
        } else {
            text_.resize(used_ + room);
        }
    }
    Tail(const Tail&) = delete;
    Tail& operator=(const Tail&) = delete;
    ~Tail() { text_.resize(used_); }

    /// At least `size` characters may be written there; `advance` and `advanceTo` keep what was.
    [[nodiscard]] char* room(std::size_t size) {
        if (size > text_.size() - used_) {
            text_.resize(text_.size() + std::max(size, kStep));
        }
        return text_.data() + used_;
    }
    /// The room that was asked for at first, unless `advance` and the like were called since.
    [[nodiscard]] char* begin() noexcept { return text_.data() + used_; }
    void advance(std::size_t size) noexcept { used_ += size; }
    void advanceTo(const char* end) noexcept {
        used_ = static_cast<std::size_t>(end - text_.data());
    }

    void put(char character) {
        *room(1) = character;
        advance(1);
    }
    void put(std::string_view text) {
        copyCharacters(room(text.size()), text);
        advance(text.size());
    }
    void putIndentation(std::size_t size) {
        copyIndentation(room(indentationRoom(size)), size);
        advance(size);
    }
    /// Takes the last character back if it is this one.
    void removeLast(char character) noexcept {
        if (used_ != 0 && text_[used_ - 1] == character) {
            --used_;
        }
    }

  private:
    static constexpr std::size_t kStep = 512;

    std::string& text_;
    std::size_t used_;
};

/// Appends what `write(to)` writes, at most `room` characters; it returns the position behind them.
template <class Write>
void appendWritten(std::string& text, std::size_t room, Write write) {
    Tail tail(text, room);
    tail.advanceTo(write(tail.begin()));
}

/// A text in quotes, and the comma behind it.
inline void appendQuoted(std::string& text, std::string_view value) {
    appendWritten(text, value.size() + 3, [value](char* to) {
        *to++ = '"';
        to = copyCharacters(to, value);
        *to++ = '"';
        *to++ = ',';
        return to;
    });
}

}  // namespace vorn::common::internal
