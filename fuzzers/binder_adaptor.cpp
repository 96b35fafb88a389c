// SPDX-License-Identifier: MIT
// An adaptor is taken through any sequence of requests beside its description followed step by
// step: the same answers, calls in the same order, and stored lists. The first byte is the greatest
// number of clients, each of the others one request.
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include <vorn/common/BinderAdaptor.h>

#include "fuzz.h"

namespace {

using vorn::common::Bindable;
using vorn::common::Binder;
using vorn::common::BinderAdaptor;
using vorn::common::BinderClientsList;
using vorn::common::BinderDb;
using vorn::common::Uuid;

/// Where the calls of the database and the listener are written down, and what they are to answer.
struct Script {
    std::string calls;
    Binder::Error answer = Binder::BINDER_SUCCESS;
    bool databaseFails = false;
};

class Client final : public Bindable {
  public:
    Client(Uuid uuid, std::string interface)
        : uuid_(std::move(uuid)), interface_(std::move(interface)) {}
    [[nodiscard]] const Uuid& uuid() const override { return uuid_; }
    [[nodiscard]] const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

std::string shown(const BinderClientsList& list) {
    std::string text;
    for (const auto& client : list) {
        text += " " + client.uuid().base64URL() + "=" + client.interface();
    }
    return text + "\n";
}

class Database final : public BinderDb {
  public:
    explicit Database(Script& script) : BinderDb(Uuid::NIL), script_(script) {}
    void getClientsList(BinderClientsList&) override { script_.calls += "read\n"; }
    void updateClientsList(const BinderClientsList& list) override {
        script_.calls += "store" + shown(list);
        if (script_.databaseFails) {
            throw std::runtime_error("full");
        }
    }

  private:
    Script& script_;
};

class Listener final : public BinderAdaptor::Listener {
  public:
    explicit Listener(Script& script) : script_(script) {}
    Binder::Error onBindRequest(Bindable& client) override {
        script_.calls += "bind " + client.interface() + "\n";
        return script_.answer;
    }
    void onUnbindRequest(Bindable& client) override {
        script_.calls += "unbind " + client.interface() + "\n";
    }
    void onClientsListChange(const BinderClientsList& list) override {
        script_.calls += "list" + shown(list);
    }

  private:
    Script& script_;
};

class Adaptor final : public BinderAdaptor {
  public:
    using BinderAdaptor::BinderAdaptor;
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    void dropClient(const Uuid&) override {}
};

struct Model {
    unsigned maxClients;
    bool listening = true;
    bool terminated = false;
    std::map<std::string, std::string> clients{};  // interfaces by Base64URL text
    std::string calls{};

    [[nodiscard]] std::string list() const {
        std::string text;
        for (const auto& [uuid, interface] : clients) {
            text += " " + uuid + "=" + interface;
        }
        return text + "\n";
    }
    /// Storing a list of which the last step was the addition of a client takes it out again when
    /// it fails.
    std::string update(const Script& script, const std::string& added) {
        calls += "store" + list();
        if (script.databaseFails) {
            clients.erase(added);
            return "runtime: full";
        }
        calls += listening ? "list" + list() : "";
        return "";
    }
    std::string add(const Script& script, const std::string& uuid, const std::string& interface,
                    Binder::Error& answer) {
        if (clients.count(uuid) != 0) {
            answer = Binder::BINDER_ERROR_ALREADY_BOUND;
        } else if (clients.size() >= maxClients) {
            answer = Binder::BINDER_ERROR_TOO_MANY_CLIENTS;
        } else {
            calls += listening ? "bind " + interface + "\n" : "";
            if (listening && script.answer != Binder::BINDER_SUCCESS) {
                answer = script.answer;
                return "";
            }
            clients[uuid] = interface;
            const std::string error = update(script, uuid);
            answer = error.empty() ? Binder::BINDER_SUCCESS : answer;
            return error;
        }
        return "";
    }
    std::string remove(const Script& script, const std::string& uuid, Binder::Error& answer) {
        const auto client = clients.find(uuid);
        if (client == clients.end()) {
            answer = Binder::BINDER_ERROR_NOT_BOUND;
            return "";
        }
        calls += listening ? "unbind " + client->second + "\n" : "";
        clients.erase(client);
        const std::string error = update(script, "");
        answer = error.empty() ? Binder::BINDER_SUCCESS : answer;
        return error;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    Script script;
    Database database(script);
    Listener listener(script);
    Model model{input.byte() % 5U};
    Adaptor adaptor(database, &listener, model.maxClients);
    while (!input.empty()) {
        const unsigned choice = input.byte();
        const unsigned detail = choice / 8;
        Uuid::Bytes bytes{};
        // The order of the texts is not that of the bytes.
        bytes[0] = static_cast<unsigned char>(detail % 8 * 37);
        const Uuid uuid(bytes);
        const std::string& key = uuid.base64URL();
        constexpr auto kNone = static_cast<Binder::Error>(77);
        Binder::Error expected = kNone;
        Binder::Error found = kNone;
        std::string expectedError;
        std::string error;
        switch (choice % 8) {
            case 0:
            case 1:
            case 2: {
                const std::string interface = "i" + std::to_string(choice);
                script.answer = static_cast<Binder::Error>(detail % 7 == 3 ? detail % 10 : 0);
                expectedError = model.add(script, key, interface, expected);
                const auto client = std::make_shared<Client>(uuid, interface);
                error = fuzz::errorOf([&] { found = adaptor.addClient(client); });
                break;
            }
            case 3:
            case 4:
                expectedError = model.remove(script, key, expected);
                error = fuzz::errorOf([&] { found = adaptor.removeClient(uuid); });
                break;
            case 5:
                expectedError = model.update(script, "");
                error = fuzz::errorOf([&] { adaptor.updateClientsList(); });
                break;
            case 6:
                model.listening = detail % 3 != 0;
                adaptor.registerListener(model.listening ? &listener : nullptr);
                break;
            default:
                if (detail % 4 == 0) {
                    model.listening = model.terminated && model.listening;
                    model.terminated = true;
                    adaptor.terminate();
                } else {
                    script.databaseFails = detail % 4 == 1;
                }
        }
        fuzz::same(expectedError, error, "error");
        fuzz::same(expected, found, "answer");
        fuzz::same(model.calls, script.calls, "calls");
        model.calls.clear();
        script.calls.clear();
        fuzz::same(model.clients.count(key) != 0, adaptor.isRegistered(uuid), "registered");
        fuzz::same(model.listening, adaptor.listener() == &listener, "listener");
    }
    return 0;
}
