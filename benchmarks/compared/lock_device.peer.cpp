// SPDX-License-Identifier: MIT
// Peer: Qt Core
// Guarantees: the lock is a file with its holder's process id, host and program, which others can
// show; a file of a process that is gone, or older than half a minute (can be changed), counts as
// stale and is taken.
#include <QLockFile>

#include "tasks.h"

std::string compared::peer::lockDevice(const std::string& path) {
    QLockFile lock(QString::fromStdString(path));
    return lock.tryLock(50) ? "locked" : "busy";
}
