// SPDX-License-Identifier: MIT
#include "vorn/common/BinderProxy.h"

namespace vorn::common {

using communication::CommunicationStatus;
using communication::ComState;

namespace {

void release(std::unique_lock<std::recursive_mutex>& lock) {
    if (lock.owns_lock()) {
        lock.unlock();
    }
}

}  // namespace

BinderProxy::BinderProxy(const Uuid& uuid, Listener* listener)
    : uuid_(uuid), listener_(listener), status_(ComState::None) {}

BinderProxy::~BinderProxy() = default;

void BinderProxy::terminate() {
    const Lock lock(mutex_);
    if (!terminated_) {
        terminated_ = true;
        registerListener(nullptr);
    }
}

Binder::Error BinderProxy::startBinding(const Uuid& server) {
    Lock lock(mutex_);
    if (binding_ || unbinding_) {
        return BINDER_ERROR_BUSY;
    }
    if (!boundUuid_.isNil()) {
        return BINDER_ERROR_ALREADY_BOUND;
    }
    binding_ = true;
    serverUuid_ = server;
    // Nobody is told of "no contact", because nothing is bound yet.
    setCommunicationState(ComState::NoContact, lock);
    return BINDER_SUCCESS;
}

void BinderProxy::endBinding(Error result) {
    Lock lock(mutex_);
    Uuid server;
    bool bound = false;
    if (binding_) {
        server = serverUuid_;
        binding_ = false;
        bound = result == BINDER_SUCCESS;
        if (bound) {
            boundUuid_ = serverUuid_;
            setCommunicationState(ComState::Ok, lock);
        } else {
            boundUuid_ = Uuid::NIL;
            serverUuid_ = Uuid::NIL;
            setCommunicationState(ComState::None, lock);
        }
    }
    // setCommunicationState may have released it already.
    release(lock);
    notifyBound(server, bound, result);
}

Binder::Error BinderProxy::startUnbinding() {
    const Lock lock(mutex_);
    // A pending bind is no obstacle: unbinding is also how it is given up.
    if (unbinding_) {
        return BINDER_ERROR_BUSY;
    }
    if (serverUuid_.isNil()) {
        return BINDER_ERROR_NOT_BOUND;
    }
    unbinding_ = true;
    return BINDER_SUCCESS;
}

void BinderProxy::endUnbinding(Error result) {
    // Deliberate: read before the rest. It takes the lock for itself, so that it is no race.
    const bool wasBound = !getBoundUuid().isNil();
    Lock lock(mutex_);
    const Uuid server = serverUuid_;
    binding_ = false;
    unbinding_ = false;
    const bool stillBound = result != BINDER_SUCCESS && wasBound;
    if (result == BINDER_SUCCESS) {
        boundUuid_ = Uuid::NIL;
        serverUuid_ = Uuid::NIL;
    }
    if (!stillBound) {
        setCommunicationState(ComState::None, lock);
    }
    release(lock);
    notifyUnbound(server, stillBound, result);
}

void BinderProxy::setCommunicationState(ComState state, Lock& lock) {
    if (!status_.set(state) || boundUuid_.isNil()) {
        return;
    }
    // Copies, and the lock released: the listener may call back from any thread.
    const Uuid server = boundUuid_;
    const CommunicationStatus status = status_;
    lock.unlock();
    notifyCommunicationStatus(server, status);
}

Uuid BinderProxy::getBoundUuid() const {
    const Lock lock(mutex_);
    return boundUuid_;
}

CommunicationStatus BinderProxy::communicationStatus() const {
    const Lock lock(mutex_);
    return status_;
}

void BinderProxy::registerListener(Listener* listener) {
    const Lock lock(mutex_);
    listener_ = listener;
}

BinderProxy::Listener* BinderProxy::listener() const {
    const Lock lock(mutex_);
    return listener_;
}

void BinderProxy::notifyBound(const Uuid& server, bool bound, Error error) {
    if (Listener* const receiver = listener()) {
        receiver->onBound(server, bound, error);
    }
}

void BinderProxy::notifyUnbound(const Uuid& server, bool stillBound, Error error) {
    if (Listener* const receiver = listener()) {
        receiver->onUnbound(server, stillBound, error);
    }
}

void BinderProxy::notifyCommunicationStatus(const Uuid& server, CommunicationStatus status) {
    if (Listener* const receiver = listener()) {
        receiver->onCommunicationStatus(server, status);
    }
}

}  // namespace vorn::common
