// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>

#include "Bindings.h"
#include "CommandThread.h"
#include "Configuration.h"
#include "Programs.h"
#include "Scripts.h"
#include "Server.h"
#include "SettingsFile.h"
#include "Vault.h"
#include "answers.h"

namespace gateway {

/// The service. Whatever happens, on the server's loop, to scripts and programs or by a timer,
/// becomes a command on one thread, which alone keeps the state and decides the answers. So answers
/// leave in the order of the requests, and the state needs no lock.
class Service : private Server::Events, private vorn::common::BinderAdaptor::Listener {
  public:
    /// What the service is given. `pluginsMissing` tells that a configured plug-in could not be
    /// loaded, which is a health of "warning".
    struct Parts {
        std::string configurationFile;  ///< read again on SIGHUP
        Configuration configuration;
        Plugins plugins;
        bool pluginsMissing = false;
    };

    /// Lifetime: what the sources refer to must outlive the service.
    Service(Parts parts, Server::Sources sources);

    /// Serves until a stop signal; then jobs have the configured time to end, or until a second
    /// signal, and are killed. False when the process of one cannot be ended, or the loop lacked
    /// memory: the object cannot then be destroyed either, and the caller leaves through _exit;
    /// also when an exception leaves it.
    [[nodiscard]] bool run();

  private:
    using TimePoint = std::chrono::system_clock::time_point;

    // On other threads: each posts a command.
    void onLine(ClientId client, const Peer& peer, Line line) override;
    void onGone(ClientId client) override;
    void onAccepting(bool possible) override;
    void onStopSignal(std::uint64_t times) override;
    void onReloadSignal() override;

    // On the command thread, as everything below.
    void handle(ClientId client, const Peer& peer, const Line& line);
    void handle(ClientId client, const Peer& peer, RunRequest& request);
    void handle(ClientId client, const Peer& peer, ExecRequest& request);
    void handle(ClientId client, const Peer& peer, StatusRequest& request);
    void handle(ClientId client, const Peer& peer, SettingsRequest& request);
    void handle(ClientId client, const Peer& peer, SetRequest& request);
    void handle(ClientId client, const Peer& peer, BindRequest& request);
    void handle(ClientId client, const Peer& peer, UnbindRequest& request);
    void handle(ClientId client, const Peer& peer, CancelRequest& request);
    void handle(ClientId client, const Peer& peer, ResultRequest& request);
    vorn::common::Binder::Error onBindRequest(vorn::common::Bindable& client) override;
    void onUnbindRequest(vorn::common::Bindable& client) override;
    void onClientsListChange(const vorn::common::BinderClientsList& list) override;
    void change(const SetRequest& request);
    void addSecret(vorn::common::Script& script);
    void apply(const AdjustableValues& values);
    void refuseWhenFull() const;
    void accept(ClientId client, const Peer& peer, const vorn::common::Uuid& uuid, Job job);
    void onJobEnd(const JobEnd& end);
    void onJobGone(const vorn::common::Uuid& uuid);
    [[nodiscard]] bool stopJob(const std::string& uuid, const Job& job);
    void setAccepting(bool possible);
    void setSettingsTrouble(const std::string& trouble);
    void onHeartbeat();
    void onReport(TimePoint when);
    void reload();
    void beginStop();
    void endJobs();
    void stopWhenIdle();
    void refreshState();

    const std::string configurationFile_;
    Configuration configuration_;
    const Plugins plugins_;
    const Vault vault_;

    // Above those that post to it, so that it outlives them.
    CommandThread commands_;
    SettingsFile settings_;
    SettingsBinderDb bindingsDb_;
    Bindings bindings_;
    State state_;
    bool stopping_ = false;
    bool ending_ = false;  // jobs are being killed
    unsigned endings_ = 0;
    bool abandoned_ = false;

    Server server_;
    Scripts scripts_;
    Programs programs_;
    vorn::common::time::Timer heartbeat_;
    vorn::common::time::Timer stopTimer_;
    vorn::common::time::ClockAlignedTimer report_;
};

}  // namespace gateway
