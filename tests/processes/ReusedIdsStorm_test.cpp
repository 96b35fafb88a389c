// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>

#include "helpers/TempDir.h"
#include "helpers/background.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/pidNamespace.h"
#include "helpers/processes.h"
#include "helpers/refusedCalls.h"
#include "processes/ScriptObserver.h"

// Ids come round at once: every process that starts gets one that has just become free. Meanwhile
// children are killed at about the moment of their own end. VORN_TESTS_LONG=1 takes the long form.
namespace {

using namespace vorn::common;
using executable::Executable;
using executable::IExecutable;
using namespace std::chrono_literals;
using std::chrono::microseconds;

/// Who takes the ends of the service's children, and how the library knows them.
enum class Setting { ById, ByDescriptor, SigchldIgnored, ForeignReaper };

const char* nameOf(Setting setting) {
    constexpr const char* kNames[] = {"ById", "ByDescriptor", "SigchldIgnored", "ForeignReaper"};
    return kNames[static_cast<int>(setting)];
}

/// In memory that the service shares with the nursery.
struct Tally {
    std::atomic<bool> stop = false;
    std::atomic<bool> stopped = false;
    std::atomic<int> bystanders = 0;
    std::atomic<int> hit = 0;
    std::atomic<int> wanted = 0;  ///< the id that is about to be killed
};

/// A process of its own whose children take every id that becomes free, live for some milliseconds,
/// and tell by the way they end whether anybody else has killed them.
class Nursery {
  public:
    explicit Nursery(const std::string& journal)
        : tally_(*new (::mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Tally),
          journal_(::open(journal.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)),
          lastId_(::open("/proc/sys/kernel/ns_last_pid", O_WRONLY | O_CLOEXEC)) {
        if (lastId_ != -1 && next(301)) {
            id_ = ::fork();
            if (id_ == 0) {
                work();
                ::_exit(0);
            }
        }
    }
    Nursery(const Nursery&) = delete;
    Nursery& operator=(const Nursery&) = delete;

    [[nodiscard]] bool works() const { return id_ > 0; }
    [[nodiscard]] pid_t id() const { return id_; }
    [[nodiscard]] Tally& tally() const { return tally_; }

    /// False when it has been hit itself.
    [[nodiscard]] bool stop() {
        tally_.stop = true;
        return helpers::waitUntil([&] { return tally_.stopped.load(); });
    }

  private:
    /// Makes `id`, or the next free one above, the next one to be given.
    [[nodiscard]] bool next(int id) const {
        const std::string last = std::to_string(id - 1);
        return ::pwrite(lastId_, last.data(), last.size(), 0) == static_cast<ssize_t>(last.size());
    }

    void work() {
        std::array<pid_t, 8> living{};
        for (unsigned turn = 0; !tally_.stop; ++turn) {
            pid_t& place = living[turn % living.size()];
            end(place);
            place = start(turn);
            // The service needs the processor, too.
            ::usleep(200);
        }
        for (const pid_t id : living) {
            end(id);
        }
        tally_.stopped = true;
    }

    [[nodiscard]] pid_t start(unsigned turn) {
        const int wanted = tally_.wanted;
        // Low ids for all, and every other time the one that matters now.
        const bool chosen = turn % 2 == 0 && wanted > 0;
        static_cast<void>(next(chosen ? wanted : 301 + static_cast<int>(turn % 64)));
        const pid_t id = ::fork();
        if (id == 0) {
            for (;;) {
                ::pause();
            }
        }
        if (id > 0) {
            // A leader: what is meant for the group of a child that is gone hits it as well.
            ::setpgid(id, id);
            const std::string line = "bystander " + std::to_string(id) + "\n";
            static_cast<void>(!::write(journal_, line.data(), line.size()));
            ++tally_.bystanders;
        }
        return id;
    }

    void end(pid_t id) {
        if (id <= 0) {
            return;
        }
        ::kill(id, SIGTERM);
        if (const int status = helpers::waitForEnd(id);
            !WIFSIGNALED(status) || WTERMSIG(status) != SIGTERM) {
            ++tally_.hit;
        }
    }

    Tally& tally_;
    const int journal_;
    const int lastId_;
    pid_t id_ = -1;
};

/// How many bystanders got an id that a child of the library's had had before them.
int successors(const std::string& journal) {
    std::ifstream lines(journal);
    std::map<int, std::string> owners;
    std::string owner;
    int id = 0;
    int count = 0;
    while (lines >> owner >> id) {
        std::string& last = owners[id];
        count += owner == "bystander" && last == "child" ? 1 : 0;
        last = owner;
    }
    return count;
}

/// What the service does with its children.
class Service {
  public:
    Service(Setting setting, const std::string& journal, bool groups)
        : reapsItself_(setting == Setting::ById || setting == Setting::ByDescriptor),
          groups_(groups),
          text_("echo child $$ >>" + journal) {}

