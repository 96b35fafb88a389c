// SPDX-License-Identifier: MIT
#include "vorn/common/BinderAdaptor.h"

#include <stdexcept>

namespace vorn::common {

BinderAdaptor::BinderAdaptor(BinderDb& db, Listener* listener, unsigned maxClients)
    : db_(db), listener_(listener), maxClients_(maxClients) {}

BinderAdaptor::~BinderAdaptor() = default;

void BinderAdaptor::terminate() {
    // Through the virtual operation: a derived transport sees its listener go.
    if (!terminated_.exchange(true)) {
        registerListener(nullptr);
    }
}

void BinderAdaptor::registerListener(Listener* listener) {
    const std::lock_guard lock(mutex_);
    listener_ = listener;
}

BinderAdaptor::Listener* BinderAdaptor::listener() const {
    const std::lock_guard lock(mutex_);
    return listener_;
}

Binder::Error BinderAdaptor::addClient(const std::shared_ptr<Bindable>& client) {
    if (!client) {
        throw std::invalid_argument("client is null");
    }
    // The argument may be the listener's own pointer, which it may reset.
    const auto kept = client;
    const std::string key = kept->uuid().base64URL();
    if (clients_.contains(key)) {
        return BINDER_ERROR_ALREADY_BOUND;
    }
    // Before the listener is asked: it must not accept a client that there is no room for.
    if (clients_.size() >= maxClients_) {
        return BINDER_ERROR_TOO_MANY_CLIENTS;
    }
    const Error answer = notifyBindRequest(*kept);
    if (answer != BINDER_SUCCESS) {
        return answer;
    }
    clients_.emplace(key, kept);
    BinderClientsList list;
    try {
        list = storeClientsList();
    } catch (...) {
        // A caller that sees an exception answers with a failure: the client must not be bound
        // then.
        clients_.erase(key);
        throw;
    }
    notifyClientsListChange(list);
    return BINDER_SUCCESS;
}

Binder::Error BinderAdaptor::removeClient(const Uuid& client) {
    // Copies: the argument may be part of the client, and the listener may remove the client
    // itself.
    const std::string key = client.base64URL();
    const auto entry = clients_.find(key);
    if (entry == clients_.end()) {
        return BINDER_ERROR_NOT_BOUND;
    }
    const auto leaving = entry->second;
    notifyUnbindRequest(*leaving);
    // By its key: the iterator is worth nothing if the listener has removed the client itself.
    clients_.erase(key);
    updateClientsList();
    return BINDER_SUCCESS;
}

bool BinderAdaptor::isRegistered(const Uuid& client) const {
    return clients_.contains(client.base64URL());
}

void BinderAdaptor::updateClientsList() {
    notifyClientsListChange(storeClientsList());
}

BinderClientsList BinderAdaptor::storeClientsList() {
    BinderClientsList list;
    list.reserve(clients_.size());
    for (const auto& entry : clients_) {
        list.emplace_back(*entry.second);
    }
    db_.updateClientsList(list);
    return list;
}

Binder::Error BinderAdaptor::notifyBindRequest(Bindable& client) {
    // The pointer is read under the mutex and called without it, so that the listener may call
    // back.
    Listener* const receiver = listener();
    return receiver == nullptr ? BINDER_SUCCESS : receiver->onBindRequest(client);
}

void BinderAdaptor::notifyUnbindRequest(Bindable& client) {
    if (Listener* const receiver = listener()) {
        receiver->onUnbindRequest(client);
    }
}

void BinderAdaptor::notifyClientsListChange(const BinderClientsList& list) {
    if (Listener* const receiver = listener()) {
        receiver->onClientsListChange(list);
    }
}

}  // namespace vorn::common
