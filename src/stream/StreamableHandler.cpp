// SPDX-License-Identifier: MIT
#include "vorn/common/stream/StreamableHandler.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "internal/assert.h"
#include "internal/saturate.h"

namespace vorn::common::stream {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Clock::time_point kNothingPending = Clock::time_point::max();
// A deadline beyond what the clock holds is still one: the write stays pending.
constexpr Clock::time_point kLatestDeadline = kNothingPending - Clock::duration(1);

}  // namespace

// What moves with a handler: its users' LockedStreamables refer to it, so it keeps its address.
class StreamableHandler::CachedStreamable {
  public:
    CachedStreamable(std::unique_ptr<IStreamable>&& object, OutputBuilder&& outputBuilder,
                     std::chrono::milliseconds writeDelay)
        : object_(std::move(object)),
          outputBuilder_(std::move(outputBuilder)),
          writeDelay_(writeDelay) {
        if (!object_) {
            throw std::invalid_argument("StreamableHandler - Error: null object");
        }
    }

    [[nodiscard]] IStreamable& object() const noexcept { return *object_; }
    [[nodiscard]] std::chrono::milliseconds writeDelay() const noexcept { return writeDelay_; }
    void setNotifier(std::function<void()> notifier) { notifier_ = std::move(notifier); }

    [[nodiscard]] Clock::time_point expiration() const {
        const std::lock_guard lock(scheduleMutex_);
        return expiration_;
    }

    void schedule(std::chrono::milliseconds delay) {
        const auto deadline =
            std::min(kLatestDeadline,
                     internal::saturatingAdd(Clock::now(), internal::saturatingNanoseconds(delay)));
        std::unique_lock lock(scheduleMutex_);
        if (!(deadline < expiration_)) {
            return;
        }
        expiration_ = deadline;
        // The observer may ask for the deadline, or take a lock that is held while somebody asks.
        lock.unlock();
        notifier_();
    }

    Clock::time_point flush(bool silent) {
        // Idle before the object is read: a change that is scheduled from here on is a new one.
        if (takePending()) {
            writeOut();
            // The accessor is gone by now: whoever is told finds the file closed.
            if (!silent) {
                notifier_();
            }
        }
        return expiration();
    }

  private:
    [[nodiscard]] bool takePending() {
        const std::lock_guard lock(scheduleMutex_);
        return std::exchange(expiration_, kNothingPending) < kNothingPending;
    }

    void writeOut() const {
        try {
            if (const auto accessor = outputBuilder_()) {
                object_->serialize(accessor->stream());
                accessor->commit();
            }
        } catch (...) {
            // Whatever it is: on the manager's thread it would end the process.
        }
    }

    std::unique_ptr<IStreamable> object_;
    OutputBuilder outputBuilder_;
    std::chrono::milliseconds writeDelay_;
    mutable std::mutex scheduleMutex_;
    Clock::time_point expiration_ = kNothingPending;  // guarded by scheduleMutex_
    std::function<void()> notifier_;                  // set before the handler is shared
};

StreamableHandler::LockedStreamable::LockedStreamable(std::unique_lock<std::mutex> lock,
                                                      CachedStreamable& cache) noexcept
    : lock_(std::move(lock)), cache_(cache) {}

IStreamable& StreamableHandler::LockedStreamable::get() const noexcept {
    return cache_.object();
}

void StreamableHandler::LockedStreamable::write(std::chrono::milliseconds delay) const {
    cache_.schedule(delay);
}

void StreamableHandler::LockedStreamable::write() const {
    cache_.schedule(cache_.writeDelay());
}

Clock::time_point StreamableHandler::LockedStreamable::flush() const {
    return cache_.flush(false);
}

StreamableHandler::StreamableHandler(std::unique_ptr<IStreamable>&& object,
                                     OutputBuilder&& outputBuilder,
                                     std::reference_wrapper<Observer> observer,
                                     const std::chrono::milliseconds& writeDelay)
    : cache_(std::make_unique<CachedStreamable>(std::move(object), std::move(outputBuilder),
                                                writeDelay)),
      observer_(observer) {
    bindNotifier();
}

StreamableHandler::StreamableHandler(StreamableHandler&& other)
    : StreamableHandler(std::move(other), std::unique_lock(other.objectMutex_)) {}

StreamableHandler::StreamableHandler(StreamableHandler&& other, const std::unique_lock<std::mutex>&)
    : cache_(std::move(other.cache_)), observer_(other.observer_) {
    bindNotifier();
}

StreamableHandler::~StreamableHandler() {
    // Waits for the LockedStreamable of another thread, which refers to what is destroyed here.
    const std::lock_guard lock(objectMutex_);
    if (cache_) {
        cache_->flush(true);
        cache_.reset();
    }
}

bool StreamableHandler::load(InputBuilder&& inputBuilder) {
    try {
        // The file is opened without the object lock; only the object needs it.
        const auto accessor = inputBuilder();
        if (!accessor || !accessor->stream().good()) {
            return false;
        }
        const std::lock_guard lock(objectMutex_);
        return cache_ && cache_->object().deserialize(accessor->stream());
    } catch (const std::exception&) {
        return false;
    }
}

Clock::time_point StreamableHandler::run() {
    if (!cache_) {
        return kNothingPending;
    }
    const auto expiration = cache_->expiration();
    if (expiration > Clock::now()) {
        return expiration;
    }
    // Never waits: the manager's thread serves every object, and holds its own mutex here.
    const std::unique_lock lock(objectMutex_, std::try_to_lock);
    if (!lock.owns_lock()) {
        return expiration;
    }
    // Again, because a user of the object may have flushed it in between.
    const auto current = cache_->expiration();
    return current > Clock::now() ? current : cache_->flush(true);
}

void StreamableHandler::onCacheExpirationTimepointChange() {
    observer_.get().onRunTimepointChange();
}

StreamableHandler::LockedStreamable StreamableHandler::lock() {
    std::unique_lock lock(objectMutex_);
    VORN_ASSERT(cache_ != nullptr);
    return LockedStreamable(std::move(lock), *cache_);
}

void StreamableHandler::bindNotifier() {
    // Bound anew after a move: the notifier calls the virtual operation of the handler that has the
    // object now.
    if (cache_) {
        cache_->setNotifier([this] { onCacheExpirationTimepointChange(); });
    }
}

}  // namespace vorn::common::stream
