#include "commands.h"
#include "exitCodes.h"
#include "statusText.h"

#include "JsonLine.h"

namespace gateway {

int statusCommand(const std::string& socket, bool json, Arguments& arguments) {
    arguments.finish();
    Session session(socket, json);
    const Reply status = session.ask(JsonLine().text("request", "status").take());
    session.print(status, statusText(status));
    return kDone;
}

}  // namespace gateway
