// SPDX-License-Identifier: MIT
// A handler's lazy writes follow their description step by step, under a clock that only the input
// moves: what is written when, who is told, and what each operation returns. Each byte is a step.
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include <vorn/common/stream/StreamableHandler.h>

#include "fuzz.h"

namespace {

using Steady = std::chrono::steady_clock::time_point;
constexpr std::int64_t kStart = 5'000'000'000'000;
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

/// What the steady clock shows while a run of this fuzzer is under way, in nanoseconds.
thread_local std::optional<std::int64_t> steadyNow;

}  // namespace

/// Takes the place of the C library's, which the standard library's clocks call.
extern "C" int clock_gettime(clockid_t clock, timespec* time) {
    if (clock == CLOCK_MONOTONIC && steadyNow) {
        time->tv_sec = static_cast<time_t>(*steadyNow / 1'000'000'000);
        time->tv_nsec = static_cast<long>(*steadyNow % 1'000'000'000);
        return 0;
    }
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

namespace {

namespace stream = vorn::common::stream;
using stream::StreamableHandler;

enum Failure : unsigned { kNone, kNoAccessor, kBuilder, kSerialize, kCommit, kFailures };

struct Script {
    std::string calls;
    Failure failure = kNone;

    void step(const char* name, Failure failing) {
        calls += name;
        if (failure == failing) {
            throw std::runtime_error("asked for");
        }
    }
};

class Object final : public stream::IStreamable {
  public:
    explicit Object(Script& script) : script_(script) {}
    void serialize(std::ostream& out) const override {
        script_.step("serialize ", kSerialize);
        out << "text";
    }
    bool deserialize(std::istream&) override { return true; }

  private:
    Script& script_;
};

class Accessor final : public stream::IOutputStreamAccessor {
  public:
    explicit Accessor(Script& script) : script_(script) {}
    ~Accessor() override { script_.calls += "close "; }
    std::ostream& stream() override { return stream_; }
    void commit() override {
        script_.step(stream_.str() == "text" ? "commit " : "commit without the text ", kCommit);
    }

  private:
    Script& script_;
    std::ostringstream stream_;
};

class Observer final : public StreamableHandler::Observer {
  public:
    explicit Observer(Script& script) : script_(script) {}
    void onRunTimepointChange() override { script_.calls += "told "; }

  private:
    Script& script_;
};

struct Model {
    std::int64_t now = kStart;
    std::int64_t expiration = kLatest;  // nothing is pending
    std::int64_t defaultDelay = 0;      // milliseconds
    Failure failure = kNone;
    std::string calls{};

    void write(std::int64_t milliseconds) {
        // Both steps end at the ends of the clock's range.
        const auto end = [](bool early) {
            return early ? std::numeric_limits<std::int64_t>::min() : kLatest;
        };
        std::int64_t delay = 0;
        if (__builtin_mul_overflow(milliseconds, std::int64_t{1'000'000}, &delay)) {
            delay = end(milliseconds < 0);
        }
        std::int64_t deadline = 0;
        if (__builtin_add_overflow(delay, now, &deadline)) {
            deadline = end(delay < 0);
        }
        // One that the clock cannot hold is still pending.
        deadline = std::min(deadline, kLatest - 1);
        if (deadline < expiration) {
            expiration = deadline;
            calls += "told ";
        }
    }
    std::int64_t flush(bool silent) {
        if (expiration != kLatest) {
            expiration = kLatest;
            calls += "build ";
            if (failure != kNoAccessor && failure != kBuilder) {
                calls += "serialize ";
                calls += failure == kSerialize ? "" : "commit ";
                calls += "close ";
            }
            calls += silent ? "" : "told ";
        }
        return expiration;
    }
    std::int64_t run(bool locked) { return expiration > now || locked ? expiration : flush(true); }
};

std::int64_t nanoseconds(Steady point) {
    return std::chrono::nanoseconds(point.time_since_epoch()).count();
}

void steps(fuzz::Input& input) {
    Script script;
    Observer observer(script);
    Model model;
    model.defaultDelay = input.number<std::uint16_t>();
    std::optional<StreamableHandler> handler;
    const auto build = [&script]() -> std::unique_ptr<stream::IOutputStreamAccessor> {
        script.step("build ", kBuilder);
        return script.failure == kNoAccessor ? nullptr : std::make_unique<Accessor>(script);
    };
    handler.emplace(std::make_unique<Object>(script), build, observer,
                    std::chrono::milliseconds(model.defaultDelay));
    while (!input.empty()) {
        const unsigned choice = input.byte();
        const unsigned detail = choice / 8;
        switch (choice % 8) {
            case 0: {
                model.write(model.defaultDelay);
                handler->lock().write();
                break;
            }
            case 1: {
                // Any number, or a small one.
                const std::int64_t delay =
                    detail % 4 == 0 ? input.number<std::int64_t>() : input.number<std::int16_t>();
                model.write(delay);
                handler->lock().write(std::chrono::milliseconds(delay));
                break;
            }
            case 2:
                fuzz::same(model.flush(false), nanoseconds(handler->lock().flush()), "flush");
                break;
            case 3:
                fuzz::same(model.run(false), nanoseconds(handler->run()), "run");
                break;
            case 4: {
                const auto locked = handler->lock();
                fuzz::same(model.run(true), nanoseconds(handler->run()), "run while locked");
                break;
            }
            case 5:
                model.now +=
                    std::int64_t{detail == 0 ? input.number<std::uint32_t>() : detail} * 1'000'000;
                // To the very moment, and to just before it.
                if (detail % 8 == 1 && model.expiration < kLatest / 2) {
                    model.now = std::max(model.now, model.expiration - detail / 8 % 2);
                }
                steadyNow = model.now;
                break;
            case 6:
                model.failure = script.failure = static_cast<Failure>(detail % kFailures);
                break;
            default: {
                // Moved away with what is pending, and back.
                StreamableHandler other(std::move(*handler));
                fuzz::require(handler->run() == Steady::max(), "run of an empty handler");
                handler.reset();
                handler.emplace(std::move(other));
            }
        }
        fuzz::same(model.calls, script.calls, "calls");
        model.calls.clear();
        script.calls.clear();
    }
    model.flush(true);
    handler.reset();
    fuzz::same(model.calls, script.calls, "calls of the destruction");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    steadyNow = kStart;
    fuzz::require(nanoseconds(std::chrono::steady_clock::now()) == kStart,
                  "the clock is this fuzzer's");
    steps(input);
    steadyNow.reset();
    return 0;
}
