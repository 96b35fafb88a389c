#pragma once

#include <vorn/common/BinderProxy.h>
#include <optional>
#include <string>

#include "EventDescriptor.h"
#include "Session.h"

namespace gateway {

/// The client's end of a binding, over a connection to the service. Requests wait for their
/// answers.
///
/// Threads: one.
class SocketProxy : public vorn::common::BinderProxy {
  public:
    /// Lifetime: `listener` must outlive the proxy.
    SocketProxy(const vorn::common::Uuid& uuid, Listener* listener, std::string socket);

    /// Connects when it is not connected and binds to whichever service answers. Returns whether it
    /// is bound.
    bool tryToBind();
    /// Waits until the connection breaks, or the service ends the binding, and becomes unbound; or
    /// until `stop` is set. Returns whether it was.
    bool stayBound(const EventDescriptor& stop);
    /// Unbinds in good order, if it is bound.
    void unbind();

    [[nodiscard]] unsigned syncTime() const override;
    Error sendBindRequest(const vorn::common::Uuid& server) override;
    Error sendUnbindRequest(const vorn::common::Uuid& server) override;
    void cancelRequest() override;
    void connect() override;
    void disconnect() override;
    [[nodiscard]] bool isConnected() const override { return session_.has_value(); }

  private:
    [[nodiscard]] Error request(const std::string& line);
    void loseBinding();

    std::string socket_;
    std::optional<Session> session_;
    std::int64_t clockDifference_ = 0;  // of the service's clock to ours, in seconds
};

}  // namespace gateway
