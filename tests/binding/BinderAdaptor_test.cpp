// SPDX-License-Identifier: MIT
#include <functional>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderStubDb.h>

#include "helpers/expect_throw.h"

namespace {

using namespace vorn::common;
using testing::ElementsAre;
using testing::IsEmpty;

const Uuid kOwner("11111111-1111-1111-1111-111111111111");

class Party : public Bindable {
  public:
    Party(const Uuid& uuid, std::string interface)
        : uuid_(uuid), interface_(std::move(interface)) {}
    [[nodiscard]] const Uuid& uuid() const override { return uuid_; }
    [[nodiscard]] const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

std::shared_ptr<Bindable> party(const std::string& name) {
    return std::make_shared<Party>(Uuid::fromBase64String("", name), name);
}

Uuid uuidOf(const std::string& name) {
    return Uuid::fromBase64String("", name);
}

std::string namesIn(const BinderClientsList& list) {
    std::string names;
    for (const auto& client : list) {
        names += (names.empty() ? "" : " ") + client.interface();
    }
    return names;
}

class Adaptor : public BinderAdaptor {
  public:
    using BinderAdaptor::BinderAdaptor;
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    void dropClient(const Uuid&) override { ++drops; }
    int drops = 0;
};

/// Listener and database in one, so that the order of their calls shows.
class Journal : public BinderAdaptor::Listener, public BinderDb {
  public:
    Journal() : BinderDb(kOwner) {}

    Binder::Error onBindRequest(Bindable& client) override {
        note("bind " + client.interface());
        if (const auto action = std::exchange(then, nullptr)) {
            action(client);
        }
        lastInterface = client.interface();
        return answer;
    }
    void onUnbindRequest(Bindable& client) override {
        note("unbind " + client.interface());
        EXPECT_TRUE(adaptor == nullptr || adaptor->isRegistered(client.uuid()));
        if (const auto action = std::exchange(then, nullptr)) {
            action(client);
        }
        // Still alive, even when the call above removed it.
        lastInterface = client.interface();
    }
    void onClientsListChange(const BinderClientsList& list) override {
        note("changed [" + namesIn(list) + "]");
        EXPECT_EQ(list, stored);
    }
    void getClientsList(BinderClientsList&) override { note("read"); }
    void updateClientsList(const BinderClientsList& list) override {
        note("stored [" + namesIn(list) + "]");
        EXPECT_EQ(list.capacity(), list.size());
        if (full) {
            throw std::runtime_error("no space");
        }
        stored = list;
    }

    std::vector<std::string> take() { return std::exchange(calls, {}); }

    BinderAdaptor* adaptor = nullptr;
    Binder::Error answer = Binder::BINDER_SUCCESS;
    std::function<void(Bindable&)> then;  ///< done once, in the next request
    bool full = false;                    ///< nothing can be stored
    std::vector<std::string> calls;
    BinderClientsList stored;
    std::string lastInterface;

  private:
    void note(std::string call) {
        calls.push_back(std::move(call));
        if (adaptor != nullptr) {
            // Would wait for ever if the adaptor's mutex were held.
            std::thread([this] { EXPECT_EQ(adaptor->listener(), this); }).join();
        }
    }
};

TEST(BinderAdaptor, DoesNotReadTheDatabase) {
    Journal journal;
    const Adaptor adaptor(journal, &journal, 5);
    EXPECT_EQ(adaptor.listener(), &journal);
    EXPECT_THAT(journal.calls, IsEmpty());
    static_assert(std::is_abstract_v<BinderAdaptor>);
    static_assert(!std::is_copy_constructible_v<BinderAdaptor>);
}

TEST(BinderAdaptor, AddsAClientThatTheListenerAccepts) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    journal.adaptor = &adaptor;
    EXPECT_FALSE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_EQ(adaptor.addClient(party("a")), Binder::BINDER_SUCCESS);
    EXPECT_TRUE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_THAT(journal.take(), ElementsAre("bind a", "stored [a]", "changed [a]"));
    EXPECT_EQ(adaptor.addClient(party("b")), Binder::BINDER_SUCCESS);
    EXPECT_THAT(journal.take(), ElementsAre("bind b", "stored [a b]", "changed [a b]"));
    EXPECT_EQ(journal.stored[1].uuid(), uuidOf("b"));
    EXPECT_EQ(adaptor.drops, 0);
}

TEST(BinderAdaptor, ARefusalLeavesEverythingUntouched) {
    for (unsigned number = 1; number <= 10; ++number) {
        Journal journal;
        Adaptor adaptor(journal, &journal, 5);
        journal.answer = Binder::Error(number);
        EXPECT_EQ(adaptor.addClient(party("a")), Binder::Error(number));
        EXPECT_FALSE(adaptor.isRegistered(uuidOf("a")));
        EXPECT_THAT(journal.take(), ElementsAre("bind a"));
    }
}

TEST(BinderAdaptor, TheListenerMayGiveUpItsPointerToTheClientThatItIsAskedAbout) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    auto asking = party("a");
    journal.then = [&](Bindable&) { asking.reset(); };
    EXPECT_EQ(adaptor.addClient(asking), Binder::BINDER_SUCCESS);
    EXPECT_EQ(journal.lastInterface, "a");
    EXPECT_TRUE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_THAT(journal.take(), ElementsAre("bind a", "stored [a]", "changed [a]"));
}

