// SPDX-License-Identifier: MIT
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/TypedArgs.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/thread/MessageThread.h>
#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/environment.h"
#include "helpers/processes.h"
#include "helpers/runWithStack.h"
#include "helpers/wait_until.h"
#include "processes/ScriptObserver.h"
#include "textOperations.h"

namespace {

constexpr std::size_t kStack = std::size_t{64} * 1024;

/// The stack does not grow with the text: a text of four times its size would show that.
TEST(SmallStack, SixtyFourKilobytesSufficeForEveryTextOperation) {
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need more stack themselves";
    }
    const std::size_t bytes = std::size_t{1} << (helpers::kSlow ? 14U : 18U);
    for (const limits::TextOperation& row : limits::textOperations()) {
        SCOPED_TRACE(row.name);
        // Named before it runs: too small a stack ends the program.
        std::fprintf(stderr, "%s\n", row.name);
        ASSERT_TRUE(helpers::runWithStack(kStack, [&] {
            const auto operation = row.prepare(bytes);
            operation();
        }));
    }
}

/// The size of the stacks that threads get which do not ask for one, the library's among them.
class DefaultStackSize {
  public:
    explicit DefaultStackSize(std::size_t size) {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        isSet_ = ::pthread_attr_setstacksize(&attributes, size) == 0 &&
                 ::pthread_setattr_default_np(&attributes) == 0;
        ::pthread_attr_destroy(&attributes);
    }
    ~DefaultStackSize() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }
    DefaultStackSize(const DefaultStackSize&) = delete;
    DefaultStackSize& operator=(const DefaultStackSize&) = delete;

    [[nodiscard]] bool isSet() const { return isSet_; }

  private:
    pthread_attr_t before_{};
    bool isSet_ = false;
};

TEST(SmallStack, SixtyFourKilobytesSufficeForTheLibrarysOwnThreads) {
    using namespace vorn::common;
    using namespace std::chrono_literals;
    if (helpers::kAddressSanitizer || helpers::kThreadSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need more stack themselves";
    }
    const DefaultStackSize small(kStack);
    ASSERT_TRUE(small.isSet());
    std::atomic<int> done = 0;
    // As deep as a text can be, arrays and objects, these with their members in another order too.
    std::string deep = "1";
    std::string reordered = "1";
    for (int level = 0; level < 50; ++level) {
        deep = "[{\"a\":" + deep + ",\"b\":2}]";
        reordered = "[{\"b\":2,\"a\":" + reordered + "}]";
    }
    const auto work = [&] {
        const lwjson::Deserializer node{std::string_view(deep)};
        const bool same =
            node.compare(node) && node.compare(lwjson::Deserializer{std::string_view(reordered)});
        lwjson::Serializer json;
        json.addValue(node);
        json.finalize();
        done += same && loadArgs(node).size() > 50 ? 1 : 0;
    };
    {
        time::Timer timer(work, 1ms, time::Recurrence::OneShot);
        timer.start();
        time::ClockAlignedTimer aligned([&](auto) { work(); }, 10ms, {}, time::Recurrence::OneShot);
        aligned.start();
        ThreadPool pool(2);
        pool._emplaceTask(work);
        thread::MessageThread messages([&](const thread::Message&) { work(); });
        messages.start();
        messages.sendMessage(thread::Message(1, 1));
        EXPECT_TRUE(helpers::waitUntil([&] { return done == 4; })) << done;
    }
    Observer observer;  // outlives the executor, whose thread may still be in its last call
    ScriptExecutor scripts(1, kDefaultScriptRoutine);
    scripts.start();
    vorn::common::Script script;
    script.content = "exit 3";
    ASSERT_TRUE(scripts.execute(script, &observer, time::SecondsDuration(60)));
    EXPECT_TRUE(observer.waitForEnds(1));

    std::atomic<int> told = 0;
    {
        executable::Executable ended(helpers::shell("exit 3"), {});
        ended.execAsync([&](const executable::IExecutable&) {
            work();
            ++told;
        });
        executable::Executable killed({"/bin/sleep", "1000"},
                                      {.timeout = 1ms, .ownProcessGroup = true});
        killed.execAsync([&](const executable::IExecutable&) {
            work();
            ++told;
        });
        executable::ExecutableManager manager(1);
        executable::ExecutableHolder holder;
        holder.executable =
            std::make_unique<executable::Script>("exit 3", executable::Executable::Params());
        manager.execAsync(std::move(holder), Uuid(1ULL), "",
                          [&](const executable::IExecutable&, const Uuid&, const std::string&) {
                              work();
                              ++told;
                          });
        EXPECT_TRUE(helpers::waitUntil([&] { return told == 3; })) << told;
        EXPECT_EQ(done, 7);
    }

    const helpers::TempDir directory;
    fs::CachedFileManager manager;
    fs::CachedFileManager::Options options;
    options.writeDelay = 1ms;
    manager.add(std::make_unique<files::Text>(), directory.file("a"), options);
    manager.getHandler(typeid(files::Text)).lock().write();
    EXPECT_TRUE(helpers::waitUntil([&] { return std::filesystem::exists(directory.file("a")); }));
}

}  // namespace
