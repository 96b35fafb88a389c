// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include <vorn/common/BinderClient.h>
#include <vorn/common/settings/JsonSettings.h>

namespace gateway {

/// What a user may change while the service runs. Kept on disk.
struct AdjustableValues {
    static constexpr unsigned kMostHeartbeat = 3600;

    unsigned heartbeat = 10;  ///< seconds, 1 to `kMostHeartbeat`
    unsigned jobLimit = 4;    ///< at least 1; the configuration says how many at most
};

/// What the service counts since its first start ever. Kept on disk.
struct Counters {
    std::uint64_t starts = 0;
    std::uint64_t scripts = 0;
    std::uint64_t programs = 0;
};

/// The settings document, version "1":
///
///     {"version": "1", "settings": {"heartbeat": 10, "jobLimit": 4,
///      "starts": 3, "scripts": 120, "programs": 7,
///      "secret": "...", "boundClients": [{"uuid": "...", "interface": "gwctl"}]}}
///
/// A member that is missing keeps the value that it had, as does one that makes no sense, whose
/// name is noted: a service must start whatever happened to its file. A document of another
/// version, or without an object of settings, throws `std::runtime_error` and changes nothing.
class Settings : public vorn::common::settings::JsonSettings {
  public:
    AdjustableValues adjustable;
    Counters counters;
    std::string secret;                            ///< enciphered; empty: none
    vorn::common::BinderClientsList boundClients;  ///< who is bound, or was when it was killed

    std::string misread;  ///< the names of the members that made no sense, separated by blanks

    bool loadSettings(const std::string& version,
                      const vorn::common::lwjson::Deserializer& settings) override;
    [[nodiscard]] std::pair<std::string, vorn::common::lwjson::Serializer> saveSettings()
        const override;
};

}  // namespace gateway
