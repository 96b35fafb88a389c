// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>

#include "helpers/TempDir.h"
#include "helpers/background.h"
#include "helpers/expect_throw.h"
#include "helpers/processes.h"

namespace {

using vorn::common::Uuid;
using namespace vorn::common::executable;
using namespace std::chrono_literals;

static_assert(std::has_virtual_destructor_v<ExecutableManager>);

constexpr const char* kFull = "limit of concurrent scripts reached";
constexpr const char* kTaken = "uuid must be unique";

/// An executable that does what the test says.
class Scripted : public IExecutable {
  public:
    struct Log {
        std::atomic<Status> status = Idle;
        std::atomic<bool> destroyed = false;
        std::atomic<bool> failStart = false;
        std::atomic<int> starts = 0;
        std::atomic<bool> hadCallback = false;
        std::function<void()> whileDestroyed{};
    };

    explicit Scripted(Log& log) : log_(log) {}
    ~Scripted() override {
        if (log_.whileDestroyed) {
            log_.whileDestroyed();
        }
        log_.destroyed = true;
    }
    void execAsync(const std::function<void(const IExecutable&)>& onDone) override {
        ++log_.starts;
        log_.hadCallback = static_cast<bool>(onDone);
        log_.status = Running;
        if (log_.failStart) {
            throw std::runtime_error("fork failed");
        }
    }
    void execSync() override { log_.status = Exited; }
    Status getStatus() const override { return log_.status; }
    std::optional<std::int32_t> getExitCode() const override { return 12; }
    std::optional<std::string> readFromStdOut() const override { return "out"; }
    std::optional<std::string> readFromStdErr() const override { return std::nullopt; }

  private:
    Log& log_;
};

ExecutableHolder holderOf(Scripted::Log& log) {
    ExecutableHolder holder;
    holder.executable = std::make_unique<Scripted>(log);
    return holder;
}

ExecutableHolder scriptHolder(const std::string& text) {
    ExecutableHolder holder;
    holder.executable = std::make_unique<Script>(text, Executable::Params{});
    return holder;
}

bool collected(const ExecutableManager& manager, const Uuid& uuid) {
    return helpers::waitUntil([&] { return !manager.isRunning(uuid); });
}

TEST(ExecutableManager, TellsTheCallbackWhatEndedAndForgetsIt) {
    const Uuid uuid(0ULL);
    std::promise<std::tuple<std::optional<std::int32_t>, Uuid, std::string, std::thread::id>> told;
    const helpers::TempDir directory;
    ASSERT_EQ(::mkfifo(directory.file("go").c_str(), 0600), 0);
    ExecutableManager manager(1);
    manager.execAsync(scriptHolder("read x <" + directory.file("go") + "; exit 3"), uuid, "three",
                      [&](const IExecutable& run, const Uuid& id, const std::string& text) {
                          told.set_value({run.getExitCode(), id, text, std::this_thread::get_id()});
                      });
    EXPECT_TRUE(manager.isRunning(uuid));
    EXPECT_EQ(manager.getDescription(uuid), "three");
    static_cast<void>(std::ofstream(directory.file("go")) << "x\n");
    const auto [code, id, text, thread] = told.get_future().get();
    EXPECT_EQ(code, 3);
    EXPECT_EQ(id, uuid);
    EXPECT_EQ(text, "three");
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_FALSE(manager.isRunning(uuid));
    EXPECT_EQ(manager.getDescription(uuid), std::nullopt);
}

TEST(ExecutableManager, CollectsEveryEndedStatusAndNoOther) {
    ExecutableManager manager(9);
    const struct {
        IExecutable::Status status;
        bool ended;
    } rows[] = {{IExecutable::Idle, false},
                {IExecutable::Running, false},
                {IExecutable::TimedOut, true},
                {IExecutable::Aborted, true},
                {IExecutable::Exited, true}};
    for (const bool withCallback : {false, true}) {
        for (const auto& row : rows) {
            Scripted::Log log;
            Scripted::Log later;
            const Uuid uuid(0ULL);
            const Uuid sentinel(0ULL);
            std::atomic<int> calls = 0;
            ExecutableManager::Callback callback;
            if (withCallback) {
                callback = [&](const IExecutable&, const Uuid&, const std::string&) { ++calls; };
            }
            manager.execAsync(holderOf(log), uuid, "", callback);
            EXPECT_FALSE(log.hadCallback);
            log.status = row.status;
            manager.execAsync(holderOf(later), sentinel, "", {});
            later.status = IExecutable::Exited;
            ASSERT_TRUE(collected(manager, sentinel));
            ASSERT_TRUE(helpers::waitUntil([&] { return log.destroyed == row.ended; }));
            EXPECT_EQ(manager.isRunning(uuid), !row.ended) << row.status;
            EXPECT_EQ(calls, withCallback && row.ended ? 1 : 0) << row.status;
            EXPECT_EQ(manager.abort(uuid), !row.ended);
            EXPECT_TRUE(log.destroyed);
        }
    }
}

/// Keeps the collector of a manager inside a callback until it is released.
class HeldCollector {
  public:
    explicit HeldCollector(ExecutableManager& manager) {
        manager.execAsync(holderOf(log_), Uuid(0ULL), "",
                          [this](const IExecutable&, const Uuid&, const std::string&) {
                              entered_.set_value();
                              release_.get_future().wait();
                          });
        log_.status = IExecutable::Exited;
        entered_.get_future().wait();
    }
    void release() { release_.set_value(); }

