// SPDX-License-Identifier: MIT

// A load on a gatewayd of its own: clients of every kind at once, whose answers and results are
// all checked and timed. See kUsage.
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <vorn/common/executable/Executable.h>
#include <vorn/common/fs/TemporaryDirectory.h>

#include "Session.h"
#include "json.h"
#include "process.h"
#include "sockets.h"

namespace {

using gateway::Connection;
using gateway::ConnectionError;
using gateway::JsonLine;
using gateway::Reply;
using vorn::common::executable::Executable;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kUsage = R"(usage: gateway-load SECONDS GATEWAYD [PREFIX...]

Starts GATEWAYD (behind PREFIX, an emulator), sets 64 clients on it for so long and prints how it
went. Exit status 1 when a result was lost, doubled or wrong, an answer was not the right one,
descriptors were left open, or the service did not end well.
)";

const std::string kStatus = "{\"request\":\"status\"}";
constexpr milliseconds kPatience(60000);

std::atomic<bool> over{false};
std::string socketPath;

/// What one client has seen.
struct Record {
    std::vector<float> milliseconds;  // of each single answer
    unsigned long answers = 0;
    unsigned long accepted = 0;
    unsigned long refused = 0;
    unsigned long lost = 0;
    unsigned long doubled = 0;
    unsigned long wrong = 0;
    std::string firstWrong{};
};

/// A client: a connection, the dice, and what it has seen.
class Client {
  public:
    explicit Client(unsigned seed) : dice_(seed) {}

    Record record;

    void connect() { connection_.emplace(socketPath); }
    void leave() { connection_.reset(); }
    void send(const std::string& line) { connection_->send(line); }
    unsigned roll(unsigned most) { return dice_() % most; }
    static void pause(unsigned time) { std::this_thread::sleep_for(milliseconds(time)); }

    std::string receive() {
        std::optional<std::string> line = connection_->receive(kPatience);
        if (!line) {
            throw ConnectionError("no answer within a minute");
        }
        return *std::move(line);
    }

    Reply ask(const std::string& request) {
        const auto start = Clock::now();
        send(request);
        Reply reply(receive());
        record.milliseconds.push_back(
            std::chrono::duration<float, std::milli>(Clock::now() - start).count());
        ++record.answers;
        return reply;
    }

    void expect(bool right, const Reply& reply) {
        if (!right) {
            wrong(reply.line());
        }
    }
    void wrong(const std::string& what) {
        ++record.wrong;
        if (record.firstWrong.empty()) {
            record.firstWrong = what;
        }
    }

    /// Asks for a job and checks that exactly one result comes, and which.
    void doJob(const std::string& request, const std::function<bool(const Reply&)>& isRight) {
        const Reply answer = ask(request);
        if (answer.text({"answer"}) == "refused") {
            ++record.refused;
            pause(20);
            return;
        }
        ++record.accepted;
        const std::string uuid = answer.text({"uuid"});
        try {
            const Reply result(receive());
            if (!seen_.insert(result.text({"uuid"})).second) {
                ++record.doubled;
            }
            expect(result.text({"uuid"}) == uuid && isRight(result), result);
        } catch (const ConnectionError&) {
            ++record.lost;
            throw;
        }
    }

  private:
    std::optional<Connection> connection_;
    std::set<std::string> seen_;
    std::minstd_rand dice_;
};

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

struct Kind {
    void (*turn)(Client& client);
    unsigned clients;
};

constexpr Kind kKinds[] = {
    {asks, 28},           {asksNonsense, 4},   {asksInHalves, 4},    {runsScripts, 6},
    {runsPrograms, 6},    {runsWhatFloods, 2}, {setsSettings, 2},    {floods, 2},
    {floodsAndLeaves, 2}, {leaves, 4},         {connectsAndGoes, 4},
};

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

