#include "answers.h"

#include "JsonLine.h"

namespace gateway {

using vorn::common::Uuid;

std::string refusal(const std::string& reason) {
    return JsonLine().text("answer", "refused").text("reason", reason).take();
}

std::string complaint(const std::string& what) {
    return JsonLine().text("answer", "error").text("error", what).take();
}

std::string accepted(const Uuid& uuid) {
    return JsonLine().text("answer", "accepted").uuid("uuid", uuid).take();
}

std::string scriptResult(const Uuid& uuid, std::optional<int> exitCode) {
    JsonLine line;
    line.text("result", exitCode ? "exited" : "killed").uuid("uuid", uuid);
    if (exitCode) {
        line.number("exitCode", *exitCode);
    }
    return line.take();
}

std::string scriptTimeout(const Uuid& uuid) {
    return JsonLine().text("result", "timeout").uuid("uuid", uuid).take();
}

std::string programResult(const ProgramEnd& end) {
    JsonLine line;
    line.text("result", end.timedOut ? "timeout" : end.exitCode ? "exited" : "killed");
    line.uuid("uuid", end.uuid);
    if (end.exitCode) {
        line.number("exitCode", *end.exitCode);
    }
    return line.text("output", end.output).text("errors", end.errors).flag("cut", end.cut).take();
}

std::string bindingAnswer(const std::string& kind, vorn::common::Binder::Error result,
                          unsigned time) {
    return JsonLine()
        .text("answer", kind)
        .text("result", toString(result))
        .number("time", time)
        .take();
}

std::string unboundNotice() {
    return JsonLine().text("notice", "unbound").take();
}

std::string settingsLine(const Settings& settings) {
    const auto number = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
    return JsonLine()
        .text("answer", "settings")
        .json("settings", JsonLine()
                              .number("heartbeat", settings.adjustable.heartbeat)
                              .number("jobLimit", settings.adjustable.jobLimit)
                              .flag("secret", !settings.secret.empty())
                              .take())
        .json("counters", JsonLine()
                              .number("starts", number(settings.counters.starts))
                              .number("scripts", number(settings.counters.scripts))
                              .number("programs", number(settings.counters.programs))
                              .take())
        .take();
}

}  // namespace gateway
