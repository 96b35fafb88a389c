// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/thread/MessageThread.h>
#include <vorn/common/time/Timer.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/processes.h"
#include "helpers/wait_until.h"
#ifdef VORN_TEST_PLUGINS
#include "plugins/modules.h"
#endif

// What a service does, under the limits that a system sets: it works, or fails as its header says,
// leaves nothing behind, and works again afterwards.
namespace {

using namespace vorn::common;
using executable::Executable;
using executable::IExecutable;
using namespace std::chrono_literals;

/// A limit of this process, lowered until lift().
class Limit {
  public:
    Limit(decltype(RLIMIT_AS) resource, rlim_t limit) : resource_(resource) {
        ::getrlimit(resource, &before_);
        const rlimit lowered{std::min(limit, before_.rlim_max), before_.rlim_max};
        ::setrlimit(resource, &lowered);
    }
    ~Limit() { lift(); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

    void lift() { ::setrlimit(resource_, &before_); }

  private:
    const decltype(RLIMIT_AS) resource_;
    rlimit before_{};
};

/// Without memory of its own, as all that runs here on other threads.
class EndCounter : public IScriptExecutorObserver {
  public:
    void onScriptFinished(const vorn::common::Script& /*script*/, int result) override {
        last = result;
        ++ends;
    }
    void onScriptTimeout(const vorn::common::Script& /*script*/) override {}