  private:
    Scripted::Log log_;
    std::promise<void> entered_;
    std::promise<void> release_;
};

TEST(ExecutableManager, LooksEveryHalfSecond) {
    using Clock = std::chrono::steady_clock;
    Scripted::Log logs[2];
    Clock::time_point first;
    std::promise<Clock::time_point> second;
    ExecutableManager manager(1);
    manager.execAsync(holderOf(logs[0]), Uuid(0ULL), "",
                      [&](const IExecutable&, const Uuid&, const std::string&) {
                          manager.execAsync(
                              holderOf(logs[1]), Uuid(0ULL), "",
                              [&](const IExecutable&, const Uuid&, const std::string&) {
                                  second.set_value(Clock::now());
                              });
                          logs[1].status = IExecutable::Exited;
                          first = Clock::now();
                      });
    logs[0].status = IExecutable::Exited;
    EXPECT_GE(second.get_future().get() - first, 500ms);
}

TEST(ExecutableManager, DeliberateEndedOnesCountUntilTheyAreCollected) {
    const Uuid uuid(0ULL);
    Scripted::Log log;
    Scripted::Log other;
    ExecutableManager manager(1);
    HeldCollector collector(manager);
    manager.execAsync(holderOf(log), uuid, "ended", {});
    log.status = IExecutable::Exited;
    EXPECT_TRUE(manager.isRunning(uuid));
    EXPECT_EQ(manager.getDescription(uuid), "ended");
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(other), Uuid(0ULL), "", {}), std::logic_error,
                      kFull);
    collector.release();
    ASSERT_TRUE(collected(manager, uuid));
    EXPECT_TRUE(log.destroyed);
    manager.execAsync(holderOf(other), uuid, "", {});
}

TEST(ExecutableManager, RefusesBeyondTheLimitAndTakenIdentifiers) {
    const Uuid a(0ULL);
    const Uuid b(0ULL);
    Scripted::Log logs[4];
    Scripted::Log again;
    ExecutableManager manager(2);
    manager.execAsync(holderOf(logs[0]), a, "a", {});
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(logs[1]), a, "x", {}), std::logic_error, kTaken);
    EXPECT_THROW_TEXT(manager.execSync(holderOf(logs[1]), a), std::logic_error, kTaken);
    EXPECT_EQ(logs[1].starts, 0);
    EXPECT_EQ(manager.getDescription(a), "a");
    manager.execAsync(holderOf(logs[2]), b, "b", {});
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(logs[3]), Uuid(0ULL), "", {}), std::logic_error,
                      kFull);
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(logs[3]), a, "", {}), std::logic_error, kFull);
    EXPECT_THROW_TEXT(manager.execSync(holderOf(logs[3]), Uuid(0ULL)), std::logic_error, kFull);
    logs[0].status = IExecutable::Exited;
    ASSERT_TRUE(collected(manager, a));
    manager.execAsync(holderOf(again), a, "again", {});
    EXPECT_EQ(manager.getDescription(a), "again");
    EXPECT_EQ(manager.getDescription(b), "b");
}

TEST(ExecutableManager, DeliberateALimitOf0RefusesEverything) {
    ExecutableManager manager(0);
    Scripted::Log log;
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(log), Uuid(0ULL), "", {}), std::logic_error,
                      kFull);
    EXPECT_THROW_TEXT(manager.execSync(holderOf(log), Uuid(0ULL)), std::logic_error, kFull);
}

TEST(ExecutableManager, RefusesAHolderWithoutExecutable) {
    Scripted::Log log;
    ExecutableManager manager(1);
    EXPECT_THROW(manager.execAsync({}, Uuid(0ULL), "", {}), std::invalid_argument);
    EXPECT_THROW(manager.execSync({}, Uuid(0ULL)), std::invalid_argument);
    manager.execAsync(holderOf(log), Uuid(0ULL), "", {});
    EXPECT_EQ(log.starts, 1);
}

