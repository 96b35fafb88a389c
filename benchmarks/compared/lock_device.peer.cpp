// SPDX-License-Identifier: MIT
// Peer: Qt Core
// Guarantees: the lock is a file with its holder's process, host and program, which others can
// show. A file whose process is gone, or that is older than half a minute (both can be changed), is
// taken over.
#include <QLockFile>

#include "tasks.h"

std::string compared::peer::lockDevice(const std::string& path) {
    QLockFile lock(QString::fromStdString(path));
    return lock.tryLock(50) ? "locked" : "busy";
}
