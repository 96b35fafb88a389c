#include <charconv>
#include <iostream>
#include <sstream>

#include "commands.h"
#include "json.h"

namespace gateway {

namespace {

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
