// SPDX-License-Identifier: MIT

// The commands that show how the service is and what is set, and the one that sets it.
#include <charconv>
#include <iostream>
#include <sstream>

#include "commands.h"
#include "json.h"

namespace gateway {

namespace {

// A description is the client's text: it must not command the terminal of whoever looks at it.
std::string shown(const std::string& text) {
    return printable(text, '?');
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
            << shown(textOrRaw(job.getMember("description")));
    }
    out << "\nheartbeat      " << status.text({"heartbeat", "count"}) << ", every "
        << status.text({"heartbeat", "period"}) << " s, last "
        << status.text({"heartbeat", "last"});
    out << "\nclients        " << status.text({"clients"}) << ", bound "
        << status.text({"boundClients"})                    //
        << "\nplug-ins       " << status.text({"plugins"})  //
        << "\nsettings       " << shown(status.text({"settings"}));
    return out.str();
}

void append(std::ostringstream& out, const Reply& reply, const char* object) {
    for (const Reply::Node& member : reply.at({object}).members()) {
        const std::string name = member.name();
        out << (out.tellp() > 0 ? "\n" : "") << name
            << std::string(name.size() < 14 ? 15 - name.size() : 1, ' ') << textOrRaw(member);
    }
}

int show(const Session& session, const Reply& reply) {
    std::ostringstream out;
    append(out, reply, "settings");
    append(out, reply, "counters");
    session.print(reply, out.str());
    return kDone;
}

// A number where it is one, so that the service can say what it expects instead.
void addValue(JsonLine& request, const std::string& value) {
    unsigned number = 0;
    const char* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error == std::errc() && stop == end) {
        request.number("value", number);
    } else {
        request.text("value", value);
    }
}

std::string firstLine(std::istream& in) {
    std::string line;
    std::getline(in, line);
    return line;
}

}  // namespace

int statusCommand(const Call& call) {
    call.arguments.finish();
    Session session(call.socket, call.json);
    const Reply status = session.ask(JsonLine().text("request", "status").take());
    session.print(status, statusText(status));
    return kDone;
}

int settingsCommand(const Call& call) {
    call.arguments.finish();
    Session session(call.socket, call.json);
    return show(session, session.ask(JsonLine().text("request", "settings").take()));
}

int setCommand(const Call& call) {
    const std::string name = call.arguments.operand("the name");
    const std::string value = call.arguments.operand("the value");
    call.arguments.finish();
    JsonLine request;
    request.text("request", "set").text("name", name);
    if (name == "secret") {
        request.text("value", value == "-" ? firstLine(std::cin) : value);
    } else {
        addValue(request, value);
    }
    Session session(call.socket, call.json);
    return show(session, session.ask(request.take()));
}

}  // namespace gateway
