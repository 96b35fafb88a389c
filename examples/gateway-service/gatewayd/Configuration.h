#pragma once

#include <string>

namespace gateway {

/// What gatewayd is told when it starts: a JSON document, read once (see the README for an
/// example). Relative paths are relative to the directory in which the service was started.
struct Configuration {
    std::string socket;              ///< path of the socket; mandatory
    std::string settings;            ///< path of the settings; default: beside the socket
    std::string user;                ///< whom to become when started as root; empty: nobody
    std::string group;               ///< given if and only if `user` is
    std::string capabilities;        ///< capability names to keep, separated by spaces
    std::string plugins;             ///< plug-in configuration file; empty: none
    unsigned jobLimit = 4;           ///< the most that the setting of this name may be
    unsigned longestTimeout = 3600;  ///< seconds that a request may ask for at most
    unsigned clientLimit = 64;       ///< connections at once
    unsigned bindingLimit = 8;       ///< bound clients at once
    unsigned report = 900;           ///< seconds; a report is made at multiples of it past midnight
    unsigned maintenanceShare = 0;   ///< percent of a processor for the file check; 0: none
};

/// Reads a configuration file. Throws `std::runtime_error` naming the file and what is wrong: it
/// cannot be read, is no JSON object, has an argument that does not exist, lacks one, or has one of
/// the wrong type or out of its range.
[[nodiscard]] Configuration loadConfiguration(const std::string& path);

}  // namespace gateway
