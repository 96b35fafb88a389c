// SPDX-License-Identifier: MIT

// The commands that show how the service is and what is set, and the one that sets it.
#include <charconv>
#include <iostream>

#include "commands.h"
#include "json.h"

namespace gateway {

namespace {

std::vector<std::string> statusLines(const Reply& status) {
    const auto text = [&status](std::initializer_list<const char*> path) {
        return status.text(path);
    };
    const std::string reason = text({"communication", "reason"});
    const auto& running = status.at({"jobs", "running"}).members();
    std::vector<std::string> lines = {
        "service        " + text({"service", "operating"}) + ", health " +
            text({"service", "health"}),
        "communication  " + text({"communication", "state"}) + " since " +
            text({"communication", "since"}) + (reason == "none" ? "" : ", " + reason),
        "jobs           " + std::to_string(running.size()) + " of " + text({"jobs", "limit"}) +
            " running; started: " + text({"jobs", "scripts"}) + " scripts, " +
            text({"jobs", "programs"}) + " programs"};
    for (const Reply::Node& job : running) {
        lines.push_back("               " + textOrRaw(job.getMember("uuid")) + "  " +
                        textOrRaw(job.getMember("description")));
    }
    lines.insert(lines.end(),
                 {"heartbeat      " + text({"heartbeat", "count"}) + ", every " +
                      text({"heartbeat", "period"}) + " s, last " + text({"heartbeat", "last"}),
                  "clients        " + text({"clients"}) + ", bound " + text({"boundClients"}),
                  "plug-ins       " + text({"plugins"}), "settings       " + text({"settings"})});
    return lines;
}

void append(std::vector<std::string>& lines, const Reply& reply, const char* object) {
    for (const Reply::Node& member : reply.at({object}).members()) {
        const std::string name = member.name();
        const std::size_t gap = name.size() < 14 ? 15 - name.size() : 1;
        lines.push_back(name + std::string(gap, ' ') + textOrRaw(member));
    }
}

int show(const Session& session, const Reply& reply) {
    std::vector<std::string> lines;
    append(lines, reply, "settings");
    append(lines, reply, "counters");
    session.print(reply, lines);
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
    session.print(status, statusLines(status));
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
