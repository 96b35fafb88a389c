// SPDX-License-Identifier: MIT
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/service/ServiceStatus.h>

namespace {

using namespace vorn::common::communication;

template <class Enum>
struct Row {
    std::uint32_t number;
    Enum value;
    const char* text;
};

constexpr Row<ComState> kStates[] = {
    {0, ComState::Unknown, "unknown"},
    {1, ComState::None, "none"},
    {2, ComState::Ok, "ok"},
    {3, ComState::Lost, "lost"},
    {4, ComState::NoContact, "no contact"},
    {5, ComState::ConnectionFailed, "connection failed"},
    {6, ComState::Error, "error"},
    {7, ComState::Establishing, "establishing"},
};

constexpr Row<Reason> kReasons[] = {
    {0, Reason::None, "none"},
    {1, Reason::Unknown, "unknown"},
    {2, Reason::ServiceIsDisabled, "service is disabled"},
    {3, Reason::ConnectionInProgress, "connection in progress"},
    {4, Reason::ConnectionInterrupted, "connection interrupted"},
    {5, Reason::PendingApproval, "pending approval"},
    {6, Reason::NoNetworkLink, "no network link"},
    {7, Reason::PingFailed, "ping failed"},
    {8, Reason::PacketLoss, "packet loss"},
    {9, Reason::DnsServerUnreachable, "DNS server unreachable"},
    {10, Reason::HostnameUnresolved, "hostname unresolved"},
    {11, Reason::HostUnreachable, "host unreachable"},
    {12, Reason::ServiceUnavailable, "service unavailable"},
    {13, Reason::ProxyPingFailed, "proxy ping failed"},
    {14, Reason::ProxyHostnameUnresolved, "proxy hostname unresolved"},
    {15, Reason::ProxyUnreachable, "proxy unreachable"},
    {16, Reason::TlsConnectionError, "tls connection error"},
    {17, Reason::TlsCertificateVerificationFailed, "tls certificate verification failed"},
    {18, Reason::TlsCertificateFileError, "tls certificate file error"},
    {19, Reason::TlsLocalCertificateError, "tls local certificate error"},
    {20, Reason::TlsCertificateIssuerError, "tls certificate issuer error"},
    {21, Reason::TlsClientCertificateRequired, "tls client certificate required"},
    {22, Reason::TlsCipherMismatch, "tls cipher mismatch"},
    {23, Reason::AuthenticationError, "authentication error"},
    {24, Reason::DefaultCredentialsRefused, "default credentials refused"},
    {25, Reason::ProxyAuthenticationError, "proxy authentication error"},
    {26, Reason::ProxyAuthenticationRequired, "proxy authentication required"},
    {27, Reason::UpgradeToWebsocketFailed, "upgrade to websocket failed"},
    {28, Reason::UnexpectedHttpResponseCode, "unexpected HTTP response code"},
    {29, Reason::SenderNotSpecified, "sender not specified"},
    {30, Reason::RecipientNotSpecified, "recipient not specified"},
};

template <class Enum, std::size_t N>
void expectTexts(const Row<Enum> (&rows)[N]) {
    static_assert(std::is_same_v<std::underlying_type_t<Enum>, std::uint32_t>);
    for (const auto& row : rows) {
        EXPECT_EQ(static_cast<std::uint32_t>(row.value), row.number) << row.text;
        EXPECT_EQ(toString(row.value), row.text);
        EXPECT_EQ(fromString<Enum>(row.text), row.value) << row.text;
    }
    for (const std::uint32_t other : {static_cast<std::uint32_t>(N), 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(toString(Enum(other)), "undefined") << other;
    }
}

TEST(CommunicationTexts, EveryStateIsWrittenAndReadByItsText) {
    expectTexts(kStates);
}

TEST(CommunicationTexts, EveryReasonIsWrittenAndReadByItsText) {
    expectTexts(kReasons);
}

TEST(CommunicationTexts, NoneAndUnknownAreReversedBetweenStatesAndReasons) {
    EXPECT_EQ(toString(ComState(0)), toString(Reason(1)));
    EXPECT_EQ(toString(ComState(1)), toString(Reason(0)));
}

TEST(CommunicationTexts, OtherTextsReadAsUnknown) {
    for (const char* text : {"", "OK", "Ok", " ok", "ok ", "undefined", "no  contact", "no_contact",
                             "establishin", "establishing2", "2", "dns server unreachable"}) {
        EXPECT_EQ(fromString<ComState>(text), ComState(0)) << text;
        EXPECT_EQ(fromString<Reason>(text), Reason(1)) << text;
    }
    EXPECT_EQ(fromString<ComState>("ping failed"), ComState::Unknown);
    EXPECT_EQ(fromString<Reason>("lost"), Reason::Unknown);
}

template <class Enum>
concept ReadableState = requires {
    vorn::common::communication::fromString<Enum>(std::string());
};
template <class Enum>
concept ReadableStatus = requires {
    vorn::common::service::fromString<Enum>(std::string());
};
static_assert(ReadableState<ComState> && ReadableState<Reason>);
static_assert(!ReadableState<vorn::common::service::HealthStatus> && !ReadableState<int>);
static_assert(ReadableStatus<vorn::common::service::OperatingStatus> &&
              ReadableStatus<vorn::common::service::HealthStatus>);
static_assert(!ReadableStatus<ComState> && !ReadableStatus<int>);

TEST(CommunicationTexts, CanBeReadBesideServiceStatuses) {
    using namespace vorn::common::service;
    EXPECT_EQ(fromString<ComState>("ok"), ComState::Ok);
    EXPECT_EQ(fromString<Reason>("ping failed"), Reason::PingFailed);
    EXPECT_EQ(fromString<HealthStatus>("ok"), HealthStatus::Ok);
    EXPECT_EQ(fromString<OperatingStatus>("in service"), OperatingStatus::InService);
}

TEST(CommunicationTexts, AStateIsStreamedAsItsText) {
    std::ostringstream out;
    out << ComState::ConnectionFailed << ',' << ComState(8);
    EXPECT_EQ(out.str(), "connection failed,undefined");
}

}  // namespace
