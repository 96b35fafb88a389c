#pragma once

#include <vorn/common/Uuid.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/service/ServiceStatus.h>
#include <vorn/common/time/UnixTime.h>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "Jobs.h"
#include "Server.h"

namespace gateway {

/// A running script or program.
struct Job {
    ClientId client = 0;  ///< who asked for it; may be gone
    std::string description;
    bool isProgram = false;
    bool told = false;  ///< its end has been told, and its process is not gone yet
};

/// What the service knows of itself and tells in its status. Belongs to the command thread.
struct State {
    /// How many ends are kept for those who ask later.
    static constexpr std::size_t kMostEnds = 32;

    vorn::common::service::ServiceStatus service;
    vorn::common::communication::CommunicationStatus communication{
        vorn::common::communication::ComState::Establishing};
    std::map<std::string, Job> jobs;  ///< by the uuid's text
    std::deque<JobEnd> ends;          ///< the last ones, the newest behind
    unsigned jobLimit = 0;
    std::uint64_t scripts = 0;   ///< started since the service started
    std::uint64_t programs = 0;  ///< likewise
    unsigned heartbeatPeriod = 0;
    std::uint64_t heartbeats = 0;
    vorn::common::time::UnixTime lastHeartbeat = vorn::common::time::UnixTime::UNDEFINED;
    vorn::common::Uuid uuid;  ///< the service's identity
    std::size_t clients = 0;
    std::size_t boundClients = 0;
    std::size_t plugins = 0;
    bool pluginsMissing = false;
    std::string settingsTrouble;  ///< why settings cannot be stored, or were not found; empty: well
};

}  // namespace gateway