    std::atomic<int> last = 0;
    std::atomic<int> ends = 0;
};

struct Use {
    const char* name;
    /// True when it has done all it should.
    std::function<bool()> operation;
    /// The beginnings of the errors that its header states, and whether it may fail without one.
    std::vector<std::string> errors;
    bool failsSilently = false;
};

const std::string kNoThread = "system_error";
const std::string kNoMemory = "bad_alloc";

bool runExecutable() {
    Executable program({"/bin/sh", "-c", "exit 3"}, {.timeout = 60s});
    program.execAsync({});
    return helpers::waitUntil([&] { return program.getStatus() > Executable::Running; }) &&
           program.getExitCode() == 3;
}

bool runManager() {
    executable::ExecutableManager manager(1);
    executable::ExecutableHolder holder;
    holder.executable =
        std::make_unique<executable::Script>("exec sleep 600", Executable::Params());
    const Uuid uuid(1ULL);
    manager.execAsync(std::move(holder), uuid, "", {});
    return manager.abort(uuid);
}

bool runScript() {
    vorn::common::Script script;
    script.content = "exit 3";
    EndCounter observer;
    ScriptExecutor executor(1, kDefaultScriptRoutine);
    executor.start();
    executor.execute(script, &observer, time::SecondsDuration(60));
    // Told in any case.
    if (!helpers::waitUntil([&] { return observer.ends == 1; })) {
        ::_exit(70);
    }
    executor.terminate();
    return observer.last == 3;
}

bool runTimer() {
    std::atomic<int> calls = 0;
    time::Timer timer([&] { ++calls; }, 1ms, time::Recurrence::OneShot);
    timer.start();
    return helpers::waitUntil([&] { return calls == 1; });
}

bool runPool() {
    std::atomic<int> calls = 0;
    ThreadPool pool(1);
    pool._emplaceTask([&] { ++calls; });
    return helpers::waitUntil([&] { return calls == 1; });
}

bool runMessages() {
    std::atomic<int> calls = 0;
    thread::MessageThread messages([&](const thread::Message&) { ++calls; });
    messages.start();
    messages.sendMessage(thread::Message(1, 1));
    return helpers::waitUntil([&] { return calls == 1; });
}

bool storeSettings(const std::string& path) {
    std::filesystem::remove(path);
    std::filesystem::remove(path + ".bak");
    {
        fs::CachedFileManager manager;
        manager.add(std::make_unique<files::Text>("kept"), path);
        const auto locked = manager.getHandler(typeid(files::Text)).lock();
        locked.write();
        locked.flush();
    }
    return helpers::contentOf(path) == "text:kept";
}

bool appendToFile(const std::string& path) {
    auto file = fs::LockedFile::tryCreateUntil(path, std::chrono::steady_clock::now() + 50ms);
    file.stream() << "line\n" << std::flush;
    return file.stream().good();
}

std::vector<Use> uses(const helpers::TempDir& directory) {
    std::vector<Use> rows = {
        {"executable",
         runExecutable,
         {"failed to open pipe", "fork failed", kNoThread, kNoMemory},
         true},
        // A program that cannot load its library ends by itself, and may be gone before the abort.
        {"manager", runManager, {"failed to open pipe", "fork failed", kNoThread, kNoMemory}, true},
        {"script", runScript, {kNoThread, kNoMemory}, true},
        {"timer", runTimer, {kNoThread, kNoMemory}},
        {"pool", runPool, {kNoThread, kNoMemory}},
        {"messages", runMessages, {kNoThread, kNoMemory}},
        {"settings",
         [path = directory.file("settings")] { return storeSettings(path); },
         {kNoThread, kNoMemory},
         true},
        {"locked file",
         [path = directory.file("log")] { return appendToFile(path); },
         {"File ", "Unable to open file ", kNoMemory},
         true},
    };
#ifdef VORN_TEST_PLUGINS
    rows.push_back({"plug-in",
                    [path = modules::copy(directory, "good", "plugin.so")] {
                        return DynamicLibrary(path, {}).object() != nullptr;
                    },
                    {"Error loading ", kNoMemory}});
#endif
    return rows;
}

std::string textOf(const std::exception& error) {
    if (dynamic_cast<const std::ios_base::failure*>(&error) == nullptr &&
        dynamic_cast<const std::system_error*>(&error) != nullptr) {
        return kNoThread;
    }
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? kNoMemory : error.what();
}

std::size_t threads() {
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Counts what has failed; "" or what is wrong. The threads are those before the first use: one
/// that was joined is listed a moment longer.
std::string tryUse(const Use& use, decltype(RLIMIT_AS) resource, rlim_t limit,
                   std::size_t threadsBefore, int& failures) {
    const auto descriptors = helpers::openDescriptors();
    bool works = false;
    std::string error;
    {
        Limit lowered(resource, limit);
        try {
            works = use.operation();
            lowered.lift();
        } catch (const std::exception& thrown) {
            lowered.lift();
            error = textOf(thrown);
        }
    }
    failures += works ? 0 : 1;
    const bool stated = std::any_of(use.errors.begin(), use.errors.end(),
                                    [&](const auto& text) { return error.rfind(text, 0) == 0; });
    if (!works && (error.empty() ? !use.failsSilently : !stated)) {
        return "failed with \"" + error + "\"";
    }
    if (helpers::hasChildren()) {
        return "left a child";
    }
    if (helpers::openDescriptors() != descriptors) {
        return "left a descriptor";
    }
    if (!helpers::waitUntil([&] { return threads() == threadsBefore; })) {
        return "left a thread";
    }
    return use.operation() ? "" : "does not work afterwards";
}

/// Each use under each of the limits; reports what is wrong. 20 when none of them made any
/// difference.
int tryAll(const helpers::TempDir& directory, decltype(RLIMIT_AS) resource,
           const std::function<std::vector<rlim_t>()>& limitsNow,
           const std::function<void(const std::string&)>& report) {
    int failures = 0;
    const auto threadsBefore = threads();
    for (const Use& use : uses(directory)) {
        // Also for what is set up once and for all.
        if (!use.operation()) {
            report(std::string(use.name) + " does not work without a limit\n");
            continue;
        }
        const auto limits = limitsNow();
        for (const rlim_t limit : limits) {
            const auto wrong = tryUse(use, resource, limit, threadsBefore, failures);
            if (!wrong.empty()) {
                report(std::string(use.name) + " at " + std::to_string(limit) + ": " + wrong +
                       "\n");
            }
        }
    }
    return failures == 0 ? 20 : 0;
}

TEST(Exhaustion, OfDescriptorsIsToldAndLeavesNothing) {
    if (helpers::kAddressSanitizer || helpers::kEmulated) {
        GTEST_SKIP() << "sanitizers and the emulator need descriptors of their own";
    }
    const helpers::TempDir directory;
    const auto result = helpers::runInChild([&](const auto& report) {
        // Whoever started the tests may have left some up there, where nobody looks for leftovers.
        for (int fd = 64; fd < 256; ++fd) {
            ::close(fd);
        }
        // Without gaps: what is below the highest one is not limited.
        const int highest = *helpers::openDescriptors().rbegin();
        for (int fd = 0; fd < highest; ++fd) {
            if (::fcntl(fd, F_GETFD) == -1) {
                ::dup2(highest, fd);
            }
        }
        std::vector<rlim_t> limits;
        for (int more = 1; more <= 12; ++more) {
            limits.push_back(static_cast<rlim_t>(highest + more));
        }
        return tryAll(
            directory, RLIMIT_NOFILE, [&] { return limits; }, report);
    });
    EXPECT_EQ(result.report, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Exhaustion, OfProcessesIsToldAndLeavesNothing) {
    VORN_REQUIRE_ROOT();
    if (helpers::kEmulated) {
        GTEST_SKIP() << "the emulator ends when it gets no thread";
    }
    const helpers::TempDir directory;
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    const auto result = helpers::runInChild([&](const auto& report) {
        // Threads count as well; nobody else is this user.
        constexpr uid_t kUser = 61234;
        if (::setresgid(kUser, kUser, kUser) != 0 || ::setresuid(kUser, kUser, kUser) != 0) {
            return 10;
        }
        return tryAll(
            directory, RLIMIT_NPROC, [] { return std::vector<rlim_t>{0, 1, 2, 3, 4, 5}; }, report);
    });
    EXPECT_EQ(result.report, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Exhaustion, OfAddressSpaceIsToldAndLeavesNothing) {
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer || helpers::kEmulated) {
        GTEST_SKIP() << "sanitizers need address space at any time; the emulator knows no limit";
    }
    const helpers::TempDir directory;
    const auto result = helpers::runInChild([&](const auto& report) {
        // Nothing is kept for the next time: stacks larger than what the C library keeps, and one
        // heap for all threads.
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, std::size_t{48} << 20U);
        ::pthread_setattr_default_np(&attributes);
        ::mallopt(M_ARENA_MAX, 1);
        const auto steps = [] {
            rlim_t pages = 0;
            std::ifstream("/proc/self/statm") >> pages;
            const rlim_t used = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
            std::vector<rlim_t> limits;
            for (rlim_t more = 4096; more < rlim_t{200} << 20U; more += more / 2) {
                limits.push_back(used + more);
            }
            return limits;
        };
        return tryAll(directory, RLIMIT_AS, steps, report);
    });
    EXPECT_EQ(result.report, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.signal, 0);
}

}  // namespace
