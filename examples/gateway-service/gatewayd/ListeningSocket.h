#pragma once

#include <string>

#include "FileDescriptor.h"

namespace gateway {

/// The service's socket file, held by at most one process and removed with the object.
///
/// The holder keeps a kernel lock on "<path>.lock". The kernel drops it however the process ends,
/// so a socket file that stands there without a lock is what a killed service left, and is
/// replaced; there is no moment in which two services that start together both succeed. (A
/// `FileMutex` excludes too, but outlives a killed holder on purpose.)
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

  private:
    std::string path_;
    FileDescriptor lock_;
    FileDescriptor socket_;
};

}  // namespace gateway
