// SPDX-License-Identifier: MIT
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderStubDb.h>
#include <vorn/common/DbWithIdentification.h>
#include <vorn/common/IdentificationStubDb.h>
#include <vorn/common/command/CommandResults.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/conv/ConnectorType.h>

#include "binding/proxy.h"
#include "ladders/Ladder.h"

namespace {

using namespace vorn::common;
using ladders::Row;
using ladders::Trial;

const Uuid kOwner("11111111-1111-1111-1111-111111111111");
const Uuid kClient("22222222-2222-2222-2222-222222222222");
const std::string kInterface = "an interface whose name needs memory of its own";

class Adaptor : public BinderAdaptor {
  public:
    using BinderAdaptor::BinderAdaptor;
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    void dropClient(const Uuid&) override {}
};

class Party : public Bindable {
  public:
    [[nodiscard]] const Uuid& uuid() const override { return kClient; }
    [[nodiscard]] const std::string& interface() const override { return kInterface; }
};

class Accepting : public BinderAdaptor::Listener {
  public:
    Binder::Error onBindRequest(Bindable&) override { return Binder::BINDER_SUCCESS; }
    void onUnbindRequest(Bindable&) override {}
    void onClientsListChange(const BinderClientsList&) override {}
};

struct Server {
    BinderStubDb db{kOwner};
    Accepting listener;
    Adaptor adaptor{db, &listener, 3};
    std::shared_ptr<Bindable> party = std::make_shared<Party>();

