// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>

#include "files/changes.h"
#include "files/document.h"
#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/wait_until.h"

namespace vorn::common::fs {
namespace {

using ::files::Document;
using ::files::documentOf;
using ::files::documentSize;
using ::files::numberIn;
using helpers::contentOf;
using helpers::TempDir;
using namespace std::chrono_literals;

// Instrumented processes take ten times as long, emulated ones thirty times.
constexpr bool kInstrumented = helpers::kThreadSanitizer || helpers::kAddressSanitizer;
constexpr int kStride = helpers::kForeign ? 24 : kInstrumented ? 4 : 1;
constexpr int kKills = helpers::kForeign ? 10 : kInstrumented ? 50 : 500;
constexpr int kManyKills = 3000;

enum class Mode { Normal, BackupAlone, WithoutExchange };

/// What the parent sees of its child.
struct Shared {
    std::atomic<long> flushed{0};  ///< the number of the last version whose flush has returned
    std::atomic<long> loaded{0};   ///< the number that the last start loaded
    std::atomic<long> changes{0};  ///< calls that change the file system
};

Shared& shared() {
    static auto* const memory = new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared;
    return *memory;
}

/// Takes the exchange of names away from all threads where the mode is without it.
void prepare(faults::Calls& calls, Mode mode) {
    calls.fail(faults::Call::renameat2, mode == Mode::WithoutExchange ? EINVAL : 0);
}

Document& objectOf(const stream::StreamableHandler::LockedStreamable& locked) {
    return static_cast<Document&>(locked.get());
}

[[noreturn]] void changeForEver(const std::string& path) {
    for (;;) {
        CachedFileManager files;
        files.add(std::make_unique<Document>(), path);
        auto& handler = files.getHandler(typeid(Document));
        shared().loaded = objectOf(handler.lock()).number;
        for (int round = 0; round < 20; ++round) {
            const auto locked = handler.lock();
            ++objectOf(locked).number;
            if (round % 4 == 3) {
                locked.write(0ms);  // the manager's thread writes it
            } else {
                locked.write();
                locked.flush();
                shared().flushed = objectOf(locked).number;
            }
        }
    }
}

/// The newest complete version at the two places.
std::optional<long> newestVersion(const std::string& path) {
    return std::max(numberIn(contentOf(path)), numberIn(contentOf(path + ".bak")));
}

/// What a start loads, or nothing.
std::optional<long> restart(const std::string& path) {
    CachedFileManager files;
    files.add(std::make_unique<Document>(), path);
    const auto number = objectOf(files.getHandler(typeid(Document)).lock()).number;
    return number < 0 ? std::nullopt : std::optional(number);
}

/// Leaves the newest version as the backup, and no file.
void loseTheFile(const std::string& path) {
    if (numberIn(contentOf(path)) >= numberIn(contentOf(path + ".bak"))) {
        std::filesystem::rename(path, path + ".bak");
    } else {
        std::filesystem::remove(path);
    }
}

pid_t startChild(Mode mode, const std::string& path) {
    shared().changes = 0;
    return helpers::startProcess([&]() -> int {
        faults::Calls calls(faults::Threads::All);
        calls.hook([](const auto& call) {
            shared().changes += files::changesFiles(call.call) ? 1 : 0;
            return 0;
        });
        prepare(calls, mode);
        changeForEver(path);
    });
}

// The instant is random in what the child has done, so that a busy machine changes nothing.
void killAtRandomInstant(pid_t pid, std::mt19937& random) {
    const auto changes = std::uniform_int_distribution<long>(0, 40)(random);
    EXPECT_TRUE(helpers::waitUntil([&] { return shared().changes >= changes; }));
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution<int>(0, 500)(random)));
    ::kill(pid, SIGKILL);
    const int status = helpers::waitForEnd(pid);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
}

