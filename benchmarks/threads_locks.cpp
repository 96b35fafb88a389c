// SPDX-License-Identifier: MIT

// Locks: taken and released by one thread alone, in and under another lock, and by two at once.

#include <mutex>
#include <shared_mutex>

#include <benchmark/benchmark.h>

#include <vorn/common/RecursiveSharedMutex.h>
#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>

#ifdef VORN_PEER_BOOST
#include <boost/thread/shared_mutex.hpp>
#endif
#ifdef VORN_PEER_QT
#include <QReadWriteLock>
#endif

namespace {

using Gated = vorn::common::locking::MultipleReadUniqueWriteMutex;
using Recursive = vorn::common::RecursiveSharedMutex;

#ifdef VORN_PEER_QT
/// Under the names of the standard.
class QtRecursive {
  public:
    void lock() { lock_.lockForWrite(); }
    void unlock() { lock_.unlock(); }
    void lock_shared() { lock_.lockForRead(); }
    void unlock_shared() { lock_.unlock(); }

  private:
    QReadWriteLock lock_{QReadWriteLock::Recursive};
};
#endif

template <class Mutex>
Mutex sharedByAllThreads;

template <class Mutex>
void exclusive(benchmark::State& state) {
    for (auto _ : state) {
        sharedByAllThreads<Mutex>.lock();
        sharedByAllThreads<Mutex>.unlock();
    }
}

template <class Mutex>
void shared(benchmark::State& state) {
    for (auto _ : state) {
        sharedByAllThreads<Mutex>.lock_shared();
        sharedByAllThreads<Mutex>.unlock_shared();
    }
}

template <class Mutex>
void exclusiveNested(benchmark::State& state) {
    const std::lock_guard outer(sharedByAllThreads<Mutex>);
    exclusive<Mutex>(state);
}

template <class Mutex>
void sharedNested(benchmark::State& state) {
    const std::shared_lock outer(sharedByAllThreads<Mutex>);
    shared<Mutex>(state);
}

/// One lock in a hundred is exclusive.
template <class Mutex>
void mixed(benchmark::State& state) {
    int i = 0;
    for (auto _ : state) {
        if (++i % 100 == 0) {
            sharedByAllThreads<Mutex>.lock();
            sharedByAllThreads<Mutex>.unlock();
        } else {
            sharedByAllThreads<Mutex>.lock_shared();
            sharedByAllThreads<Mutex>.unlock_shared();
        }
    }
}

using Run = void (*)(benchmark::State&);

void alone(const char* name, Run run) {
    benchmark::RegisterBenchmark(name, run);
}

void byTwo(const char* name, Run run) {
    benchmark::RegisterBenchmark(name, run)->Threads(2)->UseRealTime();
}

const bool registered = [] {
    alone("gated_exclusive/vorn", exclusive<Gated>);
    alone("gated_exclusive/std_shared_mutex", exclusive<std::shared_mutex>);
    alone("gated_shared/vorn", shared<Gated>);
    alone("gated_shared/std_shared_mutex", shared<std::shared_mutex>);
    byTwo("gated_two_readers/vorn", shared<Gated>);
    byTwo("gated_two_readers/std_shared_mutex", shared<std::shared_mutex>);

    alone("recursive_mutex_exclusive/vorn", exclusive<Recursive>);
    alone("recursive_mutex_exclusive/std_shared_mutex", exclusive<std::shared_mutex>);
    alone("recursive_mutex_nested/vorn", exclusiveNested<Recursive>);
    alone("recursive_mutex_nested/std_recursive_mutex", exclusiveNested<std::recursive_mutex>);
    alone("recursive_mutex_shared/vorn", shared<Recursive>);
    alone("recursive_mutex_shared/std_shared_mutex", shared<std::shared_mutex>);
    alone("recursive_mutex_shared_nested/vorn", sharedNested<Recursive>);
    byTwo("recursive_mutex_two_readers/vorn", shared<Recursive>);
    byTwo("recursive_mutex_two_readers/std_shared_mutex", shared<std::shared_mutex>);
    byTwo("recursive_mutex_few_writes/vorn", mixed<Recursive>);
    byTwo("recursive_mutex_few_writes/std_shared_mutex", mixed<std::shared_mutex>);
    byTwo("recursive_mutex_two_writers/vorn", exclusive<Recursive>);
    byTwo("recursive_mutex_two_writers/std_shared_mutex", exclusive<std::shared_mutex>);
#ifdef VORN_PEER_BOOST
    alone("gated_exclusive/boost_shared_mutex", exclusive<boost::shared_mutex>);
    alone("gated_shared/boost_shared_mutex", shared<boost::shared_mutex>);
    byTwo("gated_two_readers/boost_shared_mutex", shared<boost::shared_mutex>);
#endif
#ifdef VORN_PEER_QT
    alone("recursive_mutex_shared_nested/qt", sharedNested<QtRecursive>);
#endif
    return true;
}();

}  // namespace
