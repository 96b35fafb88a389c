// SPDX-License-Identifier: MIT

// A client binds to a server in the same process: the smallest transport calls the other end's
// functions. Between processes the two calls would be messages.

#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderProxy.h>
#include <vorn/common/BinderStubDb.h>

using namespace vorn::common;

namespace {

class Party : public Bindable {
  public:
    Party(const Uuid& uuid, std::string interface)
        : uuid_(uuid), interface_(std::move(interface)) {}
    const Uuid& uuid() const override { return uuid_; }
    const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

class Server : public BinderAdaptor, private BinderAdaptor::Listener {
  public:
    explicit Server(BinderDb& db) : BinderAdaptor(db, this, 2) {}

    unsigned syncTime() const override { return 0; }
    void dropClient(const Uuid& client) override { removeClient(client); }

  private:
    Binder::Error onBindRequest(Bindable& client) override {
        std::cout << "server: " << client.interface() << " asks\n";
        return client.interface() == "power" ? BINDER_SUCCESS : BINDER_ERROR_REJECTED;
    }
    void onUnbindRequest(Bindable& client) override {
        std::cout << "server: " << client.interface() << " leaves\n";
    }
    void onClientsListChange(const BinderClientsList& list) override {
        std::cout << "server: " << list.size() << " bound\n";
    }
};

class Client : public BinderProxy, private BinderProxy::Listener {
  public:
    Client(const Uuid& uuid, std::string interface, Server& server)
        : BinderProxy(uuid, this), interface_(std::move(interface)), server_(server) {}

    unsigned syncTime() const override { return server_.syncTime(); }
    Error sendBindRequest(const Uuid&) override {
        endBinding(server_.addClient(std::make_shared<Party>(uuid(), interface_)));
        return BINDER_SUCCESS;
    }
    Error sendUnbindRequest(const Uuid&) override {
        endUnbinding(server_.removeClient(uuid()));
        return BINDER_SUCCESS;
    }
    void cancelRequest() override { endBinding(BINDER_ERROR_ABORTED); }
    void connect() override {}
    void disconnect() override {}
    bool isConnected() const override { return true; }

  private:
    void onBound(const Uuid&, bool bound, Error error) override {
        std::cout << interface_ << ": bound " << bound << ", " << toString(error) << "\n";
    }
    void onUnbound(const Uuid&, bool stillBound, Error error) override {
        std::cout << interface_ << ": still bound " << stillBound << ", " << toString(error)
                  << "\n";
    }
    void onCommunicationStatus(const Uuid&, communication::CommunicationStatus status) override {
        std::cout << interface_ << ": communication " << status.state() << "\n";
    }

    std::string interface_;
    Server& server_;
};

}  // namespace

int main() {
    const Uuid serverUuid(Uuid::VORN_NAMESPACE, "server");
    BinderStubDb db(serverUuid);
    Server server(db);
    Client power(Uuid(Uuid::VORN_NAMESPACE, "power"), "power", server);
    Client light(Uuid(Uuid::VORN_NAMESPACE, "light"), "light", server);

    for (Client* client : {&power, &light}) {
        if (client->startBinding(serverUuid) == Binder::BINDER_SUCCESS) {
            client->sendBindRequest(serverUuid);
        }
    }
    std::cout << "again: " << toString(power.startBinding(serverUuid)) << "\n";
    if (power.startUnbinding() == Binder::BINDER_SUCCESS) {
        power.sendUnbindRequest(serverUuid);
    }
}
