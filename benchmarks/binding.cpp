// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>

#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderProxy.h>
#include <vorn/common/BinderStubDb.h>

namespace {

using namespace vorn::common;

BinderClientsList clients(std::int64_t count) {
    BinderClientsList list;
    for (std::int64_t index = 0; index < count; ++index) {
        list.emplace_back(Uuid(Uuid::VORN_NAMESPACE, std::to_string(index)), "power");
    }
    return list;
}

void serializeList(benchmark::State& state) {
    const auto list = clients(state.range(0));
    std::string uuids;
    std::string interfaces;
    for (auto round : state) {
        BinderDb::serializeClientsList(list, uuids, interfaces);
        benchmark::DoNotOptimize(uuids);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(serializeList)->Name("serializeClientsList/vorn")->Arg(1)->Arg(64);

void deserializeList(benchmark::State& state) {
    std::string uuids;
    std::string interfaces;
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        uuids += (index == 0 ? "" : "+|") + Uuid(Uuid::VORN_NAMESPACE, "x").base64URL();
        interfaces += index == 0 ? "power" : "+|power";
    }
    BinderClientsList list;
    for (auto round : state) {
        BinderDb::deserializeClientList(uuids, interfaces, list);
        benchmark::DoNotOptimize(list);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(deserializeList)->Name("deserializeClientList/vorn")->Arg(1)->Arg(64);

class Party : public Bindable {
  public:
    explicit Party(const BinderClient& client)
        : uuid_(client.uuid()), interface_(client.interface()) {}
    [[nodiscard]] const Uuid& uuid() const override { return uuid_; }
    [[nodiscard]] const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

class Adaptor : public BinderAdaptor {
  public:
    using BinderAdaptor::BinderAdaptor;
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    void dropClient(const Uuid&) override {}
};

void addAndRemove(benchmark::State& state) {
    BinderStubDb db(Uuid::NIL);
    Adaptor adaptor(db, nullptr, 1000);
    for (const auto& client : clients(state.range(0))) {
        adaptor.addClient(std::make_shared<Party>(client));
    }
    const auto extra = std::make_shared<Party>(BinderClient(Uuid::UNKNOWN, "power"));
    for (auto round : state) {
        adaptor.addClient(extra);
        adaptor.removeClient(Uuid::UNKNOWN);
    }
}
BENCHMARK(addAndRemove)->Name("addClient+removeClient/vorn")->Arg(0)->Arg(64);

void isRegistered(benchmark::State& state) {
    BinderStubDb db(Uuid::NIL);
    Adaptor adaptor(db, nullptr, 1000);
    for (const auto& client : clients(64)) {
        adaptor.addClient(std::make_shared<Party>(client));
    }
    for (auto round : state) {
        benchmark::DoNotOptimize(adaptor.isRegistered(Uuid::UNKNOWN));
    }
}
BENCHMARK(isRegistered)->Name("isRegistered/vorn");

class Proxy : public BinderProxy {
  public:
    Proxy() : BinderProxy(Uuid::NIL, nullptr) {}
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    Error sendBindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    Error sendUnbindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    void cancelRequest() override {}
    void connect() override {}
    void disconnect() override {}
    [[nodiscard]] bool isConnected() const override { return true; }
};

void bindAndUnbind(benchmark::State& state) {
    Proxy proxy;
    for (auto round : state) {
        proxy.startBinding(Uuid::UNKNOWN);
        proxy.endBinding(Binder::BINDER_SUCCESS);
        proxy.startUnbinding();
        proxy.endUnbinding(Binder::BINDER_SUCCESS);
    }
}
BENCHMARK(bindAndUnbind)->Name("bind+unbind/vorn");

void reasonText(benchmark::State& state) {
    for (auto round : state) {
        benchmark::DoNotOptimize(toString(communication::Reason::RecipientNotSpecified));
    }
}
BENCHMARK(reasonText)->Name("toString(Reason)/vorn");

void readReason(benchmark::State& state) {
    const std::string text = "recipient not specified";
    for (auto round : state) {
        benchmark::DoNotOptimize(communication::fromString<communication::Reason>(text));
    }
}
BENCHMARK(readReason)->Name("fromString<Reason>/vorn");

}  // namespace
