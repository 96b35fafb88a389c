// SPDX-License-Identifier: MIT
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binding/proxy.h"

namespace {

using namespace binding;

enum State { I, K, B, O, U, BU, KU, NU };
enum Operation { StartBinding, BindOk, BindError, StartUnbinding, UnbindOk, UnbindError };

constexpr const char* kStates[] = {"I", "K", "B", "O", "U", "BU", "KU", "NU"};
constexpr const char* kOperations[] = {"startBinding",          "endBinding(success)",
                                       "endBinding(error)",     "startUnbinding",
                                       "endUnbinding(success)", "endUnbinding(error)"};

std::optional<Binder::Error> apply(BinderProxy& proxy, Operation operation,
                                   const Uuid& server = kServer) {
    switch (operation) {
        case StartBinding:
            return proxy.startBinding(server);
        case BindOk:
            proxy.endBinding(Binder::BINDER_SUCCESS);
            return std::nullopt;
        case BindError:
            proxy.endBinding(Binder::BINDER_ERROR_TIMEOUT);
            return std::nullopt;
        case StartUnbinding:
            return proxy.startUnbinding();
        case UnbindOk:
            proxy.endUnbinding(Binder::BINDER_SUCCESS);
            return std::nullopt;
        case UnbindError:
            proxy.endUnbinding(Binder::BINDER_ERROR_TIMEOUT);
            return std::nullopt;
    }
    return std::nullopt;
}

std::vector<Operation> wayTo(State state) {
    switch (state) {
        case I:
            return {};
        case K:
            return {StartBinding, UnbindError};
        case B:
            return {StartBinding};
        case O:
            return {StartBinding, BindOk};
        case U:
            return {StartBinding, BindOk, StartUnbinding};
        case BU:
            return {StartBinding, StartUnbinding};
        case KU:
            return {StartBinding, UnbindError, StartUnbinding};
        case NU:
            return {StartBinding, StartUnbinding, BindError};
    }
    return {};
}

bool hasServer(State state) {
    return state != I && state != NU;
}

bool isBound(State state) {
    return state == O || state == U;
}

bool isBinding(State state) {
    return state == B || state == BU;
}

bool isUnbinding(State state) {
    return state == U || state == BU || state == KU || state == NU;
}

ComState communicationIn(State state) {
    return isBound(state) ? ComState::Ok : isBinding(state) ? ComState::NoContact : ComState::None;
}

void expectState(BinderProxy& proxy, Recorder& recorder, State state,
                 const std::string& server = "server") {
    EXPECT_EQ(nameOf(proxy.serverUuid()), hasServer(state) ? server : "nil");
    EXPECT_EQ(nameOf(proxy.getBoundUuid()), isBound(state) ? server : "nil");
    EXPECT_EQ(proxy.communicationStatus().state(), communicationIn(state));
    // The flags show in what the next steps do.
    recorder.take();
    EXPECT_EQ(proxy.startUnbinding() == Binder::BINDER_ERROR_BUSY, isUnbinding(state));
    proxy.endBinding(Binder::BINDER_ERROR_ABORTED);
    EXPECT_THAT(recorder.take(),
                testing::ElementsAre("bound " + (isBinding(state) ? server : "nil") +
                                     " false BINDER_ERROR_ABORTED"));
}

struct Cell {
    State state;
    Operation operation;
    State next;
    std::optional<Binder::Error> result;
    std::vector<std::string> calls;
};

const std::optional<Binder::Error> kNone;
constexpr auto kOk = Binder::BINDER_SUCCESS;
constexpr auto kBusy = Binder::BINDER_ERROR_BUSY;

const std::vector<std::string> kNilBoundOk{"bound nil false BINDER_SUCCESS"};
const std::vector<std::string> kNilBoundError{"bound nil false BINDER_ERROR_TIMEOUT"};
const std::vector<std::string> kBound{"status server ok", "bound server true BINDER_SUCCESS"};
const std::vector<std::string> kNotBound{"bound server false BINDER_ERROR_TIMEOUT"};
const std::vector<std::string> kUnbound{"unbound server false BINDER_SUCCESS"};
const std::vector<std::string> kUnboundError{"unbound server false BINDER_ERROR_TIMEOUT"};
const std::vector<std::string> kNilUnbound{"unbound nil false BINDER_SUCCESS"};
const std::vector<std::string> kNilUnboundError{"unbound nil false BINDER_ERROR_TIMEOUT"};
const std::vector<std::string> kStillBound{"unbound server true BINDER_ERROR_TIMEOUT"};

const Cell kCells[] = {
    {I, StartBinding, B, kOk, {}},
    {I, BindOk, I, kNone, kNilBoundOk},
    {I, BindError, I, kNone, kNilBoundError},
    {I, StartUnbinding, I, Binder::BINDER_ERROR_NOT_BOUND, {}},
    {I, UnbindOk, I, kNone, kNilUnbound},
    {I, UnbindError, I, kNone, kNilUnboundError},

    {K, StartBinding, B, kOk, {}},
    {K, BindOk, K, kNone, kNilBoundOk},
    {K, BindError, K, kNone, kNilBoundError},
    {K, StartUnbinding, KU, kOk, {}},
    {K, UnbindOk, I, kNone, kUnbound},
    {K, UnbindError, K, kNone, kUnboundError},

    {B, StartBinding, B, kBusy, {}},
    {B, BindOk, O, kNone, kBound},
    {B, BindError, I, kNone, kNotBound},
    {B, StartUnbinding, BU, kOk, {}},
    {B, UnbindOk, I, kNone, kUnbound},
    {B, UnbindError, K, kNone, kUnboundError},

    {O, StartBinding, O, Binder::BINDER_ERROR_ALREADY_BOUND, {}},
    {O, BindOk, O, kNone, kNilBoundOk},
    {O, BindError, O, kNone, kNilBoundError},
    {O, StartUnbinding, U, kOk, {}},
    {O, UnbindOk, I, kNone, kUnbound},
    {O, UnbindError, O, kNone, kStillBound},

    {U, StartBinding, U, kBusy, {}},
    {U, BindOk, U, kNone, kNilBoundOk},
    {U, BindError, U, kNone, kNilBoundError},
    {U, StartUnbinding, U, kBusy, {}},
    {U, UnbindOk, I, kNone, kUnbound},
    {U, UnbindError, O, kNone, kStillBound},

    {BU, StartBinding, BU, kBusy, {}},
    {BU, BindOk, U, kNone, kBound},
    {BU, BindError, NU, kNone, kNotBound},
    {BU, StartUnbinding, BU, kBusy, {}},
    {BU, UnbindOk, I, kNone, kUnbound},
    {BU, UnbindError, K, kNone, kUnboundError},

    {KU, StartBinding, KU, kBusy, {}},
    {KU, BindOk, KU, kNone, kNilBoundOk},
    {KU, BindError, KU, kNone, kNilBoundError},
    {KU, StartUnbinding, KU, kBusy, {}},
    {KU, UnbindOk, I, kNone, kUnbound},
    {KU, UnbindError, K, kNone, kUnboundError},

    {NU, StartBinding, NU, kBusy, {}},
    {NU, BindOk, NU, kNone, kNilBoundOk},
    {NU, BindError, NU, kNone, kNilBoundError},
    {NU, StartUnbinding, NU, kBusy, {}},
    {NU, UnbindOk, I, kNone, kNilUnbound},
    {NU, UnbindError, I, kNone, kNilUnboundError},
};

void prepare(Proxy& proxy, Recorder& recorder, State state) {
    for (const auto operation : wayTo(state)) {
        apply(proxy, operation);
    }
    recorder.take();
}

TEST(BinderProxyStates, EveryCellOfTheTable) {
    EXPECT_EQ(std::size(kCells), std::size(kStates) * std::size(kOperations));
    for (const auto& cell : kCells) {
        SCOPED_TRACE(std::string(kStates[cell.state]) + ", " + kOperations[cell.operation]);
        Recorder recorder;
        Proxy proxy(&recorder);
        recorder.proxy = &proxy;
        prepare(proxy, recorder, cell.state);
        EXPECT_EQ(apply(proxy, cell.operation), cell.result);
        EXPECT_EQ(recorder.take(), cell.calls);
        EXPECT_FALSE(recorder.calledUnderTheMutex);
        EXPECT_EQ(proxy.transportCalls, 0);
        expectState(proxy, recorder, cell.next);
    }
}

TEST(BinderProxyStates, EveryWayLeadsToItsState) {
    for (const State state : {I, K, B, O, U, BU, KU, NU}) {
        SCOPED_TRACE(kStates[state]);
        Recorder recorder;
        Proxy proxy(&recorder);
        prepare(proxy, recorder, state);
        expectState(proxy, recorder, state);
    }
}

TEST(BinderProxyStates, WorkWithoutAListener) {
    for (const auto& cell : kCells) {
        SCOPED_TRACE(std::string(kStates[cell.state]) + ", " + kOperations[cell.operation]);
        Recorder recorder;
        Proxy proxy;
        prepare(proxy, recorder, cell.state);
        EXPECT_EQ(apply(proxy, cell.operation), cell.result);
        proxy.registerListener(&recorder);
        expectState(proxy, recorder, cell.next);
    }
}

TEST(BinderProxyStates, AFailedUnbindingWhileNotBoundKeepsTheServerUntilTheNextBinding) {
    Recorder recorder;
    Proxy proxy(&recorder);
    prepare(proxy, recorder, K);
    EXPECT_EQ(nameOf(proxy.serverUuid()), "server");
    EXPECT_EQ(proxy.startBinding(kOther), Binder::BINDER_SUCCESS);
    expectState(proxy, recorder, B, "other");
}

TEST(BinderProxyStates, ARefusedStartKeepsTheServer) {
    for (const State state : {B, O, U, BU, KU}) {
        Recorder recorder;
        Proxy proxy(&recorder);
        prepare(proxy, recorder, state);
        EXPECT_NE(proxy.startBinding(kOther), Binder::BINDER_SUCCESS);
        expectState(proxy, recorder, state);
    }
}

TEST(BinderProxyStates, BindingToTheNilUuidIsReportedAsBoundButIsNot) {
    Recorder recorder;
    Proxy proxy(&recorder);
    EXPECT_EQ(proxy.startBinding(Uuid::NIL), Binder::BINDER_SUCCESS);
    proxy.endBinding(Binder::BINDER_SUCCESS);
    EXPECT_THAT(recorder.take(), testing::ElementsAre("bound nil true BINDER_SUCCESS"));
    EXPECT_TRUE(proxy.getBoundUuid().isNil());
    EXPECT_EQ(proxy.communicationStatus().state(), ComState::Ok);
}

}  // namespace