/// The service under load, and what the kernel knows of it.
class Service {
  public:
    Service(const std::string& directory, std::vector<std::string> command)
        : pipes_(std::make_shared<Executable::Pipes>()) {
        const std::string configuration = directory + "/c.json";
        std::ofstream(configuration)
            << R"({"socket": ")" << socketPath
            << R"(", "jobs": {"limit": 12}, "clients": {"limit": 128, "perUser": 128},)"
            << R"( "log": "error", "settingsDelay": 1})";
        command.push_back(configuration);
        process_ = Executable::prepareEnvAndExec(command, pipes_, {});
        for (int attempt = 0;; ++attempt) {
            try {
                Connection connection(socketPath);
                connection.send(R"({"request":"set","name":"jobLimit","value":12})");
                static_cast<void>(connection.receive(kPatience));
                return;
            } catch (const ConnectionError&) {
                if (attempt == 600) {
                    throw;
                }
                Client::pause(50);
            }
        }
    }

    [[nodiscard]] unsigned long memory() const { return kilobytes("VmRSS:"); }
    [[nodiscard]] unsigned long peakMemory() const { return kilobytes("VmHWM:"); }
    [[nodiscard]] long descriptors() const {
        const auto all =
            std::filesystem::directory_iterator("/proc/" + std::to_string(process_) + "/fd");
        return std::distance(std::filesystem::begin(all), std::filesystem::end(all));
    }

    /// Waits until nothing runs and nobody else is connected.
    static void waitForQuiet() {
        for (int attempt = 0; attempt < 600; ++attempt) {
            Connection connection(socketPath);
            connection.send(kStatus);
            const Reply status(connection.receive(kPatience).value_or("{}"));
            if (status.at({"jobs", "running"}).members().empty() &&
                status.text({"clients"}) == "1") {
                break;
            }
            Client::pause(100);
        }
        Client::pause(200);  // for that connection itself
    }

    [[nodiscard]] bool end() const {
        ::kill(process_, SIGTERM);
        int status = 0;
        ::waitpid(process_, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

  private:
    [[nodiscard]] unsigned long kilobytes(const std::string& name) const {
        std::ifstream status("/proc/" + std::to_string(process_) + "/status");
        for (std::string word; status >> word;) {
            if (word == name) {
                unsigned long value = 0;
                status >> value;
                return value;
            }
        }
        return 0;
    }

    std::shared_ptr<Executable::Pipes> pipes_;
    pid_t process_ = -1;
};

Record total(const std::vector<Client>& clients) {
    Record sum;
    for (const Client& client : clients) {
        const Record& one = client.record;
        sum.milliseconds.insert(sum.milliseconds.end(), one.milliseconds.begin(),
                                one.milliseconds.end());
        sum.answers += one.answers;
        sum.accepted += one.accepted;
        sum.refused += one.refused;
        sum.lost += one.lost;
        sum.doubled += one.doubled;
        sum.wrong += one.wrong;
        if (sum.firstWrong.empty()) {
            sum.firstWrong = one.firstWrong;
        }
    }
    std::sort(sum.milliseconds.begin(), sum.milliseconds.end());
    return sum;
}

void runClients(std::vector<Client>& clients, std::chrono::seconds time) {
    std::vector<std::thread> threads;
    threads.reserve(clients.size());
    unsigned next = 0;
    for (const Kind& kind : kKinds) {
        for (unsigned i = 0; i < kind.clients; ++i) {
            Client& client = clients[next++];
            threads.emplace_back([&client, &kind] { live(client, kind); });
        }
    }
    std::this_thread::sleep_for(time);
    over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

int run(std::chrono::seconds time, const std::vector<std::string>& command) {
    const vorn::common::fs::TemporaryDirectory directory;
    socketPath = directory.path() + "/s.sock";
    const Service service(directory.path(), command);
    std::vector<Client> clients;
    for (const Kind& kind : kKinds) {
        for (unsigned i = 0; i < kind.clients; ++i) {
            clients.emplace_back(static_cast<unsigned>(clients.size() + 1));
        }
    }
    Service::waitForQuiet();
    const unsigned long memoryBefore = service.memory();
    const long descriptorsBefore = service.descriptors();
    runClients(clients, time);
    Service::waitForQuiet();
    const unsigned long memoryAfter = service.memory();
    const long descriptorsAfter = service.descriptors();
    const unsigned long peak = service.peakMemory();
    const bool endedWell = service.end();

    const Record sum = total(clients);
    const std::size_t count = sum.milliseconds.size();
    const auto at = [&](std::size_t place) {
        return count == 0 ? 0.0 : static_cast<double>(sum.milliseconds[std::min(place, count - 1)]);
    };
    std::printf("%lld s, %zu clients\n", static_cast<long long>(time.count()), clients.size());
    std::printf("answers      %lu, %lu per second\n", sum.answers,
                sum.answers / static_cast<unsigned long>(time.count()));
    std::printf("latency      median %.2f ms, 99 %% %.2f ms, worst %.2f ms (of %zu)\n",
                at(count / 2), at(count - count / 100 - 1), at(count - 1), count);
    std::printf("results      of %lu jobs: %lu lost, %lu doubled; %lu were refused a place\n",
                sum.accepted, sum.lost, sum.doubled, sum.refused);
    std::printf("wrong        %lu answers and results\n", sum.wrong);
    std::printf("memory       %lu kB at the begin, %lu kB at the end, %lu kB at most\n",
                memoryBefore, memoryAfter, peak);
    std::printf("descriptors  %ld at the begin, %ld at the end\n", descriptorsBefore,
                descriptorsAfter);
    if (!sum.firstWrong.empty()) {
        std::printf("the first that was wrong: %.200s\n", sum.firstWrong.c_str());
    }
    if (!endedWell) {
        std::printf("the service did not end well\n");
    }
    return endedWell && sum.lost + sum.doubled + sum.wrong == 0 &&
                   descriptorsAfter <= descriptorsBefore
               ? 0
               : 1;
}

}  // namespace

int main(int argc, char** argv) {
    gateway::surviveBrokenPipes();
    const int seconds = argc > 2 ? std::atoi(argv[1]) : 0;
    if (seconds <= 0) {
        std::cerr << kUsage;
        return 2;
    }
    std::vector<std::string> command(argv + 3, argv + argc);
    command.emplace_back(argv[2]);
    try {
        return run(std::chrono::seconds(seconds), command);
    } catch (const std::exception& error) {
        std::cerr << "gateway-load: " << error.what() << std::endl;
        return 1;
    }
}
