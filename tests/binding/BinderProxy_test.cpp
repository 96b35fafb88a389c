// SPDX-License-Identifier: MIT
#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/BinderProxy.h>

#include "binding/proxy.h"
#include "helpers/wait_until.h"

namespace {

using namespace binding;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_abstract_v<BinderProxy>);
static_assert(!std::is_copy_constructible_v<BinderProxy>);
static_assert(std::is_same_v<decltype(std::declval<Proxy&>().mutex()), std::recursive_mutex&>);

void bind(Proxy& proxy) {
    proxy.startBinding(kServer);
    proxy.endBinding(Binder::BINDER_SUCCESS);
}

TEST(BinderProxy, BeginsIdle) {
    Recorder recorder;
    const Proxy proxy(&recorder);
    EXPECT_EQ(proxy.uuid(), kSelf);
    EXPECT_TRUE(proxy.serverUuid().isNil());
    EXPECT_TRUE(proxy.getBoundUuid().isNil());
    EXPECT_EQ(proxy.communicationStatus().state(), ComState::None);
    EXPECT_EQ(proxy.listener(), &recorder);
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(BinderProxy, EachResultIsPassedOnAsItIs) {
    for (unsigned number = 0; number <= 10; ++number) {
        const auto result = Binder::Error(number);
        const bool success = number == 0;
        Recorder recorder;
        Proxy proxy(&recorder);
        proxy.startBinding(kServer);
        proxy.endBinding(result);
        EXPECT_EQ(recorder.take().back(),
                  std::string("bound server ") + (success ? "true " : "false ") + toString(result));
        EXPECT_EQ(proxy.getBoundUuid().isNil(), !success);

        Proxy bound(&recorder);
        bind(bound);
        bound.endUnbinding(result);
        EXPECT_EQ(recorder.take().back(), std::string("unbound server ") +
                                              (success ? "false " : "true ") + toString(result));
        EXPECT_EQ(bound.getBoundUuid().isNil(), success);
    }
}

TEST(BinderProxy, BindingIsNoContactNotEstablishing) {
    Recorder recorder;
    Proxy proxy(&recorder);
    proxy.startBinding(kServer);
    EXPECT_EQ(proxy.communicationStatus().state(), ComState::NoContact);
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(BinderProxy, ReportsChangesOfTheCommunicationStateWhileBound) {
    Recorder recorder;
    Proxy proxy(&recorder);
    recorder.proxy = &proxy;
    bind(proxy);
    recorder.take();

    std::unique_lock lock(proxy.mutex());
    proxy.setCommunicationState(ComState::Ok, lock);
    EXPECT_TRUE(lock.owns_lock());
    EXPECT_THAT(recorder.take(), IsEmpty());

    proxy.setCommunicationState(ComState::Lost, lock);
    EXPECT_FALSE(lock.owns_lock());
    EXPECT_THAT(recorder.take(), ElementsAre("status server lost"));
    EXPECT_TRUE(recorder.lastStatus == proxy.communicationStatus());
    EXPECT_FALSE(recorder.calledUnderTheMutex);
}

TEST(BinderProxy, ChangesOfTheCommunicationStateWhileNotBoundAreSilentAndKeepTheLock) {
    Recorder recorder;
    Proxy proxy(&recorder);
    std::unique_lock lock(proxy.mutex());
    proxy.setCommunicationState(ComState::Lost, lock);
    EXPECT_TRUE(lock.owns_lock());
    EXPECT_EQ(proxy.communicationStatus().state(), ComState::Lost);
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(BinderProxy, AChangeWhileBoundReleasesTheLockEvenWithoutAListener) {
    Proxy proxy;
    bind(proxy);
    std::unique_lock lock(proxy.mutex());
    proxy.setCommunicationState(ComState::Lost, lock);
    EXPECT_FALSE(lock.owns_lock());
}

TEST(BinderProxy, BecomingBoundWhileAlreadyOkReportsNoStatus) {
    Recorder recorder;
    Proxy proxy(&recorder);
    recorder.proxy = &proxy;
    proxy.startBinding(kServer);
    {
        std::unique_lock lock(proxy.mutex());
        proxy.setCommunicationState(ComState::Ok, lock);
    }
    proxy.endBinding(Binder::BINDER_SUCCESS);
    EXPECT_THAT(recorder.take(), ElementsAre("bound server true BINDER_SUCCESS"));
    EXPECT_FALSE(recorder.calledUnderTheMutex);
}

TEST(BinderProxy, AnUnbindingLeavesTheCommunicationStateWhileTheBindingStays) {
    Recorder recorder;
    Proxy proxy(&recorder);
    bind(proxy);
    std::unique_lock lock(proxy.mutex());
    proxy.setCommunicationState(ComState::Lost, lock);
    const auto before = proxy.communicationStatus();
    recorder.take();

    proxy.startUnbinding();
    EXPECT_TRUE(proxy.communicationStatus() == before);
    proxy.endUnbinding(Binder::BINDER_ERROR_TIMEOUT);
    EXPECT_TRUE(proxy.communicationStatus() == before);
    proxy.endBinding(Binder::BINDER_SUCCESS);
    EXPECT_TRUE(proxy.communicationStatus() == before);
    EXPECT_THAT(recorder.take(), ElementsAre("unbound server true BINDER_ERROR_TIMEOUT",
                                             "bound nil false BINDER_SUCCESS"));
    proxy.endUnbinding(Binder::BINDER_SUCCESS);
    EXPECT_EQ(proxy.communicationStatus().state(), ComState::None);
    EXPECT_THAT(recorder.take(), ElementsAre("unbound server false BINDER_SUCCESS"));
}

TEST(BinderProxy, TerminateDuringAStepSilencesTheRestOfIt) {
    Recorder recorder;
    Proxy proxy(&recorder);
    recorder.then = [&] { proxy.terminate(); };
    bind(proxy);
    EXPECT_THAT(recorder.take(), ElementsAre("status server ok"));
}

TEST(BinderProxy, TerminateUnregistersTheListenerOnce) {
    Recorder recorder;
    Proxy proxy(&recorder);
    Binder& binder = proxy;
    binder.terminate();
    EXPECT_EQ(proxy.listener(), nullptr);
    bind(proxy);
    proxy.endUnbinding(Binder::BINDER_SUCCESS);
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(BinderProxy, TerminateStopsNothingButASecondTerminate) {
    Recorder recorder;
    Proxy proxy(&recorder);
    proxy.terminate();
    proxy.registerListener(&recorder);
    proxy.terminate();
    EXPECT_EQ(proxy.listener(), &recorder);
    bind(proxy);
    EXPECT_THAT(recorder.take(),
                ElementsAre("status server ok", "bound server true BINDER_SUCCESS"));
}

TEST(BinderProxy, NotifiesWithTheGivenArguments) {
    Recorder recorder;
    Proxy proxy(&recorder);
    recorder.proxy = &proxy;
    proxy.notifyBound(kOther, true, Binder::BINDER_ERROR_REJECTED);
    proxy.notifyUnbound(kOther, true, Binder::BINDER_SUCCESS);
    proxy.notifyCommunicationStatus(kOther, CommunicationStatus(ComState::Error));
    EXPECT_THAT(recorder.take(),
                ElementsAre("bound other true BINDER_ERROR_REJECTED",
                            "unbound other true BINDER_SUCCESS", "status other error"));
    EXPECT_FALSE(recorder.calledUnderTheMutex);

    proxy.registerListener(nullptr);
    proxy.notifyBound(kOther, true, Binder::BINDER_SUCCESS);
    proxy.notifyUnbound(kOther, true, Binder::BINDER_SUCCESS);
    proxy.notifyCommunicationStatus(kOther, CommunicationStatus(ComState::Error));
    EXPECT_THAT(recorder.take(), IsEmpty());
}

TEST(BinderProxy, TheListenerMayCallBack) {
    Recorder recorder;
    Proxy proxy(&recorder);
    std::vector<Binder::Error> results;
    recorder.then = [&] {
        results.push_back(proxy.startBinding(kOther));
        results.push_back(proxy.startUnbinding());
        proxy.endUnbinding(Binder::BINDER_SUCCESS);
        results.push_back(proxy.startBinding(kOther));
    };
    bind(proxy);
    EXPECT_THAT(results, ElementsAre(Binder::BINDER_ERROR_ALREADY_BOUND, Binder::BINDER_SUCCESS,
                                     Binder::BINDER_SUCCESS));
    EXPECT_THAT(recorder.take(),
                ElementsAre("status server ok", "unbound server false BINDER_SUCCESS",
                            "bound server true BINDER_SUCCESS"));
    EXPECT_EQ(nameOf(proxy.serverUuid()), "other");
}

TEST(BinderProxy, TheListenerMayUnregisterItself) {
    Recorder recorder;
    Proxy proxy(&recorder);
    recorder.then = [&] { proxy.registerListener(nullptr); };
    bind(proxy);
    EXPECT_THAT(recorder.take(), ElementsAre("status server ok"));
    EXPECT_EQ(nameOf(proxy.getBoundUuid()), "server");
}

TEST(BinderProxy, ListenerArgumentsAreCopies) {
    class Rebinder : public BinderProxy::Listener {
      public:
        void onBound(const Uuid& server, bool, Binder::Error) override {
            rebind();
            seen.push_back(nameOf(server));
        }
        void onUnbound(const Uuid&, bool, Binder::Error) override {}
        void onCommunicationStatus(const Uuid& server, CommunicationStatus) override {
            rebind();
            seen.push_back(nameOf(server));
        }

        Proxy* proxy = nullptr;
        std::vector<std::string> seen;

      private:
        void rebind() {
            proxy->registerListener(nullptr);
            proxy->endUnbinding(Binder::BINDER_SUCCESS);
            proxy->startBinding(kOther);
            proxy->endBinding(Binder::BINDER_SUCCESS);
            proxy->registerListener(this);
        }
    };
    Rebinder listener;
    Proxy proxy(&listener);
    listener.proxy = &proxy;
    bind(proxy);
    EXPECT_THAT(listener.seen, ElementsAre("server", "server"));
    EXPECT_EQ(nameOf(proxy.getBoundUuid()), "other");
}

TEST(BinderProxy, AnOuterLockOfTheCallerStaysHeld) {
    Recorder recorder;
    Proxy proxy(&recorder);
    recorder.proxy = &proxy;
    const std::unique_lock lock(proxy.mutex());
    bind(proxy);
    EXPECT_TRUE(recorder.calledUnderTheMutex);
}

TEST(BinderProxy, StepsFromSeveralThreadsKeepTheStateWhole) {
    class Counter : public BinderProxy::Listener {
      public:
        void onBound(const Uuid& server, bool bound, Binder::Error) override {
            wrong += bound && server != kServer ? 1 : 0;
            ++calls;
        }
        void onUnbound(const Uuid&, bool, Binder::Error) override { ++calls; }
        void onCommunicationStatus(const Uuid& server, CommunicationStatus) override {
            wrong += server != kServer ? 1 : 0;
        }
        std::atomic<int> calls{0};
        std::atomic<int> wrong{0};
    };
    constexpr int kRounds = 500;
    Counter counter;
    Proxy proxy(&counter);
    std::atomic<int> started{0};
    const auto work = [&] {
        for (int round = 0; round < kRounds; ++round) {
            started += proxy.startBinding(kServer) == Binder::BINDER_SUCCESS ? 1 : 0;
            proxy.endBinding(Binder::BINDER_SUCCESS);
            static_cast<void>(proxy.getBoundUuid().isNil());
            static_cast<void>(proxy.communicationStatus().state());
            proxy.startUnbinding();
            proxy.endUnbinding(round % 2 == 0 ? Binder::BINDER_SUCCESS
                                              : Binder::BINDER_ERROR_TIMEOUT);
            proxy.registerListener(&counter);
        }
    };
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back(work);
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter.calls, 4 * 2 * kRounds);
    EXPECT_EQ(counter.wrong, 0);
    EXPECT_GE(started, 1);
}

}  // namespace