    [[nodiscard]] bool hasStored() {
        BinderClientsList list;
        db.getClientsList(list);
        return list.size() == 1 && list[0].uuid() == kClient;
    }
};

void adding(Trial& trial) {
    Server server;
    auto answer = Binder::BINDER_ERROR_UNKNOWN;
    trial.operate([&] { answer = server.adaptor.addClient(server.party); });
    const bool registered = server.adaptor.isRegistered(kClient);
    trial.require(registered == !trial.threw(), "registered although it threw, or not at all");
    trial.require(registered == server.hasStored(), "registered and stored differ");
    if (registered) {
        server.adaptor.removeClient(kClient);
    }
    trial.require(server.adaptor.addClient(server.party) == Binder::BINDER_SUCCESS, "the next use");
}

void removing(Trial& trial) {
    Server server;
    server.adaptor.addClient(server.party);
    trial.operate([&] { server.adaptor.removeClient(kClient); });
    if (server.adaptor.isRegistered(kClient)) {
        server.adaptor.removeClient(kClient);
    }
    server.adaptor.updateClientsList();
    trial.require(!server.hasStored(), "is still stored");
    trial.require(server.adaptor.addClient(server.party) == Binder::BINDER_SUCCESS, "the next use");
}

void updating(Trial& trial) {
    Server server;
    server.adaptor.addClient(server.party);
    trial.operate([&] { server.adaptor.updateClientsList(); });
    trial.require(server.hasStored(), "is not stored any more");
}

const BinderClientsList& someClients() {
    static const BinderClientsList list{BinderClient(kClient, kInterface)};
    return list;
}

void storing(Trial& trial) {
    BinderStubDb db(kOwner);
    trial.operate([&] { db.updateClientsList(someClients()); });
    db.updateClientsList(someClients());
    BinderClientsList list;
    db.getClientsList(list);
    trial.require(list == someClients(), "the next use");
}

void reading(Trial& trial) {
    BinderStubDb db(kOwner);
    db.updateClientsList(someClients());
    BinderClientsList list;
    trial.operate([&] { db.getClientsList(list); });
    trial.require(trial.threw() || list == someClients(), "another list");
    list.clear();
    db.getClientsList(list);
    trial.require(list == someClients(), "the next use");
}

void toAServer(Trial& trial) {
    ::binding::Proxy proxy;
    trial.operate([&] {
        static_cast<void>(proxy.startBinding(kClient));
        proxy.endBinding(Binder::BINDER_SUCCESS);
        std::unique_lock lock(proxy.mutex());
        proxy.setCommunicationState(communication::ComState::Ok, lock);
    });
    proxy.endBinding(Binder::BINDER_ERROR_ABORTED);
    proxy.endUnbinding(Binder::BINDER_SUCCESS);
    trial.require(proxy.mutex().try_lock(), "the mutex is locked");
    proxy.mutex().unlock();
}

void fromAServer(Trial& trial) {
    ::binding::Proxy proxy;
    static_cast<void>(proxy.startBinding(kClient));
    proxy.endBinding(Binder::BINDER_SUCCESS);
    trial.operate([&] {
        static_cast<void>(proxy.startUnbinding());
        proxy.endUnbinding(Binder::BINDER_SUCCESS);
    });
    proxy.endUnbinding(Binder::BINDER_SUCCESS);
    trial.require(proxy.startBinding(kClient) == Binder::BINDER_SUCCESS, "the next use");
}

void describingAClient(Trial& trial) {
    const Party party;
    trial.operate([&] {
        const BinderClient client(party);
        const BinderClient copy = client;
        const BinderClient other(kClient, kInterface);
        static_cast<void>(copy == other);
    });
    trial.require(BinderClient(party) == BinderClient(kClient, kInterface), "the next use");
}

void serializingClients(Trial& trial) {
    std::string uuids;
    std::string interfaces;
    trial.operate([&] { BinderDb::serializeClientsList(someClients(), uuids, interfaces); });
    trial.require(trial.threw() || (uuids == kClient.base64URL() && interfaces == kInterface),
                  "other texts");
    BinderDb::serializeClientsList(someClients(), uuids, interfaces);
    trial.require(interfaces == kInterface, "the next use");
}

void deserializingClients(Trial& trial) {
    BinderClientsList list;
    const auto read = [&] {
        BinderDb::deserializeClientList(kClient.base64URL(), kInterface, list);
    };
    trial.operate(read);
    trial.require(trial.threw() || list == someClients(), "another list");
    read();
    trial.require(list == someClients(), "the next use");
}

void identifying(Trial& trial) {
    IdentificationStubDb storage(kOwner);
    DbWithIdentification db(storage);
    conv::Identification record;
    record.vendor = kInterface;
    record.model = kInterface;
    trial.operate([&] {
        db.setIdentification(record);
        static_cast<void>(db.identification());
    });
    db.setIdentification(record);
    record.uuid = kOwner.to_string();
    trial.require(db.identification() == record, "the next use");
}

template <class Value>
Row printing(const std::string& name, const Value& value) {
    return {name, [value](Trial& trial) {
                std::ostringstream out;
                out.exceptions(std::ios_base::badbit);
                trial.operate([&] { out << value; });
                std::ostringstream next;
                next << value;
                trial.require(trial.threw() || out.str() == next.str(), "another text");
            }};
}

template <class Enum, class Read>
Row readingName(const std::string& name, const std::string& text, Enum expected, Read read) {
    return {name, [=](Trial& trial) {
                auto value = Enum{};
                trial.operate([&] { value = read(text); });
                trial.require(trial.threw() || value == expected, "another value");
                trial.require(read(text) == expected, "the next use");
            }};
}

template <class Value>
Row naming(const std::string& name, Value value) {
    return {name, [value](Trial& trial) {
                std::string text;
                trial.operate([&] { text = toString(value); });
                trial.require(trial.threw() || text == toString(value), "another text");
            }};
}

TEST(BindingLadder, Allocations) {
    ladders::climbAllocations({
        {"BinderAdaptor::addClient", adding},
        {"BinderAdaptor::removeClient", removing},
        {"BinderAdaptor::updateClientsList", updating},
        {"BinderStubDb::updateClientsList", storing},
        {"BinderStubDb::getClientsList", reading},
        {"BinderProxy: bind", toAServer},
        {"BinderProxy: unbind", fromAServer},
        {"BinderClient", describingAClient},
        {"BinderDb::serializeClientsList", serializingClients},
        {"BinderDb::deserializeClientList", deserializingClients},
        {"DbWithIdentification", identifying},
        printing("ostream << BinderClientsList", someClients()),
        printing("ostream << Identification", conv::Identification()),
        printing("ostream << CommunicationStatus",
                 communication::CommunicationStatus(communication::ComState::Ok)),
        naming("toString(ComState)", communication::ComState::ConnectionFailed),
        naming("toString(Binder::Error)", Binder::BINDER_ERROR_TOO_MANY_CLIENTS),
        naming("toString(CommandExecutionState)", command::CommandExecutionState::InProgress),
        naming("toString(ConnectorType)", conv::ConnectorType::Schuko),
        naming("toString(Reason)", communication::Reason::UnexpectedHttpResponseCode),
        naming("toString(CommandSeverity)", command::CommandSeverity::Emergency),
        naming("toString(CommandStatus)", command::CommandStatus::Acknowledged),
        readingName("fromString<ComState>", "connection failed",
                    communication::ComState::ConnectionFailed,
                    communication::fromString<communication::ComState>),
        readingName("fromString<Reason>", "unexpected HTTP response code",
                    communication::Reason::UnexpectedHttpResponseCode,
                    communication::fromString<communication::Reason>),
        readingName("from_string<ConnectorType>", "NemaL520", conv::ConnectorType::NemaL520,
                    conv::from_string<conv::ConnectorType>),
    });
}

}  // namespace
