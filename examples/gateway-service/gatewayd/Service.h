#pragma once

#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/service/ServiceStatus.h>
#include <map>
#include <memory>
#include <string>

#include "CommandThread.h"
#include "Configuration.h"
#include "Scripts.h"
#include "Server.h"

namespace gateway {

/// The service: what arrives on the server's loop and what happens to scripts becomes a command on
/// one thread, which alone keeps the state and decides the answers. So answers leave in the order
/// of the requests, and nothing below needs a lock.
class Service : private Server::Events {
  public:
    using Plugins = std::map<std::string, std::shared_ptr<vorn::common::DynamicLibrary>>;

    /// `pluginsMissing`: a configured plug-in could not be loaded; the service then reports the
    /// health "warning".
    Service(const Configuration& configuration, Plugins plugins, bool pluginsMissing,
            const ListeningSocket& socket, const EventDescriptor& stopSignal);

    /// Serves until a stop signal, waits for running scripts, and returns.
    void run();

  private:
    struct Job {
        ClientId client;
        std::string description;
    };

    // On the server's loop: posts a command.
    void onLine(ClientId client, Line line) override;
    void onGone(ClientId client) override;
    void onAccepting(bool possible) override;
    void onStopSignal() override;

    // On the command thread, as everything below.
    void handle(ClientId client, const Line& line);
    void handle(ClientId client, RunRequest& request);
    void handle(ClientId client, StatusRequest& request);
    void onScriptEnd(const ScriptEnd& end);
    void onScriptFree(const vorn::common::Uuid& uuid);
    void setAccepting(bool possible);
    void beginStop();
    void stopWhenIdle();
    [[nodiscard]] std::string statusLine() const;

    const Configuration configuration_;
    const Plugins plugins_;
    Server server_;
    CommandThread commands_;

    vorn::common::service::ServiceStatus status_;
    vorn::common::communication::CommunicationStatus communication_;
    std::map<std::string, Job> jobs_;  // by the uuid's text
    bool stopping_ = false;

    Scripts scripts_;
};

}  // namespace gateway
