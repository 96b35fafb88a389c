// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/stream/StreamableHandler.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"
#include "helpers/thread_state.h"
#include "helpers/wait_until.h"

namespace vorn::common::stream {
namespace {

using files::CountingObserver;
using files::Text;
using files::textOf;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

static_assert(std::is_abstract_v<IStreamable> && std::has_virtual_destructor_v<IStreamable>);
static_assert(std::has_virtual_destructor_v<StreamableHandler>);
static_assert(!std::is_copy_constructible_v<StreamableHandler>);
static_assert(std::is_move_constructible_v<StreamableHandler>);
static_assert(!std::is_copy_constructible_v<StreamableHandler::LockedStreamable>);

constexpr auto kIdle = Clock::time_point::max();

/// A handler on a string stream, with everything observable counted.
struct Fixture {
    explicit Fixture(std::chrono::milliseconds delay = 1h) {
        auto object = std::make_unique<Text>();
        text = object.get();
        handler.emplace(
            std::move(object),
            [this]() -> std::unique_ptr<IOutputStreamAccessor> {
                ++builds;
                return std::make_unique<OutputStreamRefAccessor>(out);
            },
            observer, delay);
    }

    CountingObserver observer;
    std::ostringstream out;
    int builds = 0;
    Text* text = nullptr;
    std::optional<StreamableHandler> handler;
};

TEST(StreamableHandler, StartsIdle) {
    Fixture fixture;
    EXPECT_EQ(fixture.handler->run(), kIdle);
    EXPECT_EQ(fixture.handler->lock().flush(), kIdle);
    fixture.handler.reset();
    EXPECT_EQ(fixture.builds, 0);
    EXPECT_EQ(fixture.observer.count, 0);
}

TEST(StreamableHandler, WritesWhenTheDeadlineHasPassed) {
    Fixture fixture;
    auto before = Clock::now();
    fixture.handler->lock().write(60s);
    const auto after = Clock::now();
    const auto deadline = fixture.handler->run();
    EXPECT_GE(deadline, before + 60s);
    EXPECT_LE(deadline, after + 60s);
    EXPECT_EQ(fixture.observer.count, 1);
    before = Clock::now();
    fixture.handler->lock().write(50ms);
    EXPECT_EQ(fixture.observer.count, 2) << "told of the earlier one";
    ASSERT_TRUE(helpers::waitUntil([&] { return fixture.handler->run() == kIdle; }));
    EXPECT_GE(Clock::now(), before + 50ms);
    EXPECT_EQ(fixture.out.str(), "text:default");
    EXPECT_EQ(fixture.observer.count, 2) << "run is silent";
    EXPECT_EQ(fixture.builds, 1);
}

TEST(StreamableHandler, DefaultDelay) {
    Fixture fixture(30min);
    const auto before = Clock::now();
    fixture.handler->lock().write();
    EXPECT_GE(fixture.handler->run(), before + 30min);
    EXPECT_LE(fixture.handler->run(), Clock::now() + 30min);
}

TEST(StreamableHandler, AnEarlierDeadlineIsNeverMovedLater) {
    Fixture fixture;
    fixture.handler->lock().write(1000s);
    const auto deadline = fixture.handler->run();
    fixture.handler->lock().write(1000s);
    fixture.handler->lock().write(5000s);
    EXPECT_EQ(fixture.handler->run(), deadline);
    EXPECT_EQ(fixture.observer.count, 1) << "told only of an earlier one";
    fixture.handler->lock().write(100s);
    EXPECT_LT(fixture.handler->run(), deadline);
    EXPECT_EQ(fixture.observer.count, 2);
}

TEST(StreamableHandler, AnEqualDeadlineIsNoNews) {
    Fixture fixture;
    for (int i = 0; i < 3; ++i) {
        fixture.handler->lock().write(std::chrono::milliseconds::max());
    }
    EXPECT_EQ(fixture.observer.count, 1);
}

TEST(StreamableHandler, FlushWritesOnlyWhatIsPending) {
    Fixture fixture;
    {
        const auto locked = fixture.handler->lock();
        EXPECT_EQ(locked.flush(), kIdle);
        EXPECT_EQ(fixture.builds, 0);
        EXPECT_EQ(fixture.observer.count, 0);
        textOf(locked).content = "changed";
        locked.write();
        EXPECT_EQ(fixture.observer.count, 1);
        EXPECT_EQ(locked.flush(), kIdle);
        EXPECT_EQ(fixture.observer.count, 2) << "flush is not silent";
        locked.flush();
    }
    EXPECT_EQ(fixture.out.str(), "text:changed");
    EXPECT_EQ(fixture.builds, 1);
    EXPECT_EQ(fixture.observer.count, 2);
}

TEST(StreamableHandler, DestructionWritesSilently) {
    Fixture fixture;
    fixture.handler->lock().write();
    fixture.handler.reset();
    EXPECT_EQ(fixture.out.str(), "text:default");
    EXPECT_EQ(fixture.observer.count, 1);
}

TEST(StreamableHandler, ExtremeDelays) {
    Fixture fixture;
    fixture.handler->lock().write(std::chrono::milliseconds::max());
    EXPECT_EQ(fixture.handler->run(), kIdle - Clock::duration(1)) << "pending all the same";
    EXPECT_EQ(fixture.observer.count, 1);
    fixture.handler->lock().flush();
    EXPECT_EQ(fixture.builds, 1);
    for (const auto delay : {0ms, -1ms, std::chrono::milliseconds::min()}) {
        fixture.handler->lock().write(delay);
        EXPECT_EQ(fixture.handler->run(), kIdle) << "due at once";
    }
    EXPECT_EQ(fixture.builds, 4);
}

TEST(StreamableHandler, RunWritesNothingWhileTheObjectIsLocked) {
    Fixture fixture;
    {
        const auto locked = fixture.handler->lock();
        locked.write(0ms);
        std::optional<Clock::time_point> next;
        std::thread runner([&] { next = fixture.handler->run(); });
        runner.join();
        EXPECT_LE(*next, Clock::now()) << "due already";
        EXPECT_EQ(fixture.builds, 0);
    }
    EXPECT_EQ(fixture.handler->run(), kIdle);
    EXPECT_EQ(fixture.builds, 1);
}

TEST(StreamableHandler, RunHoldsTheObjectWhileItWrites) {
    Fixture fixture;
    std::atomic<bool> writing{false};
    std::atomic<pid_t> tid{0};
    std::thread user;
    fixture.text->onSerialize = [&] {
        writing = true;
        user = std::thread([&] {
            tid = ::gettid();
            const auto locked = fixture.handler->lock();
            EXPECT_FALSE(writing);
        });
        EXPECT_TRUE(helpers::waitUntil([&] { return tid != 0; }));
        EXPECT_TRUE(helpers::waitUntilAsleep(tid));
        writing = false;
    };
    fixture.handler->lock().write(0ms);
    EXPECT_EQ(fixture.handler->run(), kIdle);
    user.join();
    EXPECT_EQ(fixture.builds, 1);
}

TEST(StreamableHandler, AWriteScheduledDuringAWriteIsNotLost) {
    Fixture fixture;
    {
        const auto locked = fixture.handler->lock();
        fixture.text->onSerialize = [&] {
            fixture.text->onSerialize = nullptr;
            locked.write(1h);
        };
        locked.write(0ms);
        const auto next = locked.flush();
        EXPECT_NE(next, kIdle);
        EXPECT_LE(next, Clock::now() + 1h);
        EXPECT_EQ(fixture.handler->run(), next);
    }
    fixture.handler.reset();
    EXPECT_EQ(fixture.builds, 2);
}

TEST(StreamableHandler, ObserverMayUseTheHandlersSchedule) {
    Fixture fixture;
    std::vector<Clock::time_point> seen;
    fixture.observer.onCall = [&] { seen.push_back(fixture.handler->run()); };
    {
        const auto locked = fixture.handler->lock();
        locked.write(1h);
        locked.flush();
    }
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_LT(seen[0], kIdle) << "told after the deadline was set, without the schedule lock";
    EXPECT_EQ(seen[1], kIdle);
}

TEST(StreamableHandler, TheAccessorIsGoneBeforeTheObserverIsTold) {
    struct Accessor : OutputStreamRefAccessor {
        Accessor(std::ostream& stream, std::string& eventLog)
            : OutputStreamRefAccessor(stream), log(eventLog) {}
        ~Accessor() override { log += "destroyed "; }
        void commit() override { log += "committed "; }
        std::string& log;
    };
    std::ostringstream out;
    std::string log;
    CountingObserver observer;
    observer.onCall = [&] { log += "told "; };
    StreamableHandler handler(
        std::make_unique<Text>(), [&] { return std::make_unique<Accessor>(out, log); }, observer,
        1h);
    const auto locked = handler.lock();
    locked.write();
    locked.flush();
    EXPECT_EQ(log, "told committed destroyed told ");
}

TEST(StreamableHandler, WithoutAnAccessorAWriteClearsThePendingState) {
    CountingObserver observer;
    StreamableHandler handler(std::make_unique<Text>(), make_nullostreamBuilder(), observer, 1h);
    const auto locked = handler.lock();
    locked.write();
    EXPECT_EQ(locked.flush(), kIdle);
    EXPECT_EQ(observer.count, 2);
}

std::vector<std::function<void()>> standardThrowers() {
    return {[] { throw std::runtime_error("x"); },
            [] { throw std::logic_error("x"); },
            [] { throw std::bad_alloc(); },
            [] { throw std::ios_base::failure("x"); },
            [] { throw std::bad_cast(); },
            [] { throw std::exception(); },
            [] { throw std::system_error(EIO, std::generic_category()); }};
}

TEST(StreamableHandler, StandardExceptionsDropTheWrite) {
    struct Accessor : OutputStreamRefAccessor {
        Accessor(std::ostream& target, std::function<void()> atStream,
                 std::function<void()> atCommit)
            : OutputStreamRefAccessor(target),
              onStream(std::move(atStream)),
              onCommit(std::move(atCommit)) {}
        std::ostream& stream() override {
            onStream();
            return OutputStreamRefAccessor::stream();
        }
        void commit() override { onCommit(); }
        std::function<void()> onStream;
        std::function<void()> onCommit;
    };
    const auto nothing = [] {};
    for (const auto& thrower : standardThrowers()) {
        for (int place = 0; place < 4; ++place) {
            const auto at = [&](int which) {
                return which == place ? thrower : std::function<void()>(nothing);
            };
            std::ostringstream out;
            CountingObserver observer;
            auto object = std::make_unique<Text>();
            object->onSerialize = at(0);
            StreamableHandler handler(
                std::move(object),
                [&] {
                    at(1)();
                    return std::make_unique<Accessor>(out, at(2), at(3));
                },
                observer, 1h);
            {
                const auto locked = handler.lock();
                locked.write();
                EXPECT_NO_THROW(EXPECT_EQ(locked.flush(), kIdle)) << "dropped, not rescheduled";
                EXPECT_EQ(observer.count, 2);
                locked.write(0ms);
            }
            EXPECT_NO_THROW(EXPECT_EQ(handler.run(), kIdle));
            handler.lock().write();
        }
    }
}

TEST(StreamableHandler, AnEmptyBuilderDropsTheWrite) {
    CountingObserver observer;
    StreamableHandler handler(std::make_unique<Text>(), nullptr, observer, 1h);
    EXPECT_FALSE(handler.load(nullptr));
    const auto locked = handler.lock();
    locked.write();
    EXPECT_NO_THROW(locked.flush());
}

TEST(StreamableHandler, OtherExceptionsDropTheWriteAsWell) {
    Fixture fixture;
    fixture.text->onSerialize = [] { throw 42; };
    {
        const auto locked = fixture.handler->lock();
        locked.write();
        EXPECT_NO_THROW(EXPECT_EQ(locked.flush(), kIdle));
        EXPECT_EQ(fixture.observer.count, 2) << "told, as after any other write";
        locked.write(0ms);
    }
    EXPECT_NO_THROW(EXPECT_EQ(fixture.handler->run(), kIdle));
    EXPECT_EQ(fixture.handler->run(), kIdle);
    fixture.handler->lock().write();
    EXPECT_NO_THROW(fixture.handler.reset());
    EXPECT_EQ(fixture.out.str(), "");
}

TEST(StreamableHandlerLoad, ReadsTheObject) {
    Fixture fixture;
    std::istringstream in("text:loaded");
    EXPECT_TRUE(fixture.handler->load(make_istreamBuilder(in)));
    EXPECT_EQ(textOf(fixture.handler->lock()).content, "loaded");
    EXPECT_EQ(fixture.handler->run(), kIdle) << "nothing is pending";
    EXPECT_EQ(fixture.observer.count, 0);
}

TEST(StreamableHandlerLoad, HoldsTheObjectWhileItReads) {
    Fixture fixture;
    fixture.handler->lock().write(0ms);
    fixture.text->onDeserialize = [&] {
        std::thread runner([&] { EXPECT_LE(fixture.handler->run(), Clock::now()); });
        runner.join();
    };
    std::istringstream in("text:loaded");
    EXPECT_TRUE(fixture.handler->load(make_istreamBuilder(in)));
    EXPECT_EQ(fixture.builds, 0);
    EXPECT_EQ(fixture.handler->run(), kIdle);
    EXPECT_EQ(fixture.out.str(), "text:loaded");
}

TEST(StreamableHandlerLoad, ReportsEveryFailureByFalse) {
    Fixture fixture;
    std::istringstream bad("text:bad");
    bad.setstate(std::ios_base::failbit);
    std::istringstream atEnd;
    atEnd.setstate(std::ios_base::eofbit);
    std::istringstream wrong("something else");
    std::istringstream right("text:right");
    const helpers::TempDir dir;
    EXPECT_FALSE(fixture.handler->load(make_nullistreamBuilder()));
    EXPECT_FALSE(fixture.handler->load(make_istreamBuilder(bad)));
    EXPECT_FALSE(fixture.handler->load(make_istreamBuilder(atEnd)));
    EXPECT_FALSE(fixture.handler->load(make_istreamBuilder(wrong)));
    EXPECT_FALSE(fixture.handler->load(make_ifstreamBuilder(dir.file("missing"))));
    EXPECT_FALSE(fixture.handler->load(make_ifstreamBuilder(dir.path().string())));
    for (const auto& thrower : standardThrowers()) {
        EXPECT_FALSE(fixture.handler->load([&]() -> std::unique_ptr<IInputStreamAccessor> {
            thrower();
            return nullptr;
        }));
        fixture.text->onDeserialize = thrower;
        EXPECT_FALSE(fixture.handler->load(make_istreamBuilder(right)));
    }
    EXPECT_EQ(textOf(fixture.handler->lock()).content, "default");
    fixture.text->onDeserialize = [] { throw 42; };
    EXPECT_THROW(fixture.handler->load(make_istreamBuilder(right)), int);
    EXPECT_EQ(textOf(fixture.handler->lock()).content, "default") << "the lock was released";
}

TEST(StreamableHandlerLoad, DoesNotDeserializeAStreamThatIsNotGood) {
    Fixture fixture;
    int calls = 0;
    fixture.text->onDeserialize = [&] { ++calls; };
    std::istringstream bad("text:bad");
    bad.setstate(std::ios_base::badbit);
    EXPECT_FALSE(fixture.handler->load(make_istreamBuilder(bad)));
    EXPECT_EQ(calls, 0);
}

TEST(StreamableHandlerMove, TakesThePendingWriteAndTheNotifier) {
    struct Handler : StreamableHandler {
        using StreamableHandler::StreamableHandler;
        void onCacheExpirationTimepointChange() override {
            ++changes;
            StreamableHandler::onCacheExpirationTimepointChange();
        }
        int changes = 0;
    };
    CountingObserver observer;
    std::ostringstream out;
    auto first =
        std::make_unique<Handler>(std::make_unique<Text>(), make_ostreamBuilder(out), observer, 1h);
    first->lock().write(1h);
    const auto deadline = first->run();
    EXPECT_EQ(first->changes, 1);
    Handler second(std::move(*first));
    EXPECT_EQ(second.run(), deadline);
    EXPECT_EQ(first->run(), kIdle) << "the source is empty";
    std::istringstream in("text:x");
    EXPECT_FALSE(first->load(make_istreamBuilder(in)));
    first.reset();
    EXPECT_EQ(out.str(), "") << "nothing left to write";
    second.changes = 0;
    second.lock().write(1min);
    EXPECT_EQ(second.changes, 1) << "the notifier follows";
    EXPECT_EQ(observer.count, 2);
    second.lock().flush();
    EXPECT_EQ(out.str(), "text:default");
}

TEST(StreamableHandlerMove, AnEmptyHandlerMovesToo) {
    Fixture fixture;
    const StreamableHandler first(std::move(*fixture.handler));
    StreamableHandler second(std::move(*fixture.handler));
    EXPECT_EQ(second.run(), kIdle);
}

TEST(StreamableHandlerMove, WaitsForTheHolderOfTheSource) {
    Fixture fixture;
    std::atomic<bool> released{false};
    std::atomic<pid_t> tid{0};
    std::optional<StreamableHandler> target;
    std::thread mover;
    {
        const auto locked = fixture.handler->lock();
        mover = std::thread([&] {
            tid = ::gettid();
            target.emplace(std::move(*fixture.handler));
            EXPECT_TRUE(released);
        });
        EXPECT_TRUE(helpers::waitUntil([&] { return tid != 0; }));
        EXPECT_TRUE(helpers::waitUntilAsleep(tid));
        locked.write(1h);
        released = true;
    }
    mover.join();
    EXPECT_NE(target->run(), kIdle);
}

TEST(StreamableHandlerDeath, LockingAnEmptyHandler) {
    Fixture fixture;
    const StreamableHandler taken(std::move(*fixture.handler));
    EXPECT_DEATH(static_cast<void>(fixture.handler->lock()), "src/stream/StreamableHandler");
}

TEST(StreamableHandler, RefusesANullObject) {
    CountingObserver observer;
    EXPECT_THROW(StreamableHandler(nullptr, make_nullostreamBuilder(), observer, 1h),
                 std::invalid_argument);
}

TEST(StreamableHandler, WithATemporaryPathTheTargetChangesByTheSwapAlone) {
    const helpers::TempDir dir;
    const auto path = dir.write("a", "text:old");
    CountingObserver observer;
    auto object = std::make_unique<Text>("new");
    object->onSerialize = [&] { EXPECT_EQ(helpers::contentOf(path), "text:old"); };
    StreamableHandler handler(std::move(object),
                              make_ofstreamBuilder(path, std::ios_base::trunc,
                                                   std::filesystem::perms{0600}, path + ".bak"),
                              observer, 1h);
    const auto locked = handler.lock();
    locked.write();
    locked.flush();
    EXPECT_EQ(helpers::contentOf(path), "text:new");
    EXPECT_EQ(helpers::contentOf(path + ".bak"), "text:old");
}

}  // namespace
}  // namespace vorn::common::stream
