// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>

#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderDb.h>

#include "Server.h"
#include "SettingsFile.h"

namespace gateway {

/// The list of bound clients in the settings file. Kept as JSON rather than as the two strings of
/// `BinderDb::serializeClientsList`, which come back complete for one client only.
class SettingsBinderDb : public vorn::common::BinderDb {
  public:
    /// Lifetime: `settings` must outlive the database.
    SettingsBinderDb(const vorn::common::Uuid& owner, SettingsFile& settings)
        : BinderDb(owner), settings_(settings) {}

    void getClientsList(vorn::common::BinderClientsList& list) override;
    void updateClientsList(const vorn::common::BinderClientsList& list) override;

  private:
    SettingsFile& settings_;
};

/// The server's end of the bindings: which client is bound over which connection. A binding ends
/// with its connection; a client that wants to stay bound binds again.
///
/// Threads: one at a time.
class Bindings : public vorn::common::BinderAdaptor {
  public:
    /// `onDrop` is called when the service ends a binding, with the client's connection.
    /// Lifetime: `db` and `listener` must outlive this object.
    Bindings(vorn::common::BinderDb& db, Listener* listener, unsigned most,
             std::function<void(ClientId)> onDrop);

    /// A connection carries one binding at most.
    [[nodiscard]] Error bind(ClientId connection, const vorn::common::Uuid& client,
                             const std::string& interface);
    [[nodiscard]] Error unbind(ClientId connection);
    void onConnectionGone(ClientId connection);
    /// Ends every binding from this side.
    void dropAll();

    /// Seconds since the epoch: the time base of all clients.
    [[nodiscard]] unsigned syncTime() const override;
    void dropClient(const vorn::common::Uuid& client) override;

  private:
    std::function<void(ClientId)> onDrop_;
    std::map<ClientId, vorn::common::Uuid> connections_;
};

}  // namespace gateway
