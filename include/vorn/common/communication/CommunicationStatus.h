// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <type_traits>

#include <vorn/common/export.h>
#include <vorn/common/time/UnixTime.h>

namespace vorn::common::communication {

/// The state of a communication link.
enum class ComState : std::uint32_t {
    Unknown = 0,           ///< nothing is known about it
    None = 1,              ///< there is no link, and none is wanted
    Ok = 2,                ///< it works
    Lost = 3,              ///< it worked, and no longer does
    NoContact = 4,         ///< the peer has not answered yet
    ConnectionFailed = 5,  ///< it could not be made
    Error = 6,             ///< it is there, but does not work
    Establishing = 7,      ///< it is being made
};

/// Why a link is in its state; each enumerator is its text, as in toString. Deliberate: 0 is "none"
/// and 1 is "unknown" here, the reverse of ComState.
enum class Reason : std::uint32_t {
    None = 0,
    Unknown = 1,
    ServiceIsDisabled = 2,
    ConnectionInProgress = 3,
    ConnectionInterrupted = 4,
    PendingApproval = 5,
    NoNetworkLink = 6,
    PingFailed = 7,
    PacketLoss = 8,
    DnsServerUnreachable = 9,
    HostnameUnresolved = 10,
    HostUnreachable = 11,
    ServiceUnavailable = 12,
    ProxyPingFailed = 13,
    ProxyHostnameUnresolved = 14,
    ProxyUnreachable = 15,
    TlsConnectionError = 16,
    TlsCertificateVerificationFailed = 17,
    TlsCertificateFileError = 18,
    TlsLocalCertificateError = 19,
    TlsCertificateIssuerError = 20,
    TlsClientCertificateRequired = 21,
    TlsCipherMismatch = 22,
    AuthenticationError = 23,
    DefaultCredentialsRefused = 24,
    ProxyAuthenticationError = 25,
    ProxyAuthenticationRequired = 26,
    UpgradeToWebsocketFailed = 27,
    UnexpectedHttpResponseCode = 28,
    SenderNotSpecified = 29,
    RecipientNotSpecified = 30,
};

/// Returns the state in words, as in "no contact" or "connection failed"; "undefined" for a value
/// that is not an enumerator.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(ComState state);

/// Returns the reason in words, as in "DNS server unreachable" or "unexpected HTTP response code";
/// "undefined" for a value that is not an enumerator.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(Reason reason);

/// Reads what toString writes, with regard to case. There are the two below and no other, so that
/// it can be called unqualified beside other namespaces' functions of this name.
template <class Enum>
requires(std::is_same_v<Enum, ComState> || std::is_same_v<Enum, Reason>) [[nodiscard]] Enum
    fromString(const std::string& text);

/// Any other text gives ComState::Unknown, which is 0.
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT ComState fromString<ComState>(const std::string& text);

/// Any other text gives Reason::Unknown, which is 1.
template <>
[[nodiscard]] VORN_GW_COMMON_EXPORT Reason fromString<Reason>(const std::string& text);

/// Writes toString(state).
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& out, ComState state);

/// A link's state, the reason for it, and since when both hold.
///
///     CommunicationStatus status(ComState::Establishing);
///     if (status.set(ComState::Ok)) {
///         publish(status);   // the state is new, and so is since()
///     }
///
/// A value: copies are independent. Threads: none of its own; one object, one thread at a time.
class VORN_GW_COMMON_EXPORT CommunicationStatus {
  public:
    /// Holds since now (with high precision), for Reason::None.
    explicit CommunicationStatus(ComState state);
    CommunicationStatus(ComState state, const time::UnixTime& since, Reason reason);

    /// Stores a new value, sets since() to now (with high precision) and returns true. A value that
    /// is already there changes nothing, since() included, and returns false.
    bool set(ComState state);
    bool set(Reason reason);

    [[nodiscard]] ComState state() const noexcept { return state_; }
    /// When the state or the reason last changed.
    [[nodiscard]] const time::UnixTime& since() const noexcept { return since_; }
    [[nodiscard]] Reason reason() const noexcept { return reason_; }

  private:
    ComState state_;
    time::UnixTime since_;
    Reason reason_;
};

/// Compares state, reason and the seconds of since(); its precision mark does not count.
/// Deliberate: the seconds a and b are equal when |a - b| is at most one machine epsilon
/// (2.220446049250313e-16) of the larger magnitude, or both are 0. So neighbouring doubles are
/// equal, an IEEE infinity is not equal to itself, and the relation is not transitive.
[[nodiscard]] VORN_GW_COMMON_EXPORT bool operator==(const CommunicationStatus& left,
                                                    const CommunicationStatus& right);

/// Writes four lines, the last one without its line end; the time is in its own stream form:
///
///     communication status:
///             state = no contact
///             since = 2023-11-14T22:13:20.250Z (1700000000.250000000)
///             reason = ping failed
///
/// Two tabs stand before each name.
VORN_GW_COMMON_EXPORT std::ostream& operator<<(std::ostream& out,
                                               const CommunicationStatus& status);

}  // namespace vorn::common::communication