TEST(ExecutableManager, DeliberateAFailedStartKeepsItsPlaceUntilAborted) {
    const Uuid uuid(0ULL);
    Scripted::Log log;
    log.failStart = true;
    Scripted::Log other;
    ExecutableManager manager(1);
    std::atomic<bool> called = false;
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(log), uuid, "stuck",
                                        [&](const IExecutable&, const Uuid&, const std::string&) {
                                            called = true;
                                        }),
                      std::runtime_error, "fork failed");
    EXPECT_TRUE(manager.isRunning(uuid));
    EXPECT_EQ(manager.getDescription(uuid), "stuck");
    EXPECT_THROW_TEXT(manager.execAsync(holderOf(other), Uuid(0ULL), "", {}), std::logic_error,
                      kFull);
    EXPECT_TRUE(manager.abort(uuid));
    EXPECT_TRUE(log.destroyed);
    EXPECT_FALSE(manager.isRunning(uuid));
    EXPECT_FALSE(called);
    manager.execAsync(holderOf(other), uuid, "", {});
}

TEST(ExecutableManager, ArgumentsMayComeFromTheHolderItself) {
    Scripted::Log log;
    std::promise<std::string> told;
    ExecutableManager manager(1);
    auto holder = holderOf(log);
    holder.uuid = Uuid(0ULL);
    holder.description = "own";
    holder.callback = [&](const IExecutable&, const Uuid&, const std::string& text) {
        told.set_value(text);
    };
    manager.execAsync(std::move(holder), holder.uuid, holder.description, holder.callback);
    log.status = IExecutable::Exited;
    EXPECT_EQ(told.get_future().get(), "own");
}

TEST(ExecutableManager, SynchronousRunsGiveEverythingAndAreNotRegistered) {
    ExecutableManager manager(1);
    const Uuid uuid(0ULL);
    auto holder = scriptHolder("echo a; echo b >&2; exit 7");
    const auto result = manager.execSync(std::move(holder), uuid);
    EXPECT_EQ(result.status, Executable::Exited);
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_EQ(result.stdOut, "a\n");
    EXPECT_EQ(result.stdErr, "b\n");
    EXPECT_FALSE(manager.isRunning(uuid));
    ASSERT_TRUE(holder.executable);
    EXPECT_THROW_TEXT(manager.execSync(std::move(holder), uuid), std::logic_error,
                      "already running or done");

    Scripted::Log log;
    const auto scripted = manager.execSync(holderOf(log), uuid);
    EXPECT_EQ(scripted.status, Executable::Exited);
    EXPECT_EQ(scripted.exitCode, 12);
    EXPECT_EQ(scripted.stdOut, "out");
    EXPECT_EQ(scripted.stdErr, std::nullopt);
}

TEST(ExecutableManager, DeliberateASynchronousRunHoldsTheManager) {
    const helpers::TempDir directory;
    ASSERT_EQ(::mkfifo(directory.file("fifo").c_str(), 0600), 0);
    ExecutableManager manager(2);
    const Uuid uuid(0ULL);
    std::atomic<bool> ended = false;
    auto run = helpers::inBackground([&] {
        manager.execSync(
            scriptHolder("echo >" + directory.file("started") + "; read x <" +
                         directory.file("fifo") + "; echo >" + directory.file("ended")),
            uuid);
    });
    ASSERT_TRUE(
        helpers::waitUntil([&] { return std::filesystem::exists(directory.file("started")); }));
    auto query = helpers::inBackground([&] {
        const bool running = manager.isRunning(uuid);
        ended = std::filesystem::exists(directory.file("ended"));
        return running;
    });
    std::ofstream(directory.file("fifo")) << "go\n";
    run.get();
    EXPECT_FALSE(query.get());
    EXPECT_TRUE(ended) << "answered while the synchronous run held the manager";
}

TEST(ExecutableManager, AbortKillsWithoutCallback) {
    const helpers::TempDir directory;
    const Uuid uuid(0ULL);
    std::atomic<bool> called = false;
    ExecutableManager manager(3);
    EXPECT_FALSE(manager.abort(uuid));
    manager.execAsync(scriptHolder("echo $$ >" + directory.file("pid") +
                                   "; while :; do read x; done"
                                   " </dev/zero"),
                      uuid, "endless",
                      [&](const IExecutable&, const Uuid&, const std::string&) { called = true; });
    const pid_t pid = helpers::pidIn(directory.file("pid"));
    EXPECT_TRUE(helpers::isAlive(pid));
    EXPECT_FALSE(manager.abort(Uuid(0ULL)));
    EXPECT_TRUE(manager.abort(uuid));
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_FALSE(manager.isRunning(uuid));
    EXPECT_FALSE(manager.abort(uuid));

    const Uuid next(0ULL);
    manager.execAsync(scriptHolder("exit 0"), next, "", {});
    ASSERT_TRUE(collected(manager, next));
    EXPECT_FALSE(called);
}