TEST(BinderAdaptor, AListenerThatThrowsWhenAskedLeavesEverythingAsItWas) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    const auto fail = [](Bindable&) { throw std::runtime_error("undecided"); };
    journal.then = fail;
    EXPECT_THROW_TEXT(adaptor.addClient(party("a")), std::runtime_error, "undecided");
    EXPECT_FALSE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_THAT(journal.take(), ElementsAre("bind a"));

    adaptor.addClient(party("a"));
    journal.take();
    journal.then = fail;
    EXPECT_THROW_TEXT(adaptor.removeClient(uuidOf("a")), std::runtime_error, "undecided");
    EXPECT_TRUE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_THAT(journal.take(), ElementsAre("unbind a"));
}

TEST(BinderAdaptor, AKnownClientIsAlreadyBound) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 1);
    adaptor.addClient(party("a"));
    journal.take();
    const auto twin = std::make_shared<Party>(uuidOf("a"), "other interface");
    EXPECT_EQ(adaptor.addClient(twin), Binder::BINDER_ERROR_ALREADY_BOUND);
    EXPECT_THAT(journal.take(), IsEmpty());
    adaptor.updateClientsList();
    EXPECT_THAT(journal.take(), ElementsAre("stored [a]", "changed [a]"));
}

TEST(BinderAdaptor, TheLimitIsTestedBeforeTheListenerIsAsked) {
    for (const unsigned limit : {0u, 1u, 2u, 3u}) {
        Journal journal;
        Adaptor adaptor(journal, &journal, limit);
        const std::vector<std::string> names{"a", "b", "c", "d"};
        for (unsigned index = 0; index < names.size(); ++index) {
            EXPECT_EQ(
                adaptor.addClient(party(names[index])),
                index < limit ? Binder::BINDER_SUCCESS : Binder::BINDER_ERROR_TOO_MANY_CLIENTS);
            EXPECT_EQ(journal.take().empty(), index >= limit);
            EXPECT_EQ(adaptor.isRegistered(uuidOf(names[index])), index < limit);
        }
    }
}

TEST(BinderAdaptor, ARemovedClientMakesRoom) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 1);
    adaptor.addClient(party("a"));
    EXPECT_EQ(adaptor.removeClient(uuidOf("a")), Binder::BINDER_SUCCESS);
    EXPECT_EQ(adaptor.addClient(party("b")), Binder::BINDER_SUCCESS);
}

TEST(BinderAdaptor, ANullClientIsRefused) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 0);
    EXPECT_THROW_TEXT(adaptor.addClient(nullptr), std::invalid_argument, "client is null");
    EXPECT_THAT(journal.calls, IsEmpty());
}

TEST(BinderAdaptor, RemovesAClientAfterTellingTheListener) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    journal.adaptor = &adaptor;
    adaptor.addClient(party("a"));
    adaptor.addClient(party("b"));
    journal.take();
    journal.answer = Binder::BINDER_ERROR_REJECTED;
    EXPECT_EQ(adaptor.removeClient(uuidOf("a")), Binder::BINDER_SUCCESS);
    EXPECT_FALSE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_THAT(journal.take(), ElementsAre("unbind a", "stored [b]", "changed [b]"));
    EXPECT_EQ(adaptor.removeClient(uuidOf("a")), Binder::BINDER_ERROR_NOT_BOUND);
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(adaptor.removeClient(uuidOf("b")), Binder::BINDER_SUCCESS);
    EXPECT_THAT(journal.take(), ElementsAre("unbind b", "stored []", "changed []"));
}

