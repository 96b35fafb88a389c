// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <vorn/common/BinderProxy.h>

namespace binding {

using vorn::common::Binder;
using vorn::common::BinderProxy;
using vorn::common::Uuid;
using vorn::common::communication::CommunicationStatus;
using vorn::common::communication::ComState;

inline const Uuid kSelf("11111111-1111-1111-1111-111111111111");
inline const Uuid kServer("22222222-2222-2222-2222-222222222222");
inline const Uuid kOther("33333333-3333-3333-3333-333333333333");

/// A proxy whose transport sends nothing.
class Proxy : public BinderProxy {
  public:
    explicit Proxy(Listener* listener = nullptr) : BinderProxy(kSelf, listener) {}

    [[nodiscard]] unsigned syncTime() const override { return 1000; }
    Binder::Error sendBindRequest(const Uuid&) override { return used(); }
    Binder::Error sendUnbindRequest(const Uuid&) override { return used(); }
    void cancelRequest() override { used(); }
    void connect() override { used(); }
    void disconnect() override { used(); }
    [[nodiscard]] bool isConnected() const override { return used() == BINDER_SUCCESS; }

    mutable int transportCalls = 0;

  private:
    Binder::Error used() const {
        ++transportCalls;
        return BINDER_SUCCESS;
    }
};

inline std::string nameOf(const Uuid& uuid) {
    return uuid == kServer ? "server" : uuid == kOther ? "other" : uuid.isNil() ? "nil" : "?";
}

/// Writes down every call, and whether another thread could have taken the proxy's mutex meanwhile.
class Recorder : public BinderProxy::Listener {
  public:
    void onBound(const Uuid& server, bool bound, Binder::Error error) override {
        record("bound " + nameOf(server) + (bound ? " true " : " false ") + toString(error));
    }
    void onUnbound(const Uuid& server, bool stillBound, Binder::Error error) override {
        record("unbound " + nameOf(server) + (stillBound ? " true " : " false ") + toString(error));
    }
    void onCommunicationStatus(const Uuid& server, CommunicationStatus status) override {
        lastStatus = status;
        record("status " + nameOf(server) + " " + toString(status.state()));
    }

    std::vector<std::string> take() { return std::exchange(calls, {}); }

    BinderProxy* proxy = nullptr;
    bool calledUnderTheMutex = false;
    std::vector<std::string> calls;
    CommunicationStatus lastStatus{ComState::Unknown};
    std::function<void()> then;  ///< done once, in the next call

  private:
    void record(std::string call) {
        calls.push_back(std::move(call));
        if (proxy != nullptr) {
            std::thread([this] {
                if (proxy->mutex().try_lock()) {
                    proxy->mutex().unlock();
                } else {
                    calledUnderTheMutex = true;
                }
            }).join();
        }
        if (const auto action = std::exchange(then, nullptr)) {
            action();
        }
    }
};

}  // namespace binding
