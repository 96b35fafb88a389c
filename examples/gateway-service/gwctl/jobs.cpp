// SPDX-License-Identifier: MIT

// The commands that run something, and those about what runs.
#include <iostream>
#include <iterator>

#include "commands.h"
#include "json.h"

namespace gateway {

namespace {

constexpr unsigned kDefaultTimeout = 60;

int exitCodeOf(const Reply& result) {
    const std::string kind = result.text({"result"});
    if (kind == "exited") {
        return static_cast<int>(result.number({"exitCode"}, 255));
    }
    return kind == "timeout" ? kTimedOut : kKilled;
}

// A script is its shell: what that has started is not killed with it.
std::string endOfScript(const Reply& result) {
    const std::string kind = result.text({"result"});
    if (kind == "timeout") {
        return "timed out: its shell was killed, what it had started goes on";
    }
    if (kind == "cancelled") {
        return "cancelled: its shell was killed, what it had started goes on";
    }
    return kind == "killed" ? "killed by a signal" : "exited with " + result.text({"exitCode"});
}

// What the program wrote goes where it would have gone, and nothing else goes there.
void showOutput(const Reply& result) {
    std::cout << result.text({"output"}) << std::flush;
    std::cerr << result.text({"errors"}) << std::flush;
    if (result.text({"cut"}) == "true") {
        std::cerr << "gwctl: it wrote more than is shown" << std::endl;
    }
    const std::string kind = result.text({"result"});
    if (kind == "timeout") {
        std::cerr << "gwctl: it timed out and was killed with its process group" << std::endl;
    } else if (kind == "cancelled") {
        std::cerr << "gwctl: it was cancelled and killed with its process group" << std::endl;
    } else if (kind == "killed") {
        std::cerr << "gwctl: a signal killed it" << std::endl;
    }
}

void addCommonOptions(JsonLine& request, Arguments& arguments) {
    request.number("timeout", arguments.number("--timeout").value_or(kDefaultTimeout));
    if (const auto description = arguments.value("--description")) {
        request.text("description", *description);
    }
    if (const auto environment = arguments.values("--env"); !environment.empty()) {
        request.texts("environment", environment);
    }
}

std::string runRequest(Arguments& arguments) {
    JsonLine request;
    request.text("request", "run");
    addCommonOptions(request, arguments);
    if (const auto directory = arguments.value("--chroot")) {
        request.text("chroot", *directory);
    }
    if (const auto groups = arguments.values("--cgroup"); !groups.empty()) {
        request.texts("cgroups", groups);
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

std::string execRequest(Arguments& arguments) {
    JsonLine request;
    request.text("request", "exec");
    addCommonOptions(request, arguments);
    std::vector<std::string> program;
    try {
        program = arguments.operands();
    } catch (const UsageError& error) {
        throw UsageError(error.what() +
                         std::string("; a program with options of its own comes after \"--\": exec "
                                     "-- /bin/sh -c '...'"));
    }
    if (program.empty()) {
        throw UsageError("the program is missing");
    }
    return request.texts("program", program).take();
}

std::string aboutJob(const char* request, Arguments& arguments) {
    const std::string uuid = arguments.operand("the job's uuid");
    arguments.finish();
    return JsonLine().text("request", request).text("uuid", uuid).take();
}

}  // namespace

int runCommand(const Call& call) {
    const bool wait = call.arguments.flag("--wait");
    const std::string request = runRequest(call.arguments);
    Session session(call.socket, call.json);
    const Reply accepted = session.ask(request);
    session.print(accepted, {"accepted " + accepted.text({"uuid"})});
    if (!wait) {
        return kDone;
    }
    const Reply result = session.nextResult();
    session.print(result, {endOfScript(result)});
    return exitCodeOf(result);
}

int execCommand(const Call& call) {
    const std::string request = execRequest(call.arguments);
    Session session(call.socket, call.json);
    const Reply accepted = session.ask(request);
    const Reply result = session.nextResult();
    if (call.json) {
        std::cout << accepted.line() << '\n' << result.line() << std::endl;
    } else {
        showOutput(result);
    }
    return exitCodeOf(result);
}

int resultCommand(const Call& call) {
    const std::string request = aboutJob("result", call.arguments);
    Session session(call.socket, call.json);
    const Reply result = session.ask(request);
    if (call.json || result.text({"result"}) == "running") {
        session.print(result, {"running"});
        return result.text({"result"}) == "running" ? kRefused : exitCodeOf(result);
    }
    if (result.find({"output"}) != nullptr) {
        showOutput(result);
    } else {
        session.print(result, {endOfScript(result)});
    }
    return exitCodeOf(result);
}

int cancelCommand(const Call& call) {
    const std::string request = aboutJob("cancel", call.arguments);
    Session session(call.socket, call.json);
    const Reply answer = session.ask(request);
    session.print(answer, {"cancelled " + answer.text({"uuid"})});
    return kDone;
}

}  // namespace gateway
