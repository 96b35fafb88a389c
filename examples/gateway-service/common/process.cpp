// SPDX-License-Identifier: MIT
#include "process.h"

#include <fcntl.h>

#include <csignal>

namespace gateway {

namespace {

const EventDescriptor* stopRequested = nullptr;
const EventDescriptor* reloadRequested = nullptr;

extern "C" void onStopSignal(int) {
    stopRequested->set();
}

extern "C" void onReloadSignal(int) {
    reloadRequested->set();
}

extern "C" void onBrokenPipe(int) {}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

}  // namespace

void openStandardDescriptors() {
    int opened = 0;
    do {
        opened = ::open("/dev/null", O_RDWR);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened > STDERR_FILENO) {
        ::close(opened);
    }
}

const EventDescriptor& catchStopSignals() {
    static const EventDescriptor descriptor;
    stopRequested = &descriptor;
    handle(SIGTERM, onStopSignal);
    handle(SIGINT, onStopSignal);
    return descriptor;
}

const EventDescriptor& catchReloadSignal() {
    static const EventDescriptor descriptor;
    reloadRequested = &descriptor;
    handle(SIGHUP, onReloadSignal);
    return descriptor;
}

void surviveBrokenPipes() {
    handle(SIGPIPE, onBrokenPipe);
}

}  // namespace gateway
