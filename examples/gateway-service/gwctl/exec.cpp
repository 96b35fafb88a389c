#include <iostream>

#include "JsonLine.h"
#include "commands.h"
#include "results.h"

namespace gateway {

namespace {

std::string execRequest(Arguments& arguments) {
    JsonLine request;
    request.text("request", "exec");
    request.number("timeout", arguments.number("--timeout").value_or(kDefaultTimeout));
    if (const auto description = arguments.value("--description")) {
        request.text("description", *description);
    }
    if (const auto environment = arguments.values("--env"); !environment.empty()) {
        request.texts("environment", environment);
    }
    const std::vector<std::string> program = arguments.operands();
    if (program.empty()) {
        throw UsageError("the program is missing");
    }
    return request.texts("program", program).take();
}

// What the program wrote goes where it would have gone, and nothing else goes there.
void showOutput(const Reply& result) {
    std::cout << result.text({"output"}) << std::flush;
    std::cerr << result.text({"errors"}) << std::flush;
    if (result.text({"cut"}) == "true") {
        std::cerr << "gwctl: it wrote more than is shown" << std::endl;
    }
    const std::string kind = result.text({"result"});
    if (kind != "exited") {
        std::cerr << (kind == "timeout" ? "gwctl: it timed out" : "gwctl: a signal killed it")
                  << std::endl;
    }
}

}  // namespace

int execCommand(const std::string& socket, bool json, Arguments& arguments) {
    const std::string request = execRequest(arguments);
    Session session(socket, json);
    const Reply accepted = session.ask(request);
    const Reply result = session.next();
    if (json) {
        std::cout << accepted.line() << '\n' << result.line() << std::endl;
    } else {
        showOutput(result);
    }
    return exitCodeOf(result);
}

}  // namespace gateway
