// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "descriptors.h"

namespace gateway {

/// Where a service listens, and a client looks for it, when nobody names a socket: what the
/// environment variable GATEWAYD_SOCKET says; else, for a user with a run-time directory, its
/// "gatewayd/gatewayd.sock"; else "/run/gatewayd/gatewayd.sock".
[[nodiscard]] std::string defaultSocket();

/// The same for a client, which prefers a service of its own user to the system's: the user's path
/// counts only when something stands there.
[[nodiscard]] std::string defaultSocketForClient();

/// A bound, listening, non-blocking stream socket at `path`, close-on-exec, with permissions 0660.
/// Throws `std::system_error`; EADDRINUSE when something already stands at the path.
[[nodiscard]] FileDescriptor listenAt(const std::string& path);

/// A blocking stream socket connected to `path`, close-on-exec. Throws `std::system_error`.
[[nodiscard]] FileDescriptor connectTo(const std::string& path);

/// The same without waiting, and non-blocking; none when no more connections can wait there to be
/// accepted.
[[nodiscard]] FileDescriptor connectAtOnce(const std::string& path);

/// A kernel lock on a file that is there for nothing else, held by at most one process.
///
/// The kernel drops it however the process ends, so a lock file that is left over excludes nobody,
/// and there is no moment in which two services that start together both succeed. (A `FileMutex`
/// excludes too, but outlives a killed holder on purpose.)
class FileLock {
  public:
    /// Throws `std::runtime_error` when another process holds it, and `std::system_error` when the
    /// file cannot be opened.
    explicit FileLock(std::string path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    std::string path_;
    FileDescriptor lock_;
};

/// The service's socket file, held by at most one process and removed with the object. A socket
/// file that stands there without a lock is what a killed service left, and is replaced.
class ListeningSocket {
  public:
    /// Throws `std::runtime_error` when another process serves at `path` or something other than a
    /// socket stands there, and `std::system_error` when the system refuses.
    explicit ListeningSocket(std::string path);
    ~ListeningSocket();
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    [[nodiscard]] int get() const { return socket_.get(); }
    [[nodiscard]] const std::string& path() const { return path_; }
    /// Removes the socket file before the object's end.
    void remove() const;

  private:
    std::string path_;
    FileLock lock_;
    FileDescriptor socket_;
};

}  // namespace gateway
