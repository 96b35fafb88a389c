// SPDX-License-Identifier: MIT
#include <cstring>

#include <gtest/gtest.h>

#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderProxy.h>
#include <vorn/common/BinderStubDb.h>
#include <vorn/common/IdentificationStubDb.h>

namespace {

using namespace vorn::common;

/// The place of a virtual operation in its class's table, as the C++ ABI keeps it in a pointer to
/// member: 0 and 1 are the destructor's.
template <class Member>
std::size_t slotOf(Member member) {
    struct {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } raw{};
    static_assert(sizeof raw == sizeof member);
    std::memcpy(&raw, &member, sizeof raw);
#if defined(__arm__)
    const auto offset = raw.pointer;
#else
    const auto offset = raw.pointer - 1;
#endif
    return static_cast<std::size_t>(offset) / sizeof(void*);
}

TEST(Slots, OfTheParties) {
    EXPECT_EQ(slotOf(&Bindable::uuid), 2u);
    EXPECT_EQ(slotOf(&Bindable::interface), 3u);
    EXPECT_EQ(slotOf(&Binder::syncTime), 2u);
    EXPECT_EQ(slotOf(&Binder::terminate), 3u);
}

TEST(Slots, OfTheProxy) {
    EXPECT_EQ(slotOf(&BinderProxy::terminate), 3u);
    EXPECT_EQ(slotOf(&BinderProxy::sendBindRequest), 4u);
    EXPECT_EQ(slotOf(&BinderProxy::sendUnbindRequest), 5u);
    EXPECT_EQ(slotOf(&BinderProxy::cancelRequest), 6u);
    EXPECT_EQ(slotOf(&BinderProxy::connect), 7u);
    EXPECT_EQ(slotOf(&BinderProxy::disconnect), 8u);
    EXPECT_EQ(slotOf(&BinderProxy::isConnected), 9u);
    EXPECT_EQ(slotOf(&BinderProxy::Listener::onBound), 2u);
    EXPECT_EQ(slotOf(&BinderProxy::Listener::onUnbound), 3u);
    EXPECT_EQ(slotOf(&BinderProxy::Listener::onCommunicationStatus), 4u);
}

TEST(Slots, OfTheAdaptor) {
    EXPECT_EQ(slotOf(&BinderAdaptor::terminate), 3u);
    EXPECT_EQ(slotOf(&BinderAdaptor::registerListener), 4u);
    EXPECT_EQ(slotOf(&BinderAdaptor::dropClient), 5u);
    EXPECT_EQ(slotOf(&BinderAdaptor::notifyClientsListChange), 6u);
    EXPECT_EQ(slotOf(&BinderAdaptor::Listener::onBindRequest), 2u);
    EXPECT_EQ(slotOf(&BinderAdaptor::Listener::onUnbindRequest), 3u);
    EXPECT_EQ(slotOf(&BinderAdaptor::Listener::onClientsListChange), 4u);
}

TEST(Slots, OfTheDatabases) {
    EXPECT_EQ(slotOf(&Db::uuid), 2u);
    EXPECT_EQ(slotOf(&BinderDb::getClientsList), 3u);
    EXPECT_EQ(slotOf(&BinderDb::updateClientsList), 4u);
    EXPECT_EQ(slotOf(&IdentificationDb::setFlag), 3u);
    EXPECT_EQ(slotOf(&IdentificationDb::load), 4u);
    EXPECT_EQ(slotOf(&IdentificationDb::store), 5u);
    EXPECT_EQ(slotOf(&IdentificationDb::firstUuid), 6u);
    EXPECT_EQ(slotOf(&IdentificationDb::secondUuid), 7u);
}

}  // namespace
