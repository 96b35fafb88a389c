#include <iostream>
#include <optional>

#include "JsonLine.h"
#include "Terminal.h"
#include "commands.h"
#include "exitCodes.h"
#include "statusText.h"

namespace gateway {

namespace {

constexpr unsigned kDefaultInterval = 2;
constexpr unsigned kLongestInterval = 86400;

}  // namespace

int watchCommand(const std::string& socket, bool json, Arguments& arguments) {
    const unsigned seconds = arguments.number("--interval").value_or(kDefaultInterval);
    const std::optional<unsigned> count = arguments.number("--count");
    arguments.finish();
    if (seconds == 0 || seconds > kLongestInterval || count == 0U) {
        throw UsageError("--interval needs 1 to 86400 seconds, --count at least 1");
    }
    const std::string request = JsonLine().text("request", "status").take();
    Session session(socket, json);
    Terminal terminal;
    for (unsigned shown = 0;;) {
        const Reply status = session.ask(request);
        terminal.show(json ? status.line() : statusText(status));
        if (++shown == count || terminal.endsWithin(std::chrono::seconds(seconds))) {
            return kDone;
        }
    }
}

}  // namespace gateway
