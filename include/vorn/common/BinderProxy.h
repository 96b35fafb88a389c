// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

#include <vorn/common/Binder.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// The client's end of a binding to one server. It keeps the state; a derived class is the
/// transport: it sends the requests, calls endBinding or endUnbinding with the server's answer, and
/// tells the server's clock through syncTime().
///
///     if (proxy.startBinding(server) == Binder::BINDER_SUCCESS) {
///         proxy.sendBindRequest(server);   // the answer: proxy.endBinding(result)
///     }
///
/// What each step does in each state: the state afterwards, or the error that is returned (nothing
/// changes then), and the listener calls in brackets. startBinding and startUnbinding call nothing.
///
///                              start-  endBinding  endBinding  start-     endUnb.    endUnb.
///     state                    Binding (success)   (error)     Unbinding  (success)  (error)
///     I  idle                  B       I [n]       I [n]       NOT_BOUND  I [u]      I [u]
///     K  idle, server kept     B       K [n]       K [n]       KU         I [u]      K [u]
///     B  binding               BUSY    O [t]       I [f]       BU         I [u]      K [u]
///     O  bound                 ALREADY O [n]       O [n]       U          I [u]      O [s]
///     U  unbinding             BUSY    U [n]       U [n]       BUSY       I [u]      O [s]
///     BU binding + unbinding   BUSY    U [t]       NU [f]      BUSY       I [u]      K [u]
///     KU unbinding, not bound  BUSY    KU [n]      KU [n]      BUSY       I [u]      K [u]
///     NU unbinding, no server  BUSY    NU [n]      NU [n]      BUSY       I [u]      I [u]
///
///     [n] onBound(nil, false, result)
///     [f] onBound(server, false, result)
///     [t] onCommunicationStatus(server, "ok") unless it was so, then onBound(server, true, result)
///     [u] onUnbound(server, false, result); the server is nil in I and NU
///     [s] onUnbound(server, true, result)
///
/// @image html binder.svg "The states"
///
/// serverUuid() is nil in I and NU, getBoundUuid() is the server in O and U and nil elsewhere. The
/// communication state becomes "no contact" in B, "ok" in O, and "none" in I, K and NU.
///
/// Deliberate: a failed unbinding while not bound keeps serverUuid() (K), so that startUnbinding
/// goes ahead afterwards. Deliberate: B is "no contact", not "establishing". Deliberate: a bind
/// under way does not block an unbind (BU).
///
/// Threads: safe from any thread, except serverUuid(). One recursive mutex guards the state; it is
/// released before a listener is called, so a listener may call back, and may unregister itself. A
/// caller that holds mutex() itself keeps it over the listener calls of what it calls, save for
/// setCommunicationState. The arguments of listener calls are copies.
///
/// Not guaranteed: a call that began before registerListener(nullptr) may end after it.
///
/// Lifetime: the listener is not owned; it must outlive its registration and the calls under way.
class VORN_GW_COMMON_EXPORT BinderProxy : public virtual Binder {
  public:
    /// Learns how the steps end. Called on the thread that made the step, without the proxy's
    /// mutex.
    class VORN_GW_COMMON_EXPORT Listener {
      public:
        virtual ~Listener() = default;
        /// A binding ended; `server` is nil when none was under way.
        virtual void onBound(const Uuid& server, bool bound, Binder::Error error) = 0;
        /// An unbinding ended.
        virtual void onUnbound(const Uuid& server, bool stillBound, Binder::Error error) = 0;
        /// The communication state changed while bound to `server`.
        virtual void onCommunicationStatus(const Uuid& server,
                                           communication::CommunicationStatus status) = 0;
    };

    /// Idle, with the communication state "none". The listener may be null.
    BinderProxy(const Uuid& uuid, Listener* listener);
    ~BinderProxy() override;
    BinderProxy(const BinderProxy&) = delete;
    BinderProxy& operator=(const BinderProxy&) = delete;

    /// The first call unregisters the listener, later ones do nothing. Deliberate: it stops nothing
    /// else, and a listener registered afterwards is called and stays.
    void terminate() override;

    /// The transport's operations, for the service to call; this class calls none of them.
    /// @{
    virtual Binder::Error sendBindRequest(const Uuid& server) = 0;
    virtual Binder::Error sendUnbindRequest(const Uuid& server) = 0;
    virtual void cancelRequest() = 0;
    virtual void connect() = 0;
    virtual void disconnect() = 0;
    [[nodiscard]] virtual bool isConnected() const = 0;
    /// @}

    /// The steps, as in the table above.
    /// @{
    Binder::Error startBinding(const Uuid& server);
    void endBinding(Binder::Error result);
    Binder::Error startUnbinding();
    void endUnbinding(Binder::Error result);
    /// @}

    /// Changes the communication state. When it is a change, and a server is bound, `lock` is
    /// released and onCommunicationStatus called; else `lock` stays held.
    ///
    ///     std::unique_lock lock(proxy.mutex());
    ///     proxy.setCommunicationState(communication::ComState::Lost, lock);
    ///
    /// `lock` must hold mutex(). Deliberate: it is released while bound even without a listener.
    void setCommunicationState(communication::ComState state,
                               std::unique_lock<std::recursive_mutex>& lock);

    /// Replaces the listener; null for none.
    void registerListener(Listener* listener);

    /// Call the listener's operation of that name with these arguments; nothing without a listener.
    /// @{
    void notifyBound(const Uuid& server, bool bound, Binder::Error error);
    void notifyUnbound(const Uuid& server, bool stillBound, Binder::Error error);
    void notifyCommunicationStatus(const Uuid& server, communication::CommunicationStatus status);
    /// @}

    /// This client.
    [[nodiscard]] const Uuid& uuid() const noexcept { return uuid_; }
    /// The server to which the binding is established; nil while not bound.
    [[nodiscard]] Uuid getBoundUuid() const;
    /// A copy of the link's state, as the last step or setCommunicationState left it.
    [[nodiscard]] communication::CommunicationStatus communicationStatus() const;
    /// The server being bound or bound to, nil when none. Deliberate: takes no lock. Read it with
    /// mutex() held, or while no other thread makes a step.
    [[nodiscard]] const Uuid& serverUuid() const noexcept { return serverUuid_; }
    /// Null when none is registered.
    [[nodiscard]] Listener* listener() const;

    /// The mutex that guards the state.
    [[nodiscard]] std::recursive_mutex& mutex() const noexcept { return mutex_; }

  private:
    using Lock = std::unique_lock<std::recursive_mutex>;

    const Uuid uuid_;
    mutable std::recursive_mutex mutex_;
    // Guarded by mutex_:
    Uuid serverUuid_;
    Uuid boundUuid_;
    bool binding_ = false;
    bool unbinding_ = false;
    bool terminated_ = false;
    Listener* listener_;
    communication::CommunicationStatus status_;
};

}  // namespace vorn::common
