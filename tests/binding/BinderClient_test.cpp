// SPDX-License-Identifier: MIT
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/BinderClient.h>

namespace {

using vorn::common::Bindable;
using vorn::common::BinderClient;
using vorn::common::BinderClientsList;
using vorn::common::Uuid;

class Party : public Bindable {
  public:
    Party(Uuid uuid, std::string interface) : uuid_(uuid), interface_(std::move(interface)) {}
    [[nodiscard]] const Uuid& uuid() const override { return uuid_; }
    [[nodiscard]] const std::string& interface() const override { return interface_; }

  private:
    Uuid uuid_;
    std::string interface_;
};

static_assert(std::is_base_of_v<Bindable, BinderClient>);
static_assert(!std::is_convertible_v<BinderClient*, Bindable*>);
static_assert(std::is_nothrow_move_constructible_v<BinderClient>);
static_assert(std::is_same_v<BinderClientsList, std::vector<BinderClient>>);
static_assert(std::is_abstract_v<Bindable> && std::has_virtual_destructor_v<Bindable>);

TEST(BinderClient, HoldsWhatItIsGiven) {
    const BinderClient client(Uuid::UNKNOWN, "power");
    EXPECT_EQ(client.uuid(), Uuid::UNKNOWN);
    EXPECT_EQ(client.interface(), "power");
}

TEST(BinderClient, CopiesAPartyThatMayGoAway) {
    auto party = std::make_unique<Party>(Uuid::VORN_NAMESPACE, "power");
    Bindable& bindable = *party;
    const BinderClient client(bindable);
    party.reset();
    EXPECT_EQ(client.uuid(), Uuid::VORN_NAMESPACE);
    EXPECT_EQ(client.interface(), "power");
}

TEST(BinderClient, ComparesUuidAndInterface) {
    const BinderClient client(Uuid::UNKNOWN, "power");
    EXPECT_TRUE(client == BinderClient(Uuid::UNKNOWN, "power"));
    EXPECT_FALSE(client == BinderClient(Uuid::UNKNOWN, "Power"));
    EXPECT_FALSE(client == BinderClient(Uuid::NIL, "power"));
    EXPECT_TRUE(client != BinderClient(Uuid::NIL, "power"));
}

TEST(BinderClientsList, PrintsTheFirstLineOnlyWhenEmpty) {
    std::ostringstream out;
    out << BinderClientsList();
    EXPECT_EQ(out.str(), "clientsList:\n");
}

TEST(BinderClientsList, PrintsEveryClientWithACommaAfterTheLastToo) {
    std::ostringstream out;
    out << BinderClientsList{{Uuid::VORN_NAMESPACE, "power"}, {Uuid::NIL, ""}};
    EXPECT_EQ(out.str(),
              "clientsList:\n"
              "\t[\n"
              "\t\tuuid = 933d6c80-dea9-8c6b-d111-8b3b46a181f1\n"
              "\t\tintf = power\n"
              "\t],\n"
              "\t[\n"
              "\t\tuuid = 00000000-0000-0000-0000-000000000000\n"
              "\t\tintf = \n"
              "\t],\n");
}

}  // namespace
