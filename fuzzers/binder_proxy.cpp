// SPDX-License-Identifier: MIT
// A proxy is taken through any sequence of steps beside its description followed step by step: the
// same answers, calls of the listener and states. A byte is one step.
#include <mutex>
#include <string>

#include <vorn/common/BinderProxy.h>

#include "fuzz.h"

namespace {

using vorn::common::Binder;
using vorn::common::BinderProxy;
using vorn::common::Uuid;
using vorn::common::communication::CommunicationStatus;
using vorn::common::communication::ComState;

std::string shown(const Uuid& uuid) {
    return uuid.to_hex().substr(30);
}

/// Writes its calls down.
class Listener final : public BinderProxy::Listener {
  public:
    std::string calls;

    void onBound(const Uuid& server, bool bound, Binder::Error error) override {
        calls += "bound " + shown(server) + (bound ? " yes " : " no ") + toString(error) + "\n";
    }
    void onUnbound(const Uuid& server, bool stillBound, Binder::Error error) override {
        calls +=
            "unbound " + shown(server) + (stillBound ? " still " : " no ") + toString(error) + "\n";
    }
    void onCommunicationStatus(const Uuid& server, CommunicationStatus status) override {
        calls += "status " + shown(server) + " " +
                 vorn::common::communication::toString(status.state()) + "\n";
    }
};

class Proxy final : public BinderProxy {
  public:
    using BinderProxy::BinderProxy;
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    Binder::Error sendBindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    Binder::Error sendUnbindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    void cancelRequest() override {}
    void connect() override {}
    void disconnect() override {}
    [[nodiscard]] bool isConnected() const override { return false; }
};

/// The description's fields and steps, one by one.
struct Model {
    Uuid server;
    Uuid bound;
    bool binding = false;
    bool unbinding = false;
    bool terminated = false;
    bool listening = true;
    ComState state = ComState::None;
    Listener listener;

    Binder::Error startBinding(const Uuid& to) {
        if (binding || unbinding) {
            return Binder::BINDER_ERROR_BUSY;
        }
        if (bound != Uuid::NIL) {
            return Binder::BINDER_ERROR_ALREADY_BOUND;
        }
        binding = true;
        server = to;
        set(ComState::NoContact);
        return Binder::BINDER_SUCCESS;
    }
    void endBinding(Binder::Error result) {
        Uuid remembered;
        bool outcome = false;
        if (binding) {
            remembered = server;
            binding = false;
            if (result != Binder::BINDER_SUCCESS) {
                bound = Uuid::NIL;
                server = Uuid::NIL;
                set(ComState::None);
            } else {
                bound = server;
                set(ComState::Ok);
                outcome = true;
            }
        }
        if (listening) {
            listener.onBound(remembered, outcome, result);
        }
    }
    Binder::Error startUnbinding() {
        if (unbinding) {
            return Binder::BINDER_ERROR_BUSY;
        }
        if (server == Uuid::NIL) {
            return Binder::BINDER_ERROR_NOT_BOUND;
        }
        unbinding = true;
        return Binder::BINDER_SUCCESS;
    }
    void endUnbinding(Binder::Error result) {
        const bool wasBound = bound != Uuid::NIL;
        const Uuid remembered = server;
        binding = false;
        unbinding = false;
        if (result == Binder::BINDER_SUCCESS) {
            bound = Uuid::NIL;
            server = Uuid::NIL;
            set(ComState::None);
        } else if (!wasBound) {
            set(ComState::None);
        }
        if (listening) {
            listener.onUnbound(remembered, result != Binder::BINDER_SUCCESS && wasBound, result);
        }
    }
    /// True when it ends with a call, for which the lock is released.
    bool set(ComState to) {
        if (to == state) {
            return false;
        }
        state = to;
        if (bound == Uuid::NIL) {
            return false;
        }
        if (listening) {
            listener.onCommunicationStatus(bound, CommunicationStatus(state));
        }
        return true;
    }
    void terminate() {
        listening = terminated && listening;
        terminated = true;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    Uuid::Bytes bytes{};
    Model model;
    Listener listener;
    Proxy proxy(Uuid::UNKNOWN, &listener);
    while (!input.empty()) {
        const unsigned choice = input.byte();
        const unsigned detail = choice / 8;
        const auto result = static_cast<Binder::Error>(detail % 3 == 0 ? 0 : detail % 11);
        switch (choice % 8) {
            case 0:
            case 1:
                // Server 0 is nil.
                bytes[15] = static_cast<unsigned char>(detail % 4);
                fuzz::same(model.startBinding(Uuid(bytes)), proxy.startBinding(Uuid(bytes)),
                           "start of a binding");
                break;
            case 2:
                model.endBinding(result);
                proxy.endBinding(result);
                break;
            case 3:
                fuzz::same(model.startUnbinding(), proxy.startUnbinding(), "start of an unbinding");
                break;
            case 4:
                model.endUnbinding(result);
                proxy.endUnbinding(result);
                break;
            case 5: {
                std::unique_lock lock(proxy.mutex());
                const auto state = static_cast<ComState>(detail % 8);
                const bool called = model.set(state);
                proxy.setCommunicationState(state, lock);
                fuzz::same(!called, lock.owns_lock(), "the lock is kept");
                break;
            }
            case 6:
                model.listening = detail % 2 == 0;
                proxy.registerListener(model.listening ? &listener : nullptr);
                break;
            default:
                if (detail % 4 == 0) {
                    model.terminate();
                    proxy.terminate();
                }
        }
        fuzz::same(model.listener.calls, listener.calls, "calls of the listener");
        model.listener.calls.clear();
        listener.calls.clear();
        fuzz::require(model.server == proxy.serverUuid(), "server");
        fuzz::require(model.bound == proxy.getBoundUuid(), "bound server");
        fuzz::same(static_cast<int>(model.state),
                   static_cast<int>(proxy.communicationStatus().state()), "communication state");
        fuzz::same(model.listening, proxy.listener() == &listener, "listener");
    }
    return 0;
}
