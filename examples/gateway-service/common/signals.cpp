#include "signals.h"

#include <csignal>

namespace gateway {

namespace {

const EventDescriptor* stopRequested = nullptr;

extern "C" void onStopSignal(int) {
    stopRequested->set();
}

}  // namespace

const EventDescriptor& catchStopSignals() {
    static const EventDescriptor descriptor;
    stopRequested = &descriptor;
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    return descriptor;
}

}  // namespace gateway
