// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <vorn/common/Crc16Computer.h>
#include <vorn/common/TypedArgs.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/service/ServiceStatus.h>
#include <vorn/common/time/UnixTime.h>

#include "operations.h"

namespace cost {
namespace {

using namespace vorn::common;

std::string kilobyte() {
    std::string text;
    while (text.size() < 1024) {
        text += "name=Power outlet 12/\xC3\xA9tage&value=21.5;";
    }
    return text.substr(0, 1024);
}

}  // namespace

// The arguments, encodings and texts that services exchange.
void addValues(std::vector<Operation>& operations) {
    const auto add = [&](const char* name, auto operation) {
        operations.push_back({name, [operation] { return operation; }});
    };
    add("uuid.from-bytes", [] { use(Uuid(Uuid::VORN_NAMESPACE.bytes())); });
    add("uuid.from-text", [] { use(Uuid("933d6c80-dea9-8c6b-d111-8b3b46a181f1")); });
    add("uuid.from-name", [] { use(Uuid(Uuid::VORN_NAMESPACE, "gateway/power/outlet 12")); });
    add("base64.encode", [data = kilobyte()] { use(encoding::Base64::encodeToString(data)); });
    add("base64.decode", [text = encoding::Base64::encodeToString(kilobyte())] {
        use(encoding::Base64::decodeToString(text));
    });
    add("url.encode", [text = kilobyte()] { use(encoding::UrlEncode::encode(text)); });
    add("url.decode", [text = encoding::UrlEncode::encode(kilobyte())] {
        use(encoding::UrlEncode::decode(text));
    });
    add("crc16.update", [bytes = std::vector<unsigned char>(1024, 0xA7)] {
        Crc16Computer crc;
        crc.update(bytes);
        use(crc.get());
    });
    add("iso8601.write", [] { use(UnixTime::fromSeconds(1700000000.25).toIso8601()); });
    add("iso8601.read", [] {
        UnixTime time;
        use(time.parseIso8601("2023-11-14T22:13:20.250Z"));
    });
    add("service.status", [] {
        use(service::ServiceStatus{service::OperatingStatus::InService, service::HealthStatus::Ok}
                .getJson());
    });
    add("communication.reason", [text = toString(communication::Reason::RecipientNotSpecified)] {
        use(communication::fromString<communication::Reason>(text));
    });
    add("arguments.load", [] {
        const auto args = loadArgs(lwjson::Deserializer(
            R"({"net": {"port": 8080, "host": "gateway.local", "secure": true}, "gain": 0.25})"));
        use(GetTypedArgHelper<unsigned short>::get(args.at("net_port")));
        use(GetTypedArgHelper<double>::get(args.at("gain")));
    });
}

}  // namespace cost
