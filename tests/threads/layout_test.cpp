// SPDX-License-Identifier: MIT
#include <type_traits>

#include <vorn/common/Thread.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>
#include <vorn/common/sched/Cooldown.h>
#include <vorn/common/thread/MessageThread.h>

#include "helpers/layout.h"

using namespace vorn::common;
using Gate = locking::MultipleReadUniqueWriteMutex;
using sched::Cooldown;
using sched::CpuLoadIntervalRegulator;
using sched::CpuLoadRegulator;
using sched::LoadSample;
using thread::Message;
using thread::MessageThread;

template struct helpers::Fields<Thread, &Thread::started_, &Thread::run_>;
template struct helpers::Fields<ThreadPool, &ThreadPool::workers_, &ThreadPool::queue_,
                                &ThreadPool::mutex_, &ThreadPool::taskAvailable_,
                                &ThreadPool::stateChanged_, &ThreadPool::stopping_,
                                &ThreadPool::freeWorkers_>;
template struct helpers::Fields<Message, &Message::msgClass_, &Message::msgType_>;
template struct helpers::Fields<MessageThread, &MessageThread::started_, &MessageThread::thread_,
                                &MessageThread::handler_, &MessageThread::queue_>;
template struct helpers::Fields<Gate, &Gate::gate_, &Gate::rwlock_>;
template struct helpers::Fields<LoadSample, &LoadSample::cpuMs, &LoadSample::wallMs>;
template struct helpers::Fields<CpuLoadRegulator, &CpuLoadRegulator::last_,
                                &CpuLoadRegulator::ratio_, &CpuLoadRegulator::maxRestMs_>;
template struct helpers::Fields<CpuLoadIntervalRegulator, &CpuLoadIntervalRegulator::last_,
                                &CpuLoadIntervalRegulator::ratio_,
                                &CpuLoadIntervalRegulator::interval_>;

TEST(ThreadsLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(8);
}

TEST(ThreadsLayout, VirtualOperationsStandInOrder) {
    static_assert(!std::is_polymorphic_v<Thread>);
    EXPECT_EQ(helpers::slotOf(&IRunnable::run), 2u);
    EXPECT_EQ(helpers::slotOf(&Message::move), 2u);
    EXPECT_EQ(helpers::slotOf(&Cooldown::reset), 2u);
    EXPECT_EQ(helpers::slotOf(&Cooldown::cooldown), 3u);
}
