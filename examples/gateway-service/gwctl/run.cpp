#include <iostream>
#include <iterator>

#include "JsonLine.h"
#include "commands.h"
#include "exitCodes.h"
#include "results.h"

namespace gateway {

namespace {

std::string runRequest(Arguments& arguments) {
    JsonLine request;
    request.text("request", "run");
    request.number("timeout", arguments.number("--timeout").value_or(kDefaultTimeout));
    if (const auto description = arguments.value("--description")) {
        request.text("description", *description);
    }
    if (const auto directory = arguments.value("--chroot")) {
        request.text("chroot", *directory);
    }
    if (const auto groups = arguments.values("--cgroup"); !groups.empty()) {
        request.texts("cgroups", groups);
    }
    if (const auto environment = arguments.values("--env"); !environment.empty()) {
        request.texts("environment", environment);
    }
    if (arguments.flag("--secret")) {
        request.flag("secret", true);
    }
    const std::string script = arguments.operand("the script");
    arguments.finish();
    request.text("script", script == "-" ? std::string(std::istreambuf_iterator<char>(std::cin), {})
                                         : script);
    return request.take();
}

}  // namespace

int runCommand(const std::string& socket, bool json, Arguments& arguments) {
    const bool wait = arguments.flag("--wait");
    const std::string request = runRequest(arguments);
    Session session(socket, json);
    const Reply accepted = session.ask(request);
    const std::string uuid = accepted.text({"uuid"});
    session.print(accepted, "accepted " + uuid);
    return wait ? showResult(session, session.next()) : kDone;
}

}  // namespace gateway
