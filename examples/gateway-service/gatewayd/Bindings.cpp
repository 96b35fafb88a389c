// SPDX-License-Identifier: MIT
#include "Bindings.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <vorn/common/time/UnixTime.h>

namespace gateway {

using vorn::common::Bindable;
using vorn::common::BinderClientsList;
using vorn::common::Uuid;

namespace {

class BoundClient : public Bindable {
  public:
    BoundClient(const Uuid& uuid, std::string interface)
        : uuid_(uuid), interface_(std::move(interface)) {}

    [[nodiscard]] const Uuid& uuid() const override { return uuid_; }
    [[nodiscard]] const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

}  // namespace

void SettingsBinderDb::getClientsList(BinderClientsList& list) {
    settings_.read([&list](const Settings& settings) { list = settings.boundClients; });
}

void SettingsBinderDb::updateClientsList(const BinderClientsList& list) {
    settings_.change([&list](Settings& settings) { settings.boundClients = list; });
}

Bindings::Bindings(vorn::common::BinderDb& db, Listener* listener, unsigned most,
                   std::function<void(ClientId)> onDrop)
    : BinderAdaptor(db, listener, most), onDrop_(std::move(onDrop)) {}

Bindings::Error Bindings::bind(ClientId connection, const Uuid& client,
                               const std::string& interface) {
    if (connections_.count(connection) != 0) {
        return BINDER_ERROR_ALREADY_BOUND;
    }
    const Error result = addClient(std::make_shared<BoundClient>(client, interface));
    if (result == BINDER_SUCCESS) {
        connections_.emplace(connection, client);
    }
    return result;
}

Bindings::Error Bindings::unbind(ClientId connection) {
    const auto bound = connections_.find(connection);
    if (bound == connections_.end()) {
        return BINDER_ERROR_NOT_BOUND;
    }
    const Uuid client = bound->second;
    connections_.erase(bound);
    return removeClient(client);
}

void Bindings::onConnectionGone(ClientId connection) {
    static_cast<void>(unbind(connection));
}

void Bindings::dropAll() {
    while (!connections_.empty()) {
        dropClient(Uuid(connections_.begin()->second));
    }
}

unsigned Bindings::syncTime() const {
    return vorn::common::time::UnixTime::now().toIntegralType();
}

void Bindings::dropClient(const Uuid& client) {
    const auto bound =
        std::find_if(connections_.begin(), connections_.end(),
                     [&client](const auto& entry) { return entry.second == client; });
    if (bound != connections_.end()) {
        const ClientId connection = bound->first;
        static_cast<void>(unbind(connection));
        onDrop_(connection);
    }
}

}  // namespace gateway
