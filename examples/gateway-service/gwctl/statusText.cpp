#include "statusText.h"

#include <sstream>

namespace gateway {

std::string statusText(const Reply& status) {
    std::ostringstream out;
    out << "service        " << status.text({"service", "operating"}) << ", health "
        << status.text({"service", "health"}) << "\n"
        << "communication  " << status.text({"communication", "state"}) << " since "
        << status.text({"communication", "since"});
    if (const std::string reason = status.text({"communication", "reason"}); reason != "none") {
        out << ", " << reason;
    }
    const auto& running = status.at({"scripts", "running"}).members();
    out << "\nscripts        " << running.size() << " of " << status.text({"scripts", "limit"})
        << " running";
    for (const Reply::Node& script : running) {
        out << "\n               " << textOrRaw(script.getMember("uuid")) << "  "
            << textOrRaw(script.getMember("description"));
    }
    out << "\nclients        " << status.text({"clients"})  //
        << "\nplug-ins       " << status.text({"plugins"});
    return out.str();
}

}  // namespace gateway