TEST(BinderAdaptor, TheArgumentOfRemoveClientMayBelongToTheClient) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    auto client = party("a");
    const Uuid& uuid = client->uuid();
    adaptor.addClient(client);
    client.reset();
    EXPECT_EQ(adaptor.removeClient(uuid), Binder::BINDER_SUCCESS);
    EXPECT_FALSE(adaptor.isRegistered(uuidOf("a")));
}

TEST(BinderAdaptor, TheListenerMayRemoveOtherClients) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    for (const char* name : {"a", "b", "c"}) {
        adaptor.addClient(party(name));
    }
    journal.take();
    journal.then = [&](Bindable&) {
        EXPECT_EQ(adaptor.removeClient(uuidOf("b")), Binder::BINDER_SUCCESS);
    };
    EXPECT_EQ(adaptor.removeClient(uuidOf("a")), Binder::BINDER_SUCCESS);
    EXPECT_THAT(journal.take(), ElementsAre("unbind a", "unbind b", "stored [a c]", "changed [a c]",
                                            "stored [c]", "changed [c]"));
}

TEST(BinderAdaptor, TheListenerMayRemoveTheClientThatItIsToldAbout) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    adaptor.addClient(party("a"));
    journal.take();
    journal.then = [&](Bindable& client) {
        EXPECT_EQ(adaptor.removeClient(client.uuid()), Binder::BINDER_SUCCESS);
    };
    EXPECT_EQ(adaptor.removeClient(uuidOf("a")), Binder::BINDER_SUCCESS);
    EXPECT_EQ(journal.lastInterface, "a");
    EXPECT_THAT(journal.take(), ElementsAre("unbind a", "unbind a", "stored []", "changed []",
                                            "stored []", "changed []"));
}

TEST(BinderAdaptor, TheOrderIsThatOfTheBase64UrlTexts) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 10);
    // As bytes the order would be A, Z, a, 0, -, _.
    for (const char* name : {"_", "a", "Z", "0", "A", "-"}) {
        adaptor.addClient(party(name));
    }
    EXPECT_EQ(journal.take().back(), "changed [- 0 A Z _ a]");
}

TEST(BinderAdaptor, UpdateStoresAndAnnouncesTheSameList) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    journal.adaptor = &adaptor;
    adaptor.updateClientsList();
    EXPECT_THAT(journal.take(), ElementsAre("stored []", "changed []"));
}

TEST(BinderAdaptor, WithoutAListenerEverybodyIsAcceptedAndStored) {
    Journal journal;
    Adaptor adaptor(journal, nullptr, 5);
    auto client = party("a");
    EXPECT_EQ(adaptor.notifyBindRequest(*client), Binder::BINDER_SUCCESS);
    adaptor.notifyUnbindRequest(*client);
    adaptor.notifyClientsListChange({});
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(adaptor.addClient(client), Binder::BINDER_SUCCESS);
    EXPECT_EQ(adaptor.removeClient(client->uuid()), Binder::BINDER_SUCCESS);
    EXPECT_THAT(journal.take(), ElementsAre("stored [a]", "stored []"));
}

TEST(BinderAdaptor, NotifiesWithTheGivenArguments) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    const auto client = party("a");
    adaptor.addClient(client);
    journal.take();
    journal.answer = Binder::BINDER_ERROR_BUSY;
    EXPECT_EQ(adaptor.notifyBindRequest(*client), Binder::BINDER_ERROR_BUSY);
    adaptor.notifyUnbindRequest(*client);
    adaptor.notifyClientsListChange(journal.stored);
    EXPECT_THAT(journal.take(), ElementsAre("bind a", "unbind a", "changed [a]"));
}

