#pragma once

#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Bindings.h"
#include "CommandThread.h"
#include "Configuration.h"
#include "FileCheck.h"
#include "Programs.h"
#include "Scripts.h"
#include "Server.h"
#include "SettingsFile.h"
#include "State.h"
#include "Vault.h"

namespace gateway {

/// The service. Whatever happens, on the server's loop, to scripts and programs or by a timer,
/// becomes a command on one thread, which alone keeps the state and decides the answers. So answers
/// leave in the order of the requests, and the state needs no lock.
class Service : private Server::Events, private vorn::common::BinderAdaptor::Listener {
  public:
    /// What the service is given. `checkedFiles` are looked after while it runs; `pluginsMissing`
    /// tells that a configured plug-in could not be loaded, which is a health of "warning".
    struct Parts {
        Configuration configuration;
        Plugins plugins;
        bool pluginsMissing = false;
        std::vector<std::string> checkedFiles;
    };

    /// Lifetime: `socket` and `stopSignal` must outlive the service.
    Service(Parts parts, const ListeningSocket& socket, const EventDescriptor& stopSignal);

    /// Serves until a stop signal, waits for what still runs, and returns.
    void run();

  private:
    using TimePoint = std::chrono::system_clock::time_point;

    // On other threads: each posts a command.
    void onLine(ClientId client, Line line) override;
    void onGone(ClientId client) override;
    void onAccepting(bool possible) override;
    void onStopSignal() override;

    // On the command thread, as everything below.
    void handle(ClientId client, const Line& line);
    void handle(ClientId client, RunRequest& request);
    void handle(ClientId client, ExecRequest& request);
    void handle(ClientId client, StatusRequest& request);
    void handle(ClientId client, SettingsRequest& request);
    void handle(ClientId client, SetRequest& request);
    void handle(ClientId client, BindRequest& request);
    void handle(ClientId client, UnbindRequest& request);
    vorn::common::Binder::Error onBindRequest(vorn::common::Bindable& client) override;
    void onUnbindRequest(vorn::common::Bindable& client) override;
    void onClientsListChange(const vorn::common::BinderClientsList& list) override;
    void change(const SetRequest& request);
    void addSecret(vorn::common::Script& script);
    void apply(const AdjustableValues& values);
    [[nodiscard]] std::optional<std::string> reasonToRefuse() const;
    void accept(ClientId client, const vorn::common::Uuid& uuid, const std::string& description);
    void onScriptEnd(const ScriptEnd& end);
    void onProgramEnd(const ProgramEnd& end);
    void onJobGone(const vorn::common::Uuid& uuid);
    void setAccepting(bool possible);
    void onHeartbeat();
    void onReport(TimePoint when);
    void onFileChanged(const std::string& file);
    void beginStop();
    void stopWhenIdle();
    void refreshState();

    const Parts parts_;
    const Vault vault_;
    SettingsFile settings_;
    SettingsBinderDb bindingsDb_;
    Bindings bindings_;
    State state_;
    bool stopping_ = false;

    // Above those that post to it, so that it outlives them.
    CommandThread commands_;
    Server server_;
    Scripts scripts_;
    Programs programs_;
    vorn::common::time::Timer heartbeat_;
    vorn::common::time::ClockAlignedTimer report_;
    std::optional<FileCheck> fileCheck_;
};

}  // namespace gateway
