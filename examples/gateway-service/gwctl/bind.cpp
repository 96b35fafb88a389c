#include <poll.h>

#include <iostream>

#include "JsonLine.h"
#include "SocketProxy.h"
#include "commands.h"
#include "exitCodes.h"
#include "signals.h"

namespace gateway {

namespace {

using vorn::common::Binder;
using vorn::common::Uuid;
using vorn::common::communication::CommunicationStatus;

constexpr int kRetryMilliseconds = 1000;

/// Shows what happens to the binding, one line for each thing.
class Display : public vorn::common::BinderProxy::Listener {
  public:
    explicit Display(bool json) : json_(json) {}

    void onBound(const Uuid& server, bool bound, Binder::Error error) override {
        show(bound ? "bound" : "not bound", server, error);
    }
    void onUnbound(const Uuid& server, bool stillBound, Binder::Error error) override {
        show(stillBound ? "still bound" : "unbound", server, error);
    }
    void onCommunicationStatus(const Uuid&, CommunicationStatus status) override {
        const std::string state = toString(status.state());
        const std::string since = status.since().toIso8601();
        print(JsonLine().text("event", "communication").text("state", state).text("since", since),
              "communication " + state + " since " + since);
    }

  private:
    void show(const std::string& event, const Uuid& server, Binder::Error error) {
        const std::string reason =
            error == Binder::BINDER_SUCCESS ? "" : " (" + toString(error) + ")";
        print(
            JsonLine().text("event", event).uuid("server", server).text("result", toString(error)),
            event + " " + server.to_string() + reason);
    }
    void print(JsonLine& line, const std::string& text) const {
        std::cout << (json_ ? line.take() : text) << std::endl;
    }

    bool json_;
};

// Returns whether the descriptor was set before it was time to try again.
bool waitToRetry(const EventDescriptor& stop) {
    pollfd polled{stop.get(), POLLIN, 0};
    return ::poll(&polled, 1, kRetryMilliseconds) > 0;
}

}  // namespace

int bindCommand(const std::string& socket, bool json, Arguments& arguments) {
    arguments.finish();
    const EventDescriptor& stop = catchStopSignals();
    Display display(json);
    SocketProxy proxy(Uuid(0ULL), &display, socket);
    for (bool stopped = false; !stopped;) {
        stopped = proxy.tryToBind() ? proxy.stayBound(stop) : waitToRetry(stop);
    }
    proxy.unbind();
    proxy.terminate();
    return kDone;
}

}  // namespace gateway
