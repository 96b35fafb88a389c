// SPDX-License-Identifier: MIT
// Values for gdb to show: the locals of `show`.
#include <cstdlib>
#include <cstring>

#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

using namespace vorn::common;
using communication::CommunicationStatus;
using executable::Executable;
using lwjson::Deserializer;
using lwjson::Serializer;

namespace {

/// Memory for a value that was never made, each byte the same.
template <class T, int byte = 0xA5>
const T& garbage() {
    alignas(T) static unsigned char bytes[sizeof(T)];
    std::memset(bytes, byte, sizeof bytes);
    return *reinterpret_cast<const T*>(bytes);
}

void show() {
    [[maybe_unused]] const Uuid uuid("933d6c80-dea9-8c6b-d111-8b3b46a181f2");
    [[maybe_unused]] const Uuid nil;
    [[maybe_unused]] const auto instant = UnixTime::fromSeconds(1000000000.25);
    [[maybe_unused]] const UnixTime undefined;
    [[maybe_unused]] const auto never = UnixTime::INFINITE;
    [[maybe_unused]] const SecondsDuration duration(90);
    [[maybe_unused]] const auto forever = SecondsDuration::INFINITE;
    [[maybe_unused]] const Deserializer document(R"({"limits":[10,20],"name":"door"})");
    [[maybe_unused]] const Deserializer empty;
    Serializer serializer(Serializer::Compact);
    serializer.appendKey("name");
    serializer.addValue(std::string(300, 'x'));
    const CommunicationStatus status(communication::ComState::ConnectionFailed, instant,
                                     communication::Reason::PingFailed);
    Executable idle({"/bin/echo", "hello"}, {});
    executable::Script script("exit 3", {});
    script.execSync();

    [[maybe_unused]] const auto& badUuid = garbage<Uuid>();
    [[maybe_unused]] const auto& nullUuid = garbage<Uuid, 0>();
    [[maybe_unused]] const auto& badTime = garbage<UnixTime, 0xFF>();
    [[maybe_unused]] const auto& badDocument = garbage<Deserializer>();
    [[maybe_unused]] const auto& nullDocument = garbage<Deserializer, 2>();
    [[maybe_unused]] const auto& badSerializer = garbage<Serializer>();
    [[maybe_unused]] const auto& nullSerializer = garbage<Serializer, 0>();
    [[maybe_unused]] const auto& badExecutable = garbage<Executable>();
    [[maybe_unused]] const auto& nullExecutable = garbage<Executable, 0>();
    [[maybe_unused]] const auto& badStatus = garbage<CommunicationStatus>();
    std::abort();  // here gdb looks, and the process leaves its core
}

}  // namespace

int main() {
    show();
}
