#include <sstream>

#include "commands.h"
#include "json.h"

namespace gateway {

namespace {

// A description is the client's text: it must not command the terminal of whoever looks at it.
std::string printable(std::string text) {
    for (char& character : text) {
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) {
            character = '?';
        }
    }
    return text;
}

std::string statusText(const Reply& status) {
    std::ostringstream out;
    out << "service        " << status.text({"service", "operating"}) << ", health "
        << status.text({"service", "health"}) << "\n"
        << "communication  " << status.text({"communication", "state"}) << " since "
        << status.text({"communication", "since"});
    if (const std::string reason = status.text({"communication", "reason"}); reason != "none") {
        out << ", " << reason;
    }
    const auto& running = status.at({"jobs", "running"}).members();
    out << "\njobs           " << running.size() << " of " << status.text({"jobs", "limit"})
        << " running; started: " << status.text({"jobs", "scripts"}) << " scripts, "
        << status.text({"jobs", "programs"}) << " programs";
    for (const Reply::Node& job : running) {
        out << "\n               " << textOrRaw(job.getMember("uuid")) << "  "
            << printable(textOrRaw(job.getMember("description")));
    }
    out << "\nheartbeat      " << status.text({"heartbeat", "count"}) << ", every "
        << status.text({"heartbeat", "period"}) << " s, last "
        << status.text({"heartbeat", "last"});
    out << "\nclients        " << status.text({"clients"}) << ", bound "
        << status.text({"boundClients"})                    //
        << "\nplug-ins       " << status.text({"plugins"})  //
        << "\nsettings       " << printable(status.text({"settings"}));
    return out.str();
}

}  // namespace

int statusCommand(const Call& call) {
    call.arguments.finish();
    Session session(call.socket, call.json);
    const Reply status = session.ask(JsonLine().text("request", "status").take());
    session.print(status, statusText(status));
    return kDone;
}

}  // namespace gateway
