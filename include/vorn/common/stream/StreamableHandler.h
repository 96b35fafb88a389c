// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include <vorn/common/export.h>
#include <vorn/common/stream/IStreamable.h>
#include <vorn/common/stream/StreamAccessors.h>

namespace vorn::common::stream {

/// Keeps one object in memory, guards it with a mutex and writes it out lazily: a change schedules
/// a write, and the write happens when its deadline has passed and somebody calls `run`, when the
/// caller flushes, or when the handler is destroyed. It has no thread of its own; as a rule an
/// fs::CachedFileManager drives it.
///
///     auto locked = handler.lock();
///     static_cast<Settings&>(locked.get()).name = "gateway";
///     locked.write();                                  // after the default delay
///
/// | Operation            | idle                      | pending                               |
/// |----------------------|---------------------------|---------------------------------------|
/// | write(delay)         | -> pending, observer told | earlier: moved, observer told;        |
/// |                      |                           | else unchanged, not told              |
/// | flush                | nothing                   | writes, -> idle, observer told        |
/// | run, not due         | nothing                   | nothing                               |
/// | run, due             | (not possible)            | writes, -> idle, observer not told    |
/// | run, due, and locked | (not possible)            | nothing                               |
/// | destruction          | nothing                   | writes, observer not told             |
///
/// A write calls the output builder, serializes the object into the accessor's stream and commits.
/// The state is idle before that starts, so that a write scheduled meanwhile is not lost. Whatever
/// the builder, the accessor or `serialize` throws is swallowed. So are standard exceptions while
/// the object is loaded; others pass through `load`.
///
/// Deliberate: a failed write is dropped and not repeated; the object stays in memory, and the next
/// scheduled write writes it again. A text that could not be built completely (the stream has
/// failed) counts as a failed write, and no file is touched for it.
/// Threads: `lock`, `load` and `run` from any. There are two locks: the object lock, held by
/// LockedStreamable and while the object is read or written, and inside it the schedule lock, held
/// for moments and never during a callback. The observer is called by the thread that writes or
/// flushes, which holds the object lock.
/// Lifetime: the observer outlives the handler, and the handler its LockedStreamables. The
/// destructor waits for those of other threads.
class VORN_GW_COMMON_EXPORT StreamableHandler {
  public:
    /// Whoever drives the handler.
    class VORN_GW_COMMON_EXPORT Observer {
      public:
        virtual ~Observer() = default;

        /// The handler wants to run earlier than it said, or has written outside `run`. Must not
        /// lock the handler.
        virtual void onRunTimepointChange() = 0;
    };

    class CachedStreamable;

    /// Holds the object lock for as long as it lives.
    ///
    /// Threads: for the thread that obtained it. Never two of one handler in one thread.
    class VORN_GW_COMMON_EXPORT LockedStreamable {
      public:
        LockedStreamable(const LockedStreamable&) = delete;
        LockedStreamable& operator=(const LockedStreamable&) = delete;

        /// The object, for reading and changing; valid while this LockedStreamable lives.
        [[nodiscard]] IStreamable& get() const noexcept;

        /// Schedules a write `delay` from now. A pending earlier one stays as it is. A delay that
        /// the clock cannot hold means "with the next flush, or at destruction".
        void write(std::chrono::milliseconds delay) const;

        /// Schedules a write after the handler's default delay.
        void write() const;

        /// Writes now if a write is pending. Returns when the handler wants to run next:
        /// time_point::max() unless a write has been scheduled again meanwhile.
        std::chrono::steady_clock::time_point flush() const;

      private:
        friend class StreamableHandler;
        VORN_GW_COMMON_HIDDEN LockedStreamable(std::unique_lock<std::mutex> lock,
                                               CachedStreamable& cache) noexcept;

        std::unique_lock<std::mutex> lock_;
        CachedStreamable& cache_;
    };

    /// Takes the object and the builder; nothing is pending. `writeDelay` is the default delay of
    /// LockedStreamable::write. Throws std::invalid_argument for a null object.
    StreamableHandler(std::unique_ptr<IStreamable>&& object, OutputBuilder&& outputBuilder,
                      std::reference_wrapper<Observer> observer,
                      const std::chrono::milliseconds& writeDelay);

    /// Takes the object with its pending write from a handler that nobody uses any more; waits for
    /// a LockedStreamable of another thread. The source is then empty: `load` gives false, `run`
    /// time_point::max(), `lock` is an assertion.
    StreamableHandler(StreamableHandler&& other);
    /// The same while the caller holds the source's object lock through `otherLock`; for the move
    /// constructors of deriving classes, which alone can come by that lock.
    StreamableHandler(StreamableHandler&& other, const std::unique_lock<std::mutex>& otherLock);

    StreamableHandler(const StreamableHandler&) = delete;
    StreamableHandler& operator=(const StreamableHandler&) = delete;

    /// Writes a pending change; throws nothing and tells nobody.
    virtual ~StreamableHandler();

    /// Reads the object. False when the builder gives nothing or a stream that is not good, when
    /// `deserialize` gives false, and when one of them throws a standard exception.
    ///
    /// **A shortage of memory is one of these failures: a good file then counts as not loaded, and
    /// the next write replaces it with what the object holds.** Do not trust defaults while the
    /// file exists: look whether it does, and whether `deserialize` has succeeded, before you
    /// write.
    bool load(InputBuilder&& inputBuilder);

    /// Writes if a write is due and nobody holds the object; never waits for it. Returns when it
    /// wants to run next: time_point::max() when nothing is pending, and a time point that has
    /// passed when a due write was put off because the object is held.
    std::chrono::steady_clock::time_point run();

    /// Tells the observer; called where the table says so.
    virtual void onCacheExpirationTimepointChange();

    /// Waits for the object lock.
    [[nodiscard]] LockedStreamable lock();

  private:
    VORN_GW_COMMON_HIDDEN void bindNotifier();

    std::mutex objectMutex_;
    std::unique_ptr<CachedStreamable> cache_;
    std::reference_wrapper<Observer> observer_;
};

}  // namespace vorn::common::stream
