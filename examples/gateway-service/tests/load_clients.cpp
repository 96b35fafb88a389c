// SPDX-License-Identifier: MIT
#include "load_clients.h"

#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "json.h"
#include "sockets.h"

namespace gateway_load {

using gateway::JsonLine;
using gateway::Reply;

const std::string kStatus = "{\"request\":\"status\"}";
std::atomic<bool> over{false};
std::string socketPath;

namespace {

// Each kind of client: one turn of it.

void asks(Client& client) {
    const Reply status = client.ask(kStatus);
    client.expect(status.text({"answer"}) == "status", status);
    const Reply settings = client.ask("{\"request\":\"settings\"}");
    client.expect(settings.text({"answer"}) == "settings", settings);
    Client::pause(2 + client.roll(4));
}

void asksNonsense(Client& client) {
    const std::string nonsense[] = {"",
                                    "{",
                                    "[1,2",
                                    "\xff\xfe",
                                    "{\"request\":\"dance\"}",
                                    "{\"request\":\"run\",\"script\":7,\"timeout\":1}",
                                    std::string(70000, 'x'),
                                    std::string("a\0b", 3)};
    const Reply reply = client.ask(nonsense[client.roll(8)]);
    client.expect(reply.text({"answer"}) == "error", reply);
    Client::pause(5);
}

void asksInHalves(Client& client) {
    const gateway::FileDescriptor socket = gateway::connectTo(socketPath);
    const std::size_t half = 1 + client.roll(static_cast<unsigned>(kStatus.size() - 1));
    static_cast<void>(::write(socket.get(), kStatus.data(), half));
    Client::pause(client.roll(30));
    asks(client);
}

void runsScripts(Client& client) {
    const std::string code = std::to_string(client.roll(120));
    client.doJob(JsonLine()
                     .text("request", "run")
                     .text("script", "exit " + code)
                     .number("timeout", 60)
                     .take(),
                 [&code](const Reply& result) {
                     return result.text({"result"}) == "exited" &&
                            result.text({"exitCode"}) == code;
                 });
    Client::pause(10);
}

void runsPrograms(Client& client) {
    const std::string token = std::to_string(client.roll(1000000));
    client.doJob(JsonLine()
                     .text("request", "exec")
                     .texts("program", {"/bin/echo", token})
                     .number("timeout", 60)
                     .take(),
                 [&token](const Reply& result) {
                     return result.text({"result"}) == "exited" &&
                            result.text({"output"}) == token + "\n";
                 });
    Client::pause(10);
}

void runsWhatFloods(Client& client) {
    client.doJob(JsonLine()
                     .text("request", "exec")
                     .texts("program", {"/bin/sh", "-c",
                                        "head -c 300000 /dev/zero >&2; head -c 300000 /dev/zero"})
                     .number("timeout", 60)
                     .take(),
                 [](const Reply& result) {
                     return result.text({"result"}) == "exited" && result.text({"cut"}) == "true" &&
                            result.text({"output"}).size() == 32768;
                 });
    Client::pause(100);
}

void setsSettings(Client& client) {
    const std::string value = std::to_string(1000 + client.roll(1000));
    const Reply reply = client.ask(R"({"request":"set","name":"heartbeat","value":)" + value + "}");
    client.expect(reply.text({"settings", "heartbeat"}) == value, reply);
    Client::pause(200);
}

void floods(Client& client) {
    constexpr int kMany = 500;
    std::thread sender([&client] {
        for (int i = 0; i < kMany; ++i) {
            client.send(kStatus);
        }
    });
    for (int i = 0; i < kMany; ++i) {
        const Reply reply(client.receive());
        client.expect(reply.text({"answer"}) == "status", reply);
        ++client.record.answers;
    }
    sender.join();
    Client::pause(500);
}

// Floods without reading, for as long as the service takes it, and goes.
void floodsAndLeaves(Client& client) {
    const gateway::FileDescriptor socket = gateway::connectTo(socketPath);
    std::string block;
    while (block.size() < 32768) {
        block += kStatus + "\n";
    }
    for (int i = 0; i < 50; ++i) {
        static_cast<void>(
            ::send(socket.get(), block.data(), block.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
        Client::pause(1);
    }
    Client::pause(100 + client.roll(100));
}

void leaves(Client& client) {
    const gateway::FileDescriptor socket = gateway::connectTo(socketPath);
    const std::string requests[] = {
        R"({"request":"run","script":"exit 0","timeout":60})"
        "\n",
        R"({"request":"exec","program":["/bin/true"],"timeout":60})"
        "\n",
        R"({"request":"bind","client":"11111111-1111-4111-a111-111111111111","interface":"load"})"
        "\n",
        "{\"request\":"};
    const std::string& request = requests[client.roll(4)];
    static_cast<void>(::send(socket.get(), request.data(), request.size(), MSG_NOSIGNAL));
    Client::pause(20 + client.roll(50));
}

void connectsAndGoes(Client& client) {
    for (unsigned i = 0; i < 20; ++i) {
        const gateway::FileDescriptor socket = gateway::connectTo(socketPath);
    }
    Client::pause(10 + client.roll(10));
}

}  // namespace

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all = {
        {asks, 28},           {asksNonsense, 4},   {asksInHalves, 4},    {runsScripts, 6},
        {runsPrograms, 6},    {runsWhatFloods, 2}, {setsSettings, 2},    {floods, 2},
        {floodsAndLeaves, 2}, {leaves, 4},         {connectsAndGoes, 4},
    };
    return all;
}

void live(Client& client, const Kind& kind) {
    while (!over) {
        try {
            client.connect();
            while (!over) {
                kind.turn(client);
            }
        } catch (const std::exception& error) {
            client.wrong(error.what());
            Client::pause(100);
        }
    }
    client.leave();
}

}  // namespace gateway_load