    void runExecutables(unsigned seed, int starts) {
        std::minstd_rand random(seed);
        for (int i = 0; i < starts; ++i) {
            const bool limited = random() % 3 == 0;
            const auto begin = Clock::now();
            std::promise<void> ended;
            auto program =
                std::make_unique<Executable>(helpers::shell(text_), params(random, limited));
            program->execAsync([&](const IExecutable&) { ended.set_value(); });
            if (!limited && random() % 2 == 0) {
                std::this_thread::sleep_for(momentOfTheEnd(random));
                continue;  // destroyed
            }
            ended.get_future().wait();
            if (!limited) {
                typical_ = (7 * typical_ + microsecondsSince(begin)) / 8;
                // A signal meant for a predecessor would have hit this child of the library's.
                strayed_ += reapsItself_ && program->getExitCode() != 0 ? 1 : 0;
            }
        }
    }

    void runManager(unsigned seed, int starts) {
        std::minstd_rand random(seed);
        for (int i = 0; i < starts;) {
            executable::ExecutableManager manager(64);
            // Every eighth is left to the collector and to the destructor.
            for (const int last = std::min(starts, i + 50); i < last; ++i) {
                executable::ExecutableHolder holder;
                holder.executable =
                    std::make_unique<executable::Script>(text_, params(random, i % 4 == 0));
                const Uuid uuid(static_cast<unsigned long long>(i));
                manager.execAsync(std::move(holder), uuid, "", {});
                if (i % 8 != 0) {
                    std::this_thread::sleep_for(momentOfTheEnd(random));
                    static_cast<void>(manager.abort(uuid));
                }
            }
        }
    }

