// SPDX-License-Identifier: MIT
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <optional>
#include <utility>

#include <vorn/common/BinderProxy.h>
#include <vorn/common/time/UnixTime.h>

#include "commands.h"
#include "json.h"
#include "process.h"

namespace gateway {

namespace {

using vorn::common::Binder;
using vorn::common::BinderProxy;
using vorn::common::Uuid;
using vorn::common::communication::CommunicationStatus;
using vorn::common::communication::ComState;
using vorn::common::time::UnixTime;

constexpr std::chrono::milliseconds kFirstPause(250);
constexpr std::chrono::milliseconds kLongestPause(30000);

Binder::Error errorFrom(const std::string& text) {
    for (unsigned code = 0; code <= Binder::BINDER_ERROR_ABORTED; ++code) {
        if (toString(static_cast<Binder::Error>(code)) == text) {
            return static_cast<Binder::Error>(code);
        }
    }
    return Binder::BINDER_ERROR_UNKNOWN;
}

/// The client's end of a binding, over a connection to the service. Requests wait for their
/// answers.
///
/// Threads: one.
class SocketProxy : public BinderProxy {
  public:
    /// Once `stop` is set no request is waited for. Lifetime: `listener` and `stop` must outlive
    /// the proxy.
    SocketProxy(const Uuid& uuid, Listener* listener, std::string socket,
                const EventDescriptor& stop)
        : BinderProxy(uuid, listener), socket_(std::move(socket)), stop_(stop) {}

    /// Connects when it is not connected and binds to whichever service answers. Returns whether it
    /// is bound; `trouble` tells why nobody bound it.
    bool tryToBind(std::string& trouble) {
        try {
            connect();
            const Reply status = session_->ask(JsonLine().text("request", "status").take());
            const Uuid server(status.text({"uuid"}));
            Error result = startBinding(server);
            if (result == BINDER_SUCCESS) {
                result = sendBindRequest(server);
                endBinding(result);
            }
            trouble.clear();
            return result == BINDER_SUCCESS;
        } catch (const std::runtime_error& error) {
            trouble = error.what();
        } catch (const std::invalid_argument& error) {
            trouble = error.what();
        }
        disconnect();
        return false;
    }

    /// Waits until the connection breaks, or the service ends the binding, and becomes unbound; or
    /// until it is told to stop. Returns whether it was.
    bool stayBound() {
        try {
            // The only thing that a service says unasked and that matters is that it ends the
            // binding; it may have said so before the answer to the last request.
            while (!session_->unbound()) {
                pollfd polled[] = {{stop_.get(), POLLIN, 0}, {session_->descriptor(), POLLIN, 0}};
                if (::poll(polled, 2, -1) <= 0) {
                    continue;
                }
                if (polled[0].revents != 0) {
                    return true;
                }
                session_->takeNotices();
            }
        } catch (const std::runtime_error&) {
            // Lost all the same.
        }
        loseBinding();
        return false;
    }

    /// Unbinds in good order, if it is bound.
    void unbind() {
        if (session_) {
            session_->takeLeave();
        }
        if (startUnbinding() == BINDER_SUCCESS) {
            endUnbinding(sendUnbindRequest(serverUuid()));
        }
        disconnect();
    }

    [[nodiscard]] unsigned syncTime() const override {
        return static_cast<unsigned>(UnixTime::now().toIntegralType() + clockDifference_);
    }
    Error sendBindRequest(const Uuid& /*server*/) override {
        return request(JsonLine()
                           .text("request", "bind")
                           .uuid("client", uuid())
                           .text("interface", "gwctl")
                           .take());
    }
    Error sendUnbindRequest(const Uuid& /*server*/) override {
        return request(JsonLine().text("request", "unbind").take());
    }
    void cancelRequest() override { disconnect(); }
    void connect() override {
        if (!session_) {
            session_.emplace(socket_, false, Patience{.stop = &stop_});
        }
    }
    void disconnect() override { session_.reset(); }
    [[nodiscard]] bool isConnected() const override { return session_.has_value(); }

  private:
    [[nodiscard]] Error request(const std::string& line) {
        try {
            const Reply reply = session_->ask(line);
            clockDifference_ = std::int64_t{reply.number({"time"}, UINT32_MAX)} -
                               std::int64_t{UnixTime::now().toIntegralType()};
            return errorFrom(reply.text({"result"}));
        } catch (const std::exception&) {  // the step must end all the same
            disconnect();
            return BINDER_ERROR_ABORTED;
        }
    }

    void loseBinding() {
        disconnect();
        {
            std::unique_lock lock(mutex());
            setCommunicationState(ComState::Lost, lock);
        }
        startUnbinding();
        endUnbinding(BINDER_SUCCESS);
    }

    std::string socket_;
    const EventDescriptor& stop_;
    std::optional<Session> session_;
    std::int64_t clockDifference_ = 0;  // of the service's clock to ours, in seconds
};

/// Shows what happens to the binding, one line for each thing; one that happens again and again is
/// shown once.
class Display : public BinderProxy::Listener {
  public:
    explicit Display(bool json) : json_(json) {}

    void onBound(const Uuid& server, bool bound, Binder::Error error) override {
        show(bound ? "bound" : "not bound", server, error);
    }
    void onUnbound(const Uuid& server, bool stillBound, Binder::Error error) override {
        show(stillBound ? "still bound" : "unbound", server, error);
    }
    void onCommunicationStatus(const Uuid& /*server*/, CommunicationStatus status) override {
        const std::string state = toString(status.state());
        const std::string since = status.since().toIso8601();
        print(JsonLine().text("event", "communication").text("state", state).text("since", since),
              "communication " + state + " since " + since);
    }
    void showTrouble(const std::string& trouble) {
        if (!trouble.empty()) {
            print(JsonLine().text("event", "not bound").text("reason", trouble),
                  "not bound: " + trouble);
        }
    }

  private:
    void show(const std::string& event, const Uuid& server, Binder::Error error) {
        const std::string reason =
            error == Binder::BINDER_SUCCESS ? "" : " (" + toString(error) + ")";
        print(
            JsonLine().text("event", event).uuid("server", server).text("result", toString(error)),
            event + " " + server.to_string() + reason);
    }
    void print(JsonLine& line, const std::string& text) {
        if (std::exchange(last_, text) != text) {
            std::cout << (json_ ? line.take() : printable(text, '?')) << std::endl;
        }
    }

    bool json_;
    std::string last_;
};

// Returns whether the descriptor was set before it was time to try again.
bool waitToRetry(const EventDescriptor& stop, std::chrono::milliseconds pause) {
    pollfd polled{stop.get(), POLLIN, 0};
    return ::poll(&polled, 1, static_cast<int>(pause.count())) > 0;
}

}  // namespace

int bindCommand(const Call& call) {
    call.arguments.finish();
    const EventDescriptor& stop = catchStopSignals();
    Display display(call.json);
    SocketProxy proxy(Uuid(0ULL), &display, call.socket, stop);
    auto pause = kFirstPause;
    for (bool stopped = false; !stopped;) {
        std::string trouble;
        if (proxy.tryToBind(trouble)) {
            pause = kFirstPause;
            stopped = proxy.stayBound();
        } else {
            stopped = waitToRetry(stop, std::chrono::milliseconds(0));
            if (!stopped) {
                display.showTrouble(trouble);
                stopped = waitToRetry(stop, pause);
            }
            pause = std::min(2 * pause, kLongestPause);
        }
    }
    proxy.unbind();
    proxy.terminate();
    return kDone;
}

}  // namespace gateway