// A kill concerns the process, not the device: in memory the same calls are made without waiting.
void survive(Mode mode, const char* name, int kills = kKills) {
    const TempDir dir = TempDir::inMemory();
    const auto path = dir.write("document", documentOf(0));
    std::mt19937 random(20240229);
    shared().flushed = 0;
    shared().loaded = 0;
    int losses = 0;
    long flushedBefore = 0;
    // A tenth of them in any case; the others unless the machine is slow today.
    const auto latest = std::chrono::steady_clock::now() + std::chrono::seconds(100);
    int kill = 0;
    for (; kill < kills &&
           (helpers::longForm() || kill < kills / 10 || std::chrono::steady_clock::now() < latest);
         ++kill) {
        killAtRandomInstant(startChild(mode, path), random);
        const auto flushed = shared().flushed.load();
        const auto stored = newestVersion(path);
        // A child that came so far has loaded what the one before it had flushed.
        const auto loaded = shared().loaded.load();
        if (!stored || *stored < flushed || loaded < flushedBefore) {
            ADD_FAILURE() << "kill " << kill << ": flushed " << flushedBefore << ", loaded "
                          << loaded << ", flushed " << flushed << ", stored "
                          << stored.value_or(-1);
            ++losses;
            dir.write("document", documentOf(flushed));
        }
        flushedBefore = flushed;
        shared().loaded = flushed;
        if (mode == Mode::BackupAlone) {
            loseTheFile(path);
        }
    }
    EXPECT_GE(restart(path), std::optional(flushedBefore));
    std::cout << name << ": " << kill << " kills, " << losses << " losses, " << shared().flushed
              << " versions\n";
    EXPECT_EQ(losses, 0);
    EXPECT_GT(shared().flushed, kill / 10) << "the children hardly wrote anything";
}

TEST(Survival, RandomKills) {
    survive(Mode::Normal, "normal");
}

TEST(Survival, RandomKillsAfterAStartFromTheBackupAlone) {
    survive(Mode::BackupAlone, "start from the backup alone");
}

TEST(Survival, RandomKillsWithoutExchange) {
    survive(Mode::WithoutExchange, "without exchange");
}

TEST(Survival, RandomKillsOfSmallAndLargeDocuments) {
    if (!helpers::longForm()) {
        GTEST_SKIP() << "takes minutes: set VORN_TESTS_LONG=1";
    }
    const std::size_t usual = documentSize;
    for (const std::size_t size : {20'000U, 400'000U}) {
        documentSize = size;
        survive(Mode::Normal, size == 20'000U ? "20 KB" : "400 KB", kManyKills);
    }
    documentSize = usual;
}

helpers::ChildResult startAndStore(Mode mode, const std::string& path, int killAtCall) {
    return helpers::runInChild([&](const auto&) {
        faults::Calls everywhere(faults::Threads::All);
        prepare(everywhere, mode);
        CachedFileManager files;
        faults::Calls here;
        ::files::killBeforeChange(here, killAtCall);
        files.add(std::make_unique<Document>(), path);
        const auto locked = files.getHandler(typeid(Document)).lock();
        ++objectOf(locked).number;
        locked.write();
        locked.flush();
        return 0;
    });
}

// A kill before each single call that changes the file system, in every mode and from every state
// in which the two files can be.
TEST(Survival, KillBeforeEveryCall) {
    struct State {
        const char* name;
        std::string file;  ///< "-": missing
        std::string backup;
    };
    const State states[] = {
        {"both", documentOf(8), documentOf(7)}, {"no backup", documentOf(8), "-"},
        {"backup alone", "-", documentOf(7)},   {"empty file", "", documentOf(7)},
        {"half a file", "123", documentOf(7)},  {"half a backup", documentOf(8), "123"},
    };
    int deaths = 0;
    for (const auto mode : {Mode::Normal, Mode::WithoutExchange}) {
        for (const auto& state : states) {
            for (int call = 1;; call += kStride) {
                const TempDir dir = TempDir::inMemory();
                const auto path = dir.file("document");
                if (state.file != "-") {
                    dir.write("document", state.file);
                }
                if (state.backup != "-") {
                    dir.write("document.bak", state.backup);
                }
                const auto before = *newestVersion(path);
                const auto result = startAndStore(mode, path, call);
                const auto loaded = restart(path);
                EXPECT_TRUE(loaded && *loaded >= before && *loaded <= before + 1)
                    << state.name << ", call " << call;
                if (result.signal != SIGKILL) {
                    EXPECT_EQ(result.exitCode, 0) << result.report;
                    EXPECT_EQ(loaded, before + 1) << state.name;
                    break;
                }
                ++deaths;
            }
        }
    }
    std::cout << deaths << " kills, each before another call\n";
    EXPECT_GT(deaths, 100 / kStride);
}

}  // namespace
}  // namespace vorn::common::fs