    /// The executor first looks at the deadline after a second: half of the scripts end at about
    /// that time, the others when they are killed.
    void runScripts(unsigned seed, int starts) {
        std::minstd_rand random(seed);
        for (int i = 0; i < starts; ++i) {
            vorn::common::Script script;
            const auto life = std::min(1s - microseconds(typical_) + momentOfTheEnd(random),
                                       microseconds(999'999));
            // "0." and six digits.
            script.content = text_ + "; exec sleep " +
                             ((seed + static_cast<unsigned>(i)) % 2 == 0
                                  ? "600"
                                  : std::to_string(1'000'000 + life.count()).replace(0, 1, "0."));
            script.environment = {"PATH=/bin:/usr/bin"};
            Observer observer;
            ScriptExecutor executor(1, kDefaultScriptRoutine);
            executor.start();
            executor.execute(script, &observer, time::SecondsDuration(0));
            static_cast<void>(observer.waitForEnds(1));
        }
    }

    [[nodiscard]] int strayed() const { return strayed_; }

  private:
    using Clock = std::chrono::steady_clock;

    static long microsecondsSince(Clock::time_point begin) {
        return static_cast<long>(
            std::chrono::duration_cast<microseconds>(Clock::now() - begin).count());
    }

    /// Up to twice as long as a child usually takes.
    microseconds momentOfTheEnd(std::minstd_rand& random) const {
        return microseconds(random() % static_cast<unsigned long>(2 * typical_ + 1));
    }

    Executable::Params params(std::minstd_rand& random, bool limited) const {
        Executable::Params result;
        result.ownProcessGroup = groups_ && random() % 2 == 0;
        if (limited) {
            result.timeout = std::chrono::ceil<std::chrono::milliseconds>(momentOfTheEnd(random));
        }
        return result;
    }

    const bool reapsItself_;
    const bool groups_;
    const std::string text_;
    std::atomic<long> typical_ = 2000;  // microseconds from a start to the end
    std::atomic<int> strayed_ = 0;
};

/// From Linux 6.9 on.
bool groupsHaveDescriptors() {
    constexpr long kOpen = 434;
    constexpr long kSendSignal = 424;
    constexpr unsigned kWholeGroup = 4;
    const long process = ::syscall(kOpen, ::getpid(), 0);
    const bool result =
        process != -1 &&
        (::syscall(kSendSignal, process, 0, nullptr, kWholeGroup) == 0 || errno != EINVAL);
    if (process != -1) {
        ::close(static_cast<int>(process));
    }
    return result;
}

/// 0, or what is wrong; reports the figures.
int storm(Setting setting, const std::string& journal,
          const std::function<void(const std::string&)>& report) {
    Nursery nursery(journal);
    if (!nursery.works()) {
        return 90;
    }
    constexpr helpers::RefusedCall kDescriptor{SYS_clone, EINVAL, 0, 0x1000, 0x1000};
    if (setting == Setting::ById && !helpers::kEmulated && !helpers::refuse(kDescriptor)) {
        return 92;
    }
    const bool othersReap = setting == Setting::SigchldIgnored || setting == Setting::ForeignReaper;
    std::optional<std::future<void>> reaper;
    if (setting == Setting::SigchldIgnored) {
        ::signal(SIGCHLD, SIG_IGN);
    } else if (setting == Setting::ForeignReaper) {
        reaper = helpers::inBackground([&] {
            while (::waitpid(-1, nullptr, 0) != nursery.id()) {
            }
        });
    }
    static Tally* const tally = &nursery.tally();
    // For good: a child that is hit before its program runs shares this memory, and may have been
    // about to leave what a destructor waits for.
    static std::atomic<int> kills = 0;
    static faults::Calls calls(faults::Threads::All);
    calls.hook(faults::Call::kill, [](const faults::Invocation& kill) {
        if (kill.flags == SIGKILL) {
            const int number = ++kills;
            tally->wanted = std::abs(static_cast<int>(kill.id));
            // At the last moment the child ends otherwise. Time to reap it, and for a bystander to
            // get its id, if that is possible.
            if (number % 4 >= 2) {
                ::kill(static_cast<pid_t>(kill.id), SIGUSR1);
            }
            std::this_thread::sleep_for(2ms * (number % 4));
        }
        return 0;
    });
    Service service(setting, journal, !othersReap || groupsHaveDescriptors());
    const int starts = helpers::longForm() ? 1200 : helpers::kSlow ? 15 : 80;
    const int scripts = helpers::longForm() ? 40 : 1;
    {
        std::vector<std::future<void>> work;
        for (unsigned seed = 1; seed <= 3; ++seed) {
            work.push_back(
                helpers::inBackground([&, seed] { service.runExecutables(seed, starts); }));
        }
        for (unsigned seed = 4; seed <= 5; ++seed) {
            work.push_back(helpers::inBackground([&, seed] { service.runManager(seed, starts); }));
        }
        for (unsigned seed = 6; seed <= (helpers::kSlow ? 9 : 21); ++seed) {
            work.push_back(helpers::inBackground([&, seed] { service.runScripts(seed, scripts); }));
        }
    }
    if (!nursery.stop()) {
        return 91;
    }
    if (reaper) {
        reaper->wait();
    }
    const int followed = successors(journal);
    report(std::to_string(nursery.tally().hit) + " of " + std::to_string(followed) +
           " successors hit, " + std::to_string(service.strayed()) + " children hit; " +
           std::to_string(nursery.tally().bystanders) + " bystanders, " + std::to_string(kills) +
           " kills by id");
    if (nursery.tally().hit + service.strayed() != 0) {
        return 1;
    }
    const bool provesNothing = followed == 0 || (setting == Setting::ById && kills == 0);
    return provesNothing ? 2 : 0;
}

class ReusedIdsStorm : public testing::TestWithParam<Setting> {};

INSTANTIATE_TEST_SUITE_P(, ReusedIdsStorm,
                         testing::Values(Setting::ById, Setting::ByDescriptor,
                                         Setting::SigchldIgnored, Setting::ForeignReaper),
                         [](const auto& setting) { return nameOf(setting.param); });

TEST_P(ReusedIdsStorm, KillsAtTheMomentOfTheEndHitNobodyWhoGotTheId) {
    VORN_REQUIRE_ROOT();
    if (helpers::kEmulated && GetParam() != Setting::ById) {
        GTEST_SKIP() << "an emulator has no process descriptors";
    }
    const helpers::TempDir directory;
    const auto journal = directory.file("journal");
    static_cast<void>(std::ofstream(journal));
    const auto result = helpers::runInPidNamespace(
        [&](const auto& report) { return storm(GetParam(), journal, report); });
    VORN_REQUIRE_NAMESPACE(result);
    if (result.exitCode == 90) {
        GTEST_SKIP() << "needs a kernel where the last process id can be set";
    }
    if (result.exitCode == 92) {
        GTEST_SKIP() << "needs a kernel with filters for system calls (seccomp)";
    }
    RecordProperty("figures", result.report);
    EXPECT_EQ(result.exitCode, 0) << result.report;
    if (helpers::longForm()) {
        std::cout << nameOf(GetParam()) << ": " << result.report << "\n";
    }
}

}  // namespace
