#include "Client.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace gateway {

namespace {

constexpr unsigned kMostUnanswered = 8;
constexpr std::size_t kMuchOutput = 65536;

bool isTemporary(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

void Client::receive() {
    std::array<char, 16384> block;
    const ssize_t count = ::recv(descriptor(), block.data(), block.size(), 0);
    if (count > 0) {
        input_.append({block.data(), static_cast<std::size_t>(count)});
    } else if (count == 0) {
        inputEnded_ = true;
        input_.end();
    } else if (!isTemporary(errno)) {
        lost_ = true;
    }
}

bool Client::mayAsk() const {
    return !lost_ && unanswered_ < kMostUnanswered && output_.size() - sent_ < kMuchOutput;
}

std::optional<Line> Client::nextLine() {
    if (!mayAsk()) {
        return std::nullopt;
    }
    std::optional<Line> line = input_.next();
    if (line) {
        ++unanswered_;
    }
    return line;
}

bool Client::wantsToReceive() const {
    return !inputEnded_ && mayAsk();
}

void Client::queue(const std::string& line, Delivery delivery) {
    if (delivery == Delivery::Answer || delivery == Delivery::AnswerBeforeResult) {
        --unanswered_;
    }
    if (delivery == Delivery::AnswerBeforeResult) {
        ++results_;
    } else if (delivery == Delivery::Result) {
        --results_;
    }
    if (output_.size() - sent_ + line.size() >= kMostOutput) {
        lost_ = true;
        return;
    }
    output_.erase(0, sent_);
    sent_ = 0;
    output_ += line;
    output_ += '\n';
}

void Client::flush() {
    while (wantsToSend() && !lost_) {
        const ssize_t count = ::send(descriptor(), output_.data() + sent_, output_.size() - sent_,
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            sent_ += static_cast<std::size_t>(count);
        } else if (isTemporary(errno)) {
            return;
        } else {
            lost_ = true;
        }
    }
}

}  // namespace gateway
