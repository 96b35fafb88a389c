// SPDX-License-Identifier: MIT
#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderProxy.h>
#include <vorn/common/BinderStubDb.h>
#include <vorn/common/IdentificationStubDb.h>

#include "helpers/layout.h"

using namespace vorn::common;
using communication::CommunicationStatus;
using vorn::common::conv::Identification;

template struct helpers::Fields<BinderClient, &BinderClient::uuid_, &BinderClient::interface_>;
template struct helpers::Fields<
    BinderProxy, &BinderProxy::uuid_, &BinderProxy::mutex_, &BinderProxy::serverUuid_,
    &BinderProxy::boundUuid_, &BinderProxy::binding_, &BinderProxy::unbinding_,
    &BinderProxy::terminated_, &BinderProxy::listener_, &BinderProxy::status_>;
template struct helpers::Fields<BinderAdaptor, &BinderAdaptor::mutex_, &BinderAdaptor::terminated_,
                                &BinderAdaptor::listener_, &BinderAdaptor::maxClients_,
                                &BinderAdaptor::clients_>;
template struct helpers::Fields<Identification, &Identification::uuid, &Identification::vendor,
                                &Identification::model, &Identification::serial,
                                &Identification::physicalName, &Identification::name,
                                &Identification::interface, &Identification::version,
                                &Identification::location, &Identification::contact>;
template struct helpers::Fields<CommunicationStatus, &CommunicationStatus::state_,
                                &CommunicationStatus::since_, &CommunicationStatus::reason_>;

namespace {

using helpers::slotOf;

TEST(BindingLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(5);
}

TEST(BindingLayout, SlotsOfTheParties) {
    EXPECT_EQ(slotOf(&Bindable::uuid), 2u);
    EXPECT_EQ(slotOf(&Bindable::interface), 3u);
    EXPECT_EQ(slotOf(&Binder::syncTime), 2u);
    EXPECT_EQ(slotOf(&Binder::terminate), 3u);
}

TEST(BindingLayout, SlotsOfTheProxy) {
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

TEST(BindingLayout, SlotsOfTheAdaptor) {
    EXPECT_EQ(slotOf(&BinderAdaptor::terminate), 3u);
    EXPECT_EQ(slotOf(&BinderAdaptor::registerListener), 4u);
    EXPECT_EQ(slotOf(&BinderAdaptor::dropClient), 5u);
    EXPECT_EQ(slotOf(&BinderAdaptor::notifyClientsListChange), 6u);
    EXPECT_EQ(slotOf(&BinderAdaptor::Listener::onBindRequest), 2u);
    EXPECT_EQ(slotOf(&BinderAdaptor::Listener::onUnbindRequest), 3u);
    EXPECT_EQ(slotOf(&BinderAdaptor::Listener::onClientsListChange), 4u);
}

TEST(BindingLayout, SlotsOfTheDatabases) {
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
