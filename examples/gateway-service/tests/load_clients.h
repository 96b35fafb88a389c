// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Session.h"

// The clients of the load; see load.cpp.
namespace gateway_load {

extern const std::string kStatus;
inline constexpr std::chrono::milliseconds kPatience(60000);

/// What every client looks at.
extern std::atomic<bool> over;
extern std::string socketPath;

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
    static void pause(unsigned time) {
        std::this_thread::sleep_for(std::chrono::milliseconds(time));
    }

    std::string receive() {
        std::optional<std::string> line = connection_->receive(kPatience);
        if (!line) {
            throw gateway::ConnectionError("no answer within a minute");
        }
        return *std::move(line);
    }

    gateway::Reply ask(const std::string& request) {
        const auto start = std::chrono::steady_clock::now();
        send(request);
        gateway::Reply reply(receive());
        record.milliseconds.push_back(
            std::chrono::duration<float, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
        ++record.answers;
        return reply;
    }

    void expect(bool right, const gateway::Reply& reply) {
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
    void doJob(const std::string& request,
               const std::function<bool(const gateway::Reply&)>& isRight) {
        const gateway::Reply answer = ask(request);
        if (answer.text({"answer"}) == "refused") {
            ++record.refused;
            pause(20);
            return;
        }
        ++record.accepted;
        const std::string uuid = answer.text({"uuid"});
        try {
            const gateway::Reply result(receive());
            if (!seen_.insert(result.text({"uuid"})).second) {
                ++record.doubled;
            }
            expect(result.text({"uuid"}) == uuid && isRight(result), result);
        } catch (const gateway::ConnectionError&) {
            ++record.lost;
            throw;
        }
    }

  private:
    std::optional<gateway::Connection> connection_;
    std::set<std::string> seen_;
    std::minstd_rand dice_;
};

/// One kind of client: what it does again and again, and how many there are.
struct Kind {
    void (*turn)(Client& client);
    unsigned clients;
};

/// All kinds: 64 clients.
[[nodiscard]] const std::vector<Kind>& kinds();

/// Takes turns until the load is over. An exception is something wrong.
void live(Client& client, const Kind& kind);

}  // namespace gateway_load
