// SPDX-License-Identifier: MIT

// Follows a link and reports it only when something changed.

#include <iostream>

#include <vorn/common/communication/CommunicationStatus.h>

using namespace vorn::common::communication;
using vorn::common::time::UnixTime;

int main() {
    CommunicationStatus status(ComState::Establishing);
    for (const char* text : {"establishing", "ok", "ok", "lost"}) {
        if (status.set(fromString<ComState>(text))) {
            std::cout << "now " << status.state() << "\n";
        }
    }
    if (status.set(Reason::PingFailed)) {
        std::cout << "because of " << toString(status.reason()) << "\n";
    }

    const CommunicationStatus received(ComState::Lost, UnixTime::fromSeconds(1700000000.25),
                                       Reason::HostUnreachable);
    std::cout << received << "\n";
}
