// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include <vorn/common/Binder.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/service/ServiceStatus.h>
#include <vorn/common/time/UnixTime.h>

#include "Jobs.h"
#include "Server.h"
#include "Settings.h"

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

// The lines that the service says. The README shows each.

/// A request that is understood and cannot be served now.
[[nodiscard]] std::string refusal(const std::string& reason);

/// A request that is not understood; `what` names the member or the place that is wrong.
[[nodiscard]] std::string complaint(const std::string& what);

[[nodiscard]] std::string accepted(const vorn::common::Uuid& uuid);

/// How a job ended, with what a program wrote.
[[nodiscard]] std::string resultLine(const JobEnd& end);

/// The answers to "result": the job runs, or it has ended.
[[nodiscard]] std::string runningAnswer(const std::string& uuid);
[[nodiscard]] std::string endedAnswer(const JobEnd& end);

/// The answer to "cancel".
[[nodiscard]] std::string cancelAnswer(const std::string& uuid);

/// The answer to "bind" and "unbind", with the server's time.
[[nodiscard]] std::string bindingAnswer(const std::string& kind, vorn::common::Binder::Error result,
                                        unsigned time);

/// Tells a bound client that the service has ended its binding.
[[nodiscard]] std::string unboundNotice();

/// Tells a client that the service closes its connection because nothing was said over it.
[[nodiscard]] std::string idleNotice();

/// The answer to "settings" and to "set".
[[nodiscard]] std::string settingsLine(const Settings& settings);

/// The answer to "status".
[[nodiscard]] std::string statusLine(const State& state);

/// One line for the log.
[[nodiscard]] std::string reportText(const State& state);

}  // namespace gateway
