#include "Settings.h"

#include <exception>
#include <limits>

namespace gateway {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

namespace {

constexpr const char* kVersion = "1";

template <class Number>
void load(const Deserializer& settings, const char* name, Number& value, Number least,
          Number most = std::numeric_limits<Number>::max()) {
    try {
        const auto loaded = settings.getMember(name).as<Number>();
        if (loaded >= least && loaded <= most) {
            value = loaded;
        }
    } catch (const std::exception&) {
        // Keeps its value.
    }
}

}  // namespace

bool Settings::loadSettings(const std::string& version, const Deserializer& settings) {
    if (version != kVersion) {
        return false;
    }
    load(settings, "heartbeat", adjustable.heartbeat, 1U, AdjustableValues::kMostHeartbeat);
    load(settings, "jobLimit", adjustable.jobLimit, 1U);
    load<std::uint64_t>(settings, "starts", counters.starts, 0);
    load<std::uint64_t>(settings, "scripts", counters.scripts, 0);
    load<std::uint64_t>(settings, "programs", counters.programs, 0);
    return true;
}

std::pair<std::string, Serializer> Settings::saveSettings() const {
    Serializer serializer;
    const auto add = [&serializer](const char* name, std::uint64_t value) {
        serializer.appendKey(name);
        serializer.addValue(value);
    };
    add("heartbeat", adjustable.heartbeat);
    add("jobLimit", adjustable.jobLimit);
    add("starts", counters.starts);
    add("scripts", counters.scripts);
    add("programs", counters.programs);
    serializer.finalize();
    return {kVersion, serializer};
}

}  // namespace gateway
