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

/// Why a link is in its state; beside each enumerator its text. Deliberate: 0 is "none"
/// and 1 is "unknown" here, the reverse of ComState.
enum class Reason : std::uint32_t {
    None = 0,                               ///< "none"
    Unknown = 1,                            ///< "unknown"
    ServiceIsDisabled = 2,                  ///< "service is disabled"
    ConnectionInProgress = 3,               ///< "connection in progress"
    ConnectionInterrupted = 4,              ///< "connection interrupted"
    PendingApproval = 5,                    ///< "pending approval"
    NoNetworkLink = 6,                      ///< "no network link"
    PingFailed = 7,                         ///< "ping failed"
    PacketLoss = 8,                         ///< "packet loss"
    DnsServerUnreachable = 9,               ///< "DNS server unreachable"
    HostnameUnresolved = 10,                ///< "hostname unresolved"
    HostUnreachable = 11,                   ///< "host unreachable"
    ServiceUnavailable = 12,                ///< "service unavailable"
    ProxyPingFailed = 13,                   ///< "proxy ping failed"
    ProxyHostnameUnresolved = 14,           ///< "proxy hostname unresolved"
    ProxyUnreachable = 15,                  ///< "proxy unreachable"
    TlsConnectionError = 16,                ///< "tls connection error"
    TlsCertificateVerificationFailed = 17,  ///< "tls certificate verification failed"
    TlsCertificateFileError = 18,           ///< "tls certificate file error"
    TlsLocalCertificateError = 19,          ///< "tls local certificate error"
    TlsCertificateIssuerError = 20,         ///< "tls certificate issuer error"
    TlsClientCertificateRequired = 21,      ///< "tls client certificate required"
    TlsCipherMismatch = 22,                 ///< "tls cipher mismatch"
    AuthenticationError = 23,               ///< "authentication error"
    DefaultCredentialsRefused = 24,         ///< "default credentials refused"
    ProxyAuthenticationError = 25,          ///< "proxy authentication error"
    ProxyAuthenticationRequired = 26,       ///< "proxy authentication required"
    UpgradeToWebsocketFailed = 27,          ///< "upgrade to websocket failed"
    UnexpectedHttpResponseCode = 28,        ///< "unexpected HTTP response code"
    SenderNotSpecified = 29,                ///< "sender not specified"
    RecipientNotSpecified = 30,             ///< "recipient not specified"
};

/// Returns the state in words, as in "no contact" or "connection failed"; "undefined" for a value
/// that is not an enumerator.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(ComState state);

/// Returns the reason in words, as in "DNS server unreachable" or "unexpected HTTP response code";
/// "undefined" for a value that is not an enumerator.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::string toString(Reason reason);

/// Reads what toString writes, with regard to case. There are the two below and no other, so that
/// it can be called unqualified beside other namespaces' functions of this name.
// Not a requires clause: compilers differ in whether it is part of an exported function's symbol.
template <class Enum,
          std::enable_if_t<std::is_same_v<Enum, ComState> || std::is_same_v<Enum, Reason>, int> = 0>
[[nodiscard]] Enum fromString(const std::string& text);

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
    /// All three as given, for a status that was stored or received.
    CommunicationStatus(ComState state, const time::UnixTime& since, Reason reason);

    /// Stores a new value, sets since() to now (with high precision) and returns true. A value that
    /// is already there changes nothing, since() included, and returns false.
    /// @{
    bool set(ComState state);
    bool set(Reason reason);
    /// @}

    /// In force since since().
    [[nodiscard]] ComState state() const noexcept { return state_; }
    /// When the state or the reason last changed.
    [[nodiscard]] const time::UnixTime& since() const noexcept { return since_; }
    /// Reason::None until one is set.
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