TEST(ExecutableManager, CallbacksComeInTheOrderOfSubmissionAndMayUseTheManager) {
    constexpr std::size_t kRuns = 5;
    Scripted::Log logs[kRuns];
    Scripted::Log nested;
    std::vector<Uuid> uuids;
    std::vector<std::size_t> order;
    std::promise<void> done;
    ExecutableManager manager(kRuns);
    HeldCollector collector(manager);
    for (std::size_t i = 0; i < kRuns; ++i) {
        uuids.emplace_back(0ULL);
        manager.execAsync(
            holderOf(logs[i]), uuids[i], "",
            [&, i](const IExecutable&, const Uuid& uuid, const std::string&) {
                EXPECT_FALSE(manager.isRunning(uuid));
                EXPECT_FALSE(manager.abort(uuid));
                EXPECT_EQ(manager.getDescription(uuid), std::nullopt);
                EXPECT_FALSE(logs[i].destroyed);
                order.push_back(i);
                if (i == 0) {
                    manager.execAsync(holderOf(nested), uuid, "nested", {});
                    EXPECT_EQ(manager.execSync(scriptHolder("exit 2"), Uuid(0ULL)).exitCode, 2);
                }
                if (order.size() == kRuns) {
                    done.set_value();
                }
            });
    }
    for (std::size_t i = kRuns; i > 0; --i) {
        logs[i - 1].status = IExecutable::Exited;
    }
    collector.release();
    done.get_future().wait();
    EXPECT_EQ(manager.getDescription(uuids[0]), "nested");
    EXPECT_EQ(order, (std::vector<std::size_t>{0, 1, 2, 3, 4}));
}

TEST(ExecutableManager, WhatHasBeenToldOfIsDestroyedWithoutItsLockAndBeforeItsEnd) {
    Scripted::Log log;
    std::future<bool> look;
    std::atomic<bool> answered = false;
    {
        ExecutableManager manager(1);
        log.whileDestroyed = [&] {
            look = helpers::inBackground([&] { return manager.isRunning(Uuid(0ULL)); });
            answered = look.wait_for(10s) == std::future_status::ready;
        };
        std::promise<void> told;
        manager.execAsync(holderOf(log), Uuid(0ULL), "",
                          [&](const IExecutable&, const Uuid&, const std::string&) {
                              EXPECT_FALSE(log.destroyed);
                              told.set_value();
                          });
        log.status = Executable::Exited;
        told.get_future().wait();
    }
    EXPECT_TRUE(log.destroyed);
    EXPECT_TRUE(answered);
}

TEST(ExecutableManager, DestructionKillsEverythingWithoutCallbacks) {
    const helpers::TempDir directory;
    std::atomic<int> calls = 0;
    std::vector<pid_t> pids;
    {
        ExecutableManager manager(3);
        for (int i = 0; i < 3; ++i) {
            const auto file = directory.file("pid" + std::to_string(i));
            manager.execAsync(
                scriptHolder("echo $$ >" + file + "; while :; do read x; done </dev/zero"),
                Uuid(0ULL), "",
                [&](const IExecutable&, const Uuid&, const std::string&) { ++calls; });
            pids.push_back(helpers::pidIn(file));
        }
    }
    EXPECT_EQ(calls, 0);
    for (const pid_t pid : pids) {
        EXPECT_EQ(::kill(pid, 0), -1);
    }
}

TEST(ExecutableManager, ManyThreadsUseItAtOnce) {
    ExecutableManager manager(100);
    std::atomic<int> calls = 0;
    std::vector<std::future<void>> threads;
    for (int thread = 0; thread < 5; ++thread) {
        threads.push_back(helpers::inBackground([&] {
            for (int i = 0; i < 6; ++i) {
                const Uuid uuid(0ULL);
                manager.execAsync(
                    scriptHolder("exit 0"), uuid, "",
                    [&](const IExecutable&, const Uuid&, const std::string&) { ++calls; });
                static_cast<void>(manager.isRunning(uuid));
                static_cast<void>(manager.getDescription(uuid));
            }
        }));
    }
    for (auto& thread : threads) {
        thread.get();
    }
    EXPECT_TRUE(helpers::waitUntil([&] { return calls == 30; }));
}

}  // namespace
