// SPDX-License-Identifier: MIT
#include "vorn/common/communication/CommunicationStatus.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>

#include "internal/EnumTexts.h"

namespace vorn::common::communication {
namespace {

using internal::EnumText;

constexpr std::array<EnumText<ComState>, 8> kStates{{
    {ComState::Unknown, "unknown"},
    {ComState::None, "none"},
    {ComState::Ok, "ok"},
    {ComState::Lost, "lost"},
    {ComState::NoContact, "no contact"},
    {ComState::ConnectionFailed, "connection failed"},
    {ComState::Error, "error"},
    {ComState::Establishing, "establishing"},
}};

constexpr std::array<EnumText<Reason>, 31> kReasons{{
    {Reason::None, "none"},
    {Reason::Unknown, "unknown"},
    {Reason::ServiceIsDisabled, "service is disabled"},
    {Reason::ConnectionInProgress, "connection in progress"},
    {Reason::ConnectionInterrupted, "connection interrupted"},
    {Reason::PendingApproval, "pending approval"},
    {Reason::NoNetworkLink, "no network link"},
    {Reason::PingFailed, "ping failed"},
    {Reason::PacketLoss, "packet loss"},
    {Reason::DnsServerUnreachable, "DNS server unreachable"},
    {Reason::HostnameUnresolved, "hostname unresolved"},
    {Reason::HostUnreachable, "host unreachable"},
    {Reason::ServiceUnavailable, "service unavailable"},
    {Reason::ProxyPingFailed, "proxy ping failed"},
    {Reason::ProxyHostnameUnresolved, "proxy hostname unresolved"},
    {Reason::ProxyUnreachable, "proxy unreachable"},
    {Reason::TlsConnectionError, "tls connection error"},
    {Reason::TlsCertificateVerificationFailed, "tls certificate verification failed"},
    {Reason::TlsCertificateFileError, "tls certificate file error"},
    {Reason::TlsLocalCertificateError, "tls local certificate error"},
    {Reason::TlsCertificateIssuerError, "tls certificate issuer error"},
    {Reason::TlsClientCertificateRequired, "tls client certificate required"},
    {Reason::TlsCipherMismatch, "tls cipher mismatch"},
    {Reason::AuthenticationError, "authentication error"},
    {Reason::DefaultCredentialsRefused, "default credentials refused"},
    {Reason::ProxyAuthenticationError, "proxy authentication error"},
    {Reason::ProxyAuthenticationRequired, "proxy authentication required"},
    {Reason::UpgradeToWebsocketFailed, "upgrade to websocket failed"},
    {Reason::UnexpectedHttpResponseCode, "unexpected HTTP response code"},
    {Reason::SenderNotSpecified, "sender not specified"},
    {Reason::RecipientNotSpecified, "recipient not specified"},
}};

// Relative, because the seconds of today leave a double a quarter of a microsecond: an absolute
// limit would be wrong at one end of the range or the other.
bool nearlyEqual(double left, double right) {
    const double magnitude = std::max(std::fabs(left), std::fabs(right));
    return magnitude == 0.0 ||
           std::fabs(left - right) / magnitude <= std::numeric_limits<double>::epsilon();
}

}  // namespace

std::string toString(ComState state) {
    return internal::textOf(kStates, state, "undefined");
}

std::string toString(Reason reason) {
    return internal::textOf(kReasons, reason, "undefined");
}

template <>
ComState fromString<ComState>(const std::string& text) {
    return internal::valueOf(kStates, text, ComState::Unknown);
}

template <>
Reason fromString<Reason>(const std::string& text) {
    return internal::valueOf(kReasons, text, Reason::Unknown);
}

std::ostream& operator<<(std::ostream& out, ComState state) {
    return out << toString(state);
}

CommunicationStatus::CommunicationStatus(ComState state)
    : CommunicationStatus(state, time::UnixTime::nowWithHighPrecision(), Reason::None) {}

CommunicationStatus::CommunicationStatus(ComState state, const time::UnixTime& since, Reason reason)
    : state_(state), since_(since), reason_(reason) {}

bool CommunicationStatus::set(ComState state) {
    if (state == state_) {
        return false;
    }
    // Only a change moves the time: "since" tells how long a state has lasted.
    state_ = state;
    since_ = time::UnixTime::nowWithHighPrecision();
    return true;
}

bool CommunicationStatus::set(Reason reason) {
    if (reason == reason_) {
        return false;
    }
    reason_ = reason;
    since_ = time::UnixTime::nowWithHighPrecision();
    return true;
}

bool operator==(const CommunicationStatus& left, const CommunicationStatus& right) {
    return left.state() == right.state() && left.reason() == right.reason() &&
           nearlyEqual(left.since().seconds(), right.since().seconds());
}

std::ostream& operator<<(std::ostream& out, const CommunicationStatus& status) {
    return out << "communication status:\n"
               << "\t\tstate = " << status.state() << "\n"
               << "\t\tsince = " << status.since() << "\n"
               << "\t\treason = " << toString(status.reason());
}

}  // namespace vorn::common::communication
