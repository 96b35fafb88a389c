// Locks: taken and released by one thread alone, and by two readers at once.

#include <shared_mutex>

#include <benchmark/benchmark.h>

#include <vorn/common/RecursiveSharedMutex.h>
#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>

#ifdef VORN_PEER_BOOST
#include <boost/thread/shared_mutex.hpp>
#endif

namespace {

using Gated = vorn::common::locking::MultipleReadUniqueWriteMutex;
using Recursive = vorn::common::RecursiveSharedMutex;

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
void registerFor(const char* exclusiveName, const char* sharedName, const char* readersName) {
    benchmark::RegisterBenchmark(exclusiveName, exclusive<Mutex>);
    benchmark::RegisterBenchmark(sharedName, shared<Mutex>);
    benchmark::RegisterBenchmark(readersName, shared<Mutex>)->Threads(2)->UseRealTime();
}

const bool registered = [] {
    registerFor<Gated>("lock/vorn", "lock_shared/vorn", "two_readers/vorn");
    registerFor<std::shared_mutex>("lock/std_shared_mutex", "lock_shared/std_shared_mutex",
                                   "two_readers/std_shared_mutex");
    registerFor<Recursive>("recursive_lock/vorn", "recursive_lock_shared/vorn",
                           "recursive_two_readers/vorn");
#ifdef VORN_PEER_BOOST
    registerFor<boost::shared_mutex>("lock/boost_shared_mutex", "lock_shared/boost_shared_mutex",
                                     "two_readers/boost_shared_mutex");
    registerFor<boost::shared_mutex>("recursive_lock/boost_shared_mutex",
                                     "recursive_lock_shared/boost_shared_mutex",
                                     "recursive_two_readers/boost_shared_mutex");
#endif
    return true;
}();

}  // namespace