TEST(BinderAdaptor, ADerivedClassSeesEveryChangeOfTheList) {
    class Watching : public Adaptor {
      public:
        using Adaptor::Adaptor;
        void notifyClientsListChange(const BinderClientsList& list) override {
            seen.push_back(namesIn(list));
        }
        std::vector<std::string> seen;
    };
    Journal journal;
    Watching adaptor(journal, &journal, 5);
    adaptor.addClient(party("a"));
    adaptor.removeClient(uuidOf("a"));
    EXPECT_THAT(adaptor.seen, ElementsAre("a", ""));
}

TEST(BinderAdaptor, TerminateUnregistersTheListenerOnce) {
    class Counting : public Adaptor {
      public:
        using Adaptor::Adaptor;
        void registerListener(Listener* listener) override {
            ++registrations;
            Adaptor::registerListener(listener);
        }
        int registrations = 0;
    };
    Journal journal;
    Counting adaptor(journal, &journal, 5);
    Binder& binder = adaptor;
    binder.terminate();
    binder.terminate();
    EXPECT_EQ(adaptor.registrations, 1);
    EXPECT_EQ(adaptor.listener(), nullptr);
    EXPECT_EQ(adaptor.addClient(party("a")), Binder::BINDER_SUCCESS);
    EXPECT_THAT(journal.take(), ElementsAre("stored [a]"));
}

TEST(BinderAdaptor, TerminateStopsNothingButASecondTerminate) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    adaptor.terminate();
    adaptor.registerListener(&journal);
    adaptor.terminate();
    EXPECT_EQ(adaptor.listener(), &journal);
    adaptor.addClient(party("a"));
    EXPECT_THAT(journal.take(), ElementsAre("bind a", "stored [a]", "changed [a]"));
}

TEST(BinderAdaptor, AClientThatCannotBeStoredIsNotBound) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 2);
    adaptor.addClient(party("a"));
    journal.take();
    journal.full = true;
    for (const char* name : {"b", "c", "b"}) {
        EXPECT_THROW_TEXT(adaptor.addClient(party(name)), std::runtime_error, "no space");
        EXPECT_FALSE(adaptor.isRegistered(uuidOf(name)));
        EXPECT_EQ(journal.take().size(), 2U) << "asked and tried, but not announced";
    }
    EXPECT_TRUE(adaptor.isRegistered(uuidOf("a")));
    journal.full = false;
    EXPECT_EQ(adaptor.addClient(party("c")), Binder::BINDER_SUCCESS) << "there is room for it";
    EXPECT_THAT(journal.take(), ElementsAre("bind c", "stored [a c]", "changed [a c]"));
}

TEST(BinderAdaptor, AClientWhoseAnnouncementThrowsIsBoundAndStored) {
    class Announcing : public Adaptor {
      public:
        using Adaptor::Adaptor;
        void notifyClientsListChange(const BinderClientsList&) override {
            throw std::runtime_error("no listener");
        }
    };
    Journal journal;
    Announcing adaptor(journal, nullptr, 5);
    EXPECT_THROW_TEXT(adaptor.addClient(party("a")), std::runtime_error, "no listener");
    EXPECT_TRUE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_EQ(namesIn(journal.stored), "a");
}

TEST(BinderAdaptor, AFailingDatabaseDoesNotUndoARemoval) {
    Journal journal;
    Adaptor adaptor(journal, &journal, 5);
    adaptor.addClient(party("a"));
    journal.take();
    journal.full = true;
    EXPECT_THROW_TEXT(adaptor.removeClient(uuidOf("a")), std::runtime_error, "no space");
    EXPECT_FALSE(adaptor.isRegistered(uuidOf("a")));
    EXPECT_THAT(journal.take(), ElementsAre("unbind a", "stored []"));
}

TEST(BinderAdaptor, TheListenerMayBeReplacedFromAnotherThread) {
    Journal journal;
    Adaptor adaptor(journal, nullptr, 5);
    std::thread other([&] {
        for (int round = 0; round < 1000; ++round) {
            adaptor.registerListener(nullptr);
            adaptor.registerListener(&journal);
        }
    });
    for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(adaptor.addClient(party("a")), Binder::BINDER_SUCCESS);
        EXPECT_EQ(adaptor.removeClient(uuidOf("a")), Binder::BINDER_SUCCESS);
    }
    other.join();
    EXPECT_EQ(adaptor.listener(), &journal);
}

}  // namespace
