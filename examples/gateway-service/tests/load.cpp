// SPDX-License-Identifier: MIT

// A load on a gatewayd of its own: clients of every kind at once, whose answers and results are
// all checked and timed. See kUsage.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <vorn/common/executable/Executable.h>
#include <vorn/common/fs/TemporaryDirectory.h>

#include "Session.h"
#include "load_clients.h"
#include "process.h"

namespace {

using gateway::Connection;
using gateway::ConnectionError;
using gateway::Reply;
using gateway_load::Client;
using gateway_load::Kind;
using gateway_load::kinds;
using gateway_load::kPatience;
using gateway_load::kStatus;
using gateway_load::Record;
using gateway_load::socketPath;
using vorn::common::executable::Executable;

constexpr const char* kUsage = R"(usage: gateway-load SECONDS GATEWAYD [PREFIX...]

Starts GATEWAYD (behind PREFIX, an emulator), sets 64 clients on it for so long and prints how it
went. Exit status 1 when a result was lost, doubled or wrong, an answer was not the right one,
descriptors were left open, or the service did not end well.
)";

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
        // Nothing is inherited, and an emulator may need what this was given (see armhf.cmake).
        Executable::Params params;
        for (char** entry = environ; *entry != nullptr; ++entry) {
            params.environment.emplace_back(*entry);
        }
        process_ = Executable::prepareEnvAndExec(command, pipes_, params);
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
    /// The same, once they are no more than `expected` or 10 s are over: the service closes a
    /// connection, and the file of the settings that it writes, in its own time.
    [[nodiscard]] long settledDescriptors(long expected) const {
        long now = descriptors();
        for (int attempt = 0; now > expected && attempt < 100; ++attempt) {
            Client::pause(100);
            now = descriptors();
        }
        return now;
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
    for (const Kind& kind : kinds()) {
        for (unsigned i = 0; i < kind.clients; ++i) {
            Client& client = clients[next++];
            threads.emplace_back([&client, &kind] { gateway_load::live(client, kind); });
        }
    }
    std::this_thread::sleep_for(time);
    gateway_load::over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

int run(std::chrono::seconds time, const std::vector<std::string>& command) {
    const vorn::common::fs::TemporaryDirectory directory;
    socketPath = directory.path() + "/s.sock";
    const Service service(directory.path(), command);
    std::vector<Client> clients;
    for (const Kind& kind : kinds()) {
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
    const long descriptorsAfter = service.settledDescriptors(descriptorsBefore);
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
