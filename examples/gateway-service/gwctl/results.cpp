#include "results.h"

#include "exitCodes.h"

namespace gateway {

int exitCodeOf(const Reply& result) {
    const std::string kind = result.text({"result"});
    if (kind == "timeout") {
        return kTimedOut;
    }
    return kind == "killed" ? kKilled : std::stoi(result.text({"exitCode"}));
}

int showResult(const Session& session, const Reply& result) {
    const int code = exitCodeOf(result);
    const std::string kind = result.text({"result"});
    session.print(result, kind == "timeout"  ? "timed out: killed"
                          : kind == "killed" ? "killed by a signal"
                                             : "exited with " + std::to_string(code));
    return code;
}

}  // namespace gateway
