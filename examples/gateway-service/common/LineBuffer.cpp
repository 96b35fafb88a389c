// SPDX-License-Identifier: MIT
#include "LineBuffer.h"

namespace gateway {

void LineBuffer::append(std::string_view bytes) {
    buffer_.erase(0, start_);
    scanned_ -= start_;
    start_ = 0;
    buffer_ += bytes;
}

std::optional<Line> LineBuffer::next() {
    const std::size_t feed = buffer_.find('\n', scanned_);
    if (feed != std::string::npos) {
        Line line;
        if (discarding_ || feed - start_ > limit_) {
            line.problem = Line::Problem::TooLong;
        } else {
            line.text = buffer_.substr(start_, feed - start_);
        }
        discarding_ = false;
        start_ = scanned_ = feed + 1;
        return line;
    }
    scanned_ = buffer_.size();
    if (scanned_ - start_ > limit_) {
        discarding_ = true;
    }
    const bool partial = discarding_ || scanned_ > start_;
    if (discarding_ || ended_) {
        start_ = scanned_;
    }
    if (!ended_ || !partial) {
        return std::nullopt;
    }
    discarding_ = false;
    return Line{{}, Line::Problem::Unfinished};
}

}  // namespace gateway
