// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Log.h"

namespace gateway {

/// What gatewayd is told when it starts: a JSON document (the README names every member). Relative
/// paths are relative to the directory in which the service was started.
struct Configuration {
    std::string socket;                 ///< path of the socket; default: `defaultSocket()`
    std::string settings;               ///< path of the settings; default: named like the socket
    std::string user;                   ///< whom to become when started as root; empty: nobody
    std::string group;                  ///< given if and only if `user` is
    std::string capabilities;           ///< capability names to keep, separated by spaces
    std::string plugins;                ///< plug-in configuration file; empty: none
    unsigned jobLimit = 4;              ///< the most that the setting of this name may be
    unsigned longestTimeout = 3600;     ///< seconds that a request may ask for at most
    unsigned stopTime = 30;             ///< seconds that jobs may go on after a stop signal
    unsigned clientLimit = 64;          ///< connections at once
    unsigned clientsPerUser = 48;       ///< of one user; default: three quarters of the limit
    unsigned idle = 300;                ///< seconds after which a silent connection is closed
    unsigned bindingLimit = 8;          ///< bound clients at once
    unsigned report = 900;              ///< seconds; a report is made at multiples past midnight
    unsigned settingsDelay = 60;        ///< seconds after which counters are on disk
    log::Level log = log::Level::Info;  ///< the least important lines that are logged
};

/// Reads a configuration file. Throws `std::runtime_error` naming the file and what is wrong: it
/// cannot be read (and why), holds anything but one JSON object, or has a member that does not
/// exist, lacks one, or has one of the wrong type or out of its range (in the file's own words).
[[nodiscard]] Configuration loadConfiguration(const std::string& path);

/// The names of what differs and needs another start, separated by commas; empty when nothing does.
[[nodiscard]] std::string fixedDifferences(const Configuration& now, const Configuration& next);

}  // namespace gateway
