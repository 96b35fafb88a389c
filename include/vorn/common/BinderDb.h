// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <vorn/common/BinderClient.h>
#include <vorn/common/Db.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// Where a server's clients list is kept. A service derives it for its kind of storage and may use
/// the two helpers, which turn a list into two strings and back:
///
///     void updateClientsList(const BinderClientsList& list) override {
///         std::string uuids, interfaces;
///         serializeClientsList(list, uuids, interfaces);
///         settings.set("clients.uuids", uuids);
///         settings.set("clients.interfaces", interfaces);
///     }
///
/// Threads: the helpers from any thread; the rest as the deriving class says. BinderAdaptor calls
/// it without holding any lock.
class VORN_GW_COMMON_EXPORT BinderDb : public Db {
  public:
    /// Copies the owner's uuid.
    explicit BinderDb(const Uuid& owner);
    ~BinderDb() override;

    /// Replaces the content of `list` with the stored clients.
    virtual void getClientsList(BinderClientsList& list) = 0;
    /// Stores `list` in place of what was stored.
    virtual void updateClientsList(const BinderClientsList& list) = 0;

    /// Replaces `uuids` with the clients' uuids in Base64URL text and `interfaces` with their
    /// interface names, each with one '|' between two clients. An empty list gives two empty texts.
    ///
    /// Not guaranteed: nothing checks that a name has no '|' in it.
    static void serializeClientsList(const BinderClientsList& list, std::string& uuids,
                                     std::string& interfaces);

    /// Replaces the content of `list` with what two such texts tell. A client whose uuid piece is
    /// empty is left out. Reading ends with the shorter of the two; what the other has left is
    /// ignored.
    ///
    /// Deliberate: every piece that a '|' follows loses its last character, in both texts; an empty
    /// one stays empty. So a list of one client comes back as it was, while of several clients all
    /// but the last come back one character short, and serializeClientsList's own uuids no longer
    /// parse. Databases for several clients store something else, or pad each piece but the last.
    ///
    /// Throws std::invalid_argument, the error of Uuid, when a piece is no uuid; `list` then holds
    /// the clients before it.
    static void deserializeClientList(const std::string& uuids, const std::string& interfaces,
                                      BinderClientsList& list);
};

}  // namespace vorn::common
