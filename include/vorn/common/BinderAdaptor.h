// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <vorn/common/Bindable.h>
#include <vorn/common/Binder.h>
#include <vorn/common/BinderClient.h>
#include <vorn/common/BinderDb.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// The server's end of the binding protocol: keeps the bound clients, lets a listener accept or
/// refuse each, and stores their list after every change. A derived class is the transport: it
/// receives the requests, calls addClient and removeClient, sends their results back as answers,
/// and tells its clock through syncTime().
///
///     const Binder::Error answer = adaptor.addClient(client);   // refused, or bound and stored
///
///     call           client unknown                              client bound
///     addClient      listener refuses: its result                BINDER_ERROR_ALREADY_BOUND
///                    full: BINDER_ERROR_TOO_MANY_CLIENTS
///                    else bound: BINDER_SUCCESS
///     removeClient   BINDER_ERROR_NOT_BOUND                      removed: BINDER_SUCCESS
///     isRegistered   false                                       true
///
/// Every error leaves clients and database as they were, and so does an exception from storing a
/// new client's list. The database is not read: a server that restores its clients adds them again.
///
/// Threads: the listener is guarded by a mutex of its own. Everything that touches the clients
/// (addClient, removeClient, isRegistered, updateClientsList) takes no lock: one thread at a time.
/// Listener and database are called on the caller's thread without any lock, so that the listener
/// may call back; removing clients from its calls, the one it is told about too, is fine.
///
/// Lifetime: database and listener are not owned; both must outlive their use here.
class VORN_GW_COMMON_EXPORT BinderAdaptor : public virtual Binder {
  public:
    /// Decides about clients and learns of changes.
    class VORN_GW_COMMON_EXPORT Listener {
      public:
        virtual ~Listener() = default;
        /// BINDER_SUCCESS accepts the client; anything else refuses it and becomes the answer.
        virtual Binder::Error onBindRequest(Bindable& client) = 0;
        /// The client is about to be removed; it is still registered. Cannot be refused.
        virtual void onUnbindRequest(Bindable& client) = 0;
        /// The list has changed and is stored.
        virtual void onClientsListChange(const BinderClientsList& list) = 0;
    };

    /// No client is bound at first. The listener may be null: everybody is accepted then. With a
    /// maximum of 0 nobody ever is.
    BinderAdaptor(BinderDb& db, Listener* listener, unsigned maxClients);
    ~BinderAdaptor() override;
    BinderAdaptor(const BinderAdaptor&) = delete;
    BinderAdaptor& operator=(const BinderAdaptor&) = delete;

    /// The first call unregisters the listener, later ones do nothing. Deliberate: it stops nothing
    /// else, and a listener registered afterwards is called and stays.
    void terminate() override;

    /// Replaces the listener; null for none.
    virtual void registerListener(Listener* listener);

    /// The transport's operation with which the server ends a binding of its own accord; this class
    /// does not call it.
    virtual void dropClient(const Uuid& client) = 0;

    /// Binds a client, as in the table above; the limit is tested before the listener is asked.
    /// Throws std::invalid_argument "client is null". An exception of the database or a listener
    /// passes; the client is bound then only when it comes from announcing the list, which is
    /// stored by that time.
    Binder::Error addClient(const std::shared_ptr<Bindable>& client);

    /// Ends a client's binding, as in the table above, after telling the listener. An exception of
    /// the database or a listener passes; the client stays bound only when onUnbindRequest throws.
    Binder::Error removeClient(const Uuid& client);

    /// Stores the list in the database and then announces the same list to the listener. The order
    /// is that of the uuids' Base64URL texts. Deliberate: every change of the clients does this for
    /// the whole list.
    void updateClientsList();

    /// Call the listener's operation of that name. Without a listener every bind request is
    /// accepted, and the others do nothing.
    /// @{
    Binder::Error notifyBindRequest(Bindable& client);
    void notifyUnbindRequest(Bindable& client);
    virtual void notifyClientsListChange(const BinderClientsList& list);
    /// @}

    /// Whether a client of that uuid is bound.
    [[nodiscard]] bool isRegistered(const Uuid& client) const;
    /// Null when none is registered.
    [[nodiscard]] Listener* listener() const;

  private:
    VORN_GW_COMMON_HIDDEN BinderClientsList storeClientsList();

    BinderDb& db_;
    mutable std::mutex mutex_;
    std::atomic<bool> terminated_{false};
    Listener* listener_;  // guarded by mutex_
    const unsigned maxClients_;
    std::map<std::string, std::shared_ptr<Bindable>, std::less<>> clients_;
};

}  // namespace vorn::common
