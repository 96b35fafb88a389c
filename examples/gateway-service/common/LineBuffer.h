// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace gateway {

/// One line of input, or what went wrong with it.
struct Line {
    enum class Problem {
        None,
        TooLong,    ///< longer than the limit; `text` is empty and the line has been thrown away
        Unfinished  ///< the input ended inside this line
    };
    std::string text;  ///< without its line feed
    Problem problem = Problem::None;
};

/// Cuts a byte stream into lines of bounded length. Memory stays below the limit plus one block of
/// input, whatever arrives.
class LineBuffer {
  public:
    explicit LineBuffer(std::size_t limit) : limit_(limit) {}

    void append(std::string_view bytes);
    /// Tells that no more bytes follow: what is left without a line feed is an unfinished line.
    void end() { ended_ = true; }
    /// The next line, or nothing until more bytes arrive.
    [[nodiscard]] std::optional<Line> next();
    /// True when `next` has nothing more to give and never will.
    [[nodiscard]] bool exhausted() const { return ended_ && start_ == buffer_.size(); }

  private:
    std::size_t limit_;
    std::string buffer_;
    std::size_t start_ = 0;    // of the line being read
    std::size_t scanned_ = 0;  // no line feed stands before this place
    bool discarding_ = false;  // inside a line that is too long
    bool ended_ = false;
};

}  // namespace gateway
