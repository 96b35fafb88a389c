#include "SocketProxy.h"

#include <poll.h>

#include <vorn/common/time/UnixTime.h>
#include <utility>

#include "JsonLine.h"

namespace gateway {

using vorn::common::Uuid;
using vorn::common::communication::ComState;
using vorn::common::time::UnixTime;

namespace {

vorn::common::Binder::Error errorFrom(const std::string& text) {
    using Binder = vorn::common::Binder;
    for (unsigned code = 0; code <= Binder::BINDER_ERROR_ABORTED; ++code) {
        if (toString(static_cast<Binder::Error>(code)) == text) {
            return static_cast<Binder::Error>(code);
        }
    }
    return Binder::BINDER_ERROR_UNKNOWN;
}

}  // namespace

SocketProxy::SocketProxy(const Uuid& uuid, Listener* listener, std::string socket)
    : BinderProxy(uuid, listener), socket_(std::move(socket)) {}

bool SocketProxy::tryToBind() {
    try {
        connect();
        const Reply status = session_->ask(JsonLine().text("request", "status").take());
        const Uuid server(status.text({"uuid"}));
        Error result = startBinding(server);
        if (result == BINDER_SUCCESS) {
            result = sendBindRequest(server);
            endBinding(result);
        }
        return result == BINDER_SUCCESS;
    } catch (const ConnectionError&) {
        disconnect();
        return false;
    }
}

bool SocketProxy::stayBound(const EventDescriptor& stop) {
    try {
        for (;;) {
            pollfd polled[] = {{stop.get(), POLLIN, 0},
                               {session_->connection().descriptor(), POLLIN, 0}};
            if (::poll(polled, 2, -1) <= 0) {
                continue;
            }
            if (polled[0].revents != 0) {
                return true;
            }
            // The only thing that a service says unasked is that it ends the binding.
            if (session_->connection().receive(std::chrono::milliseconds(0))) {
                break;
            }
        }
    } catch (const ConnectionError&) {
        // Lost all the same.
    }
    loseBinding();
    return false;
}

void SocketProxy::loseBinding() {
    disconnect();
    {
        std::unique_lock lock(mutex());
        setCommunicationState(ComState::Lost, lock);
    }
    startUnbinding();
    endUnbinding(BINDER_SUCCESS);
}

void SocketProxy::unbind() {
    if (startUnbinding() == BINDER_SUCCESS) {
        endUnbinding(sendUnbindRequest(serverUuid()));
    }
    disconnect();
}

unsigned SocketProxy::syncTime() const {
    return static_cast<unsigned>(UnixTime::now().toIntegralType() + clockDifference_);
}

SocketProxy::Error SocketProxy::sendBindRequest(const Uuid&) {
    return request(JsonLine()
                       .text("request", "bind")
                       .uuid("client", uuid())
                       .text("interface", "gwctl")
                       .take());
}

SocketProxy::Error SocketProxy::sendUnbindRequest(const Uuid&) {
    return request(JsonLine().text("request", "unbind").take());
}

void SocketProxy::cancelRequest() {
    disconnect();
}

void SocketProxy::connect() {
    if (!session_) {
        session_.emplace(socket_, false);
    }
}

void SocketProxy::disconnect() {
    session_.reset();
}

SocketProxy::Error SocketProxy::request(const std::string& line) {
    try {
        const Reply reply = session_->ask(line);
        clockDifference_ =
            std::stoll(reply.text({"time"})) - std::int64_t{UnixTime::now().toIntegralType()};
        return errorFrom(reply.text({"result"}));
    } catch (const ConnectionError&) {
        disconnect();
        return BINDER_ERROR_ABORTED;
    }
}

}  // namespace gateway
