// SPDX-License-Identifier: MIT
// A service that waits, with one object of each class, and tells what memory is its own:
// /proc/self/smaps_rollup, in kilobytes.
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>
#include <utility>

#include <vorn/common/BinaryDeserializer.h>
#include <vorn/common/BinarySerializer.h>
#include <vorn/common/BinderAdaptor.h>
#include <vorn/common/BinderProxy.h>
#include <vorn/common/BinderStubDb.h>
#include <vorn/common/Crc16Computer.h>
#include <vorn/common/DbWithIdentification.h>
#include <vorn/common/IdentificationStubDb.h>
#include <vorn/common/RecursiveSharedMutex.h>
#include <vorn/common/ScriptExecutor.h>
#include <vorn/common/SecureString.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/TypedArgs.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/TemporaryFile.h>
#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>
#include <vorn/common/sched/Cooldown.h>
#include <vorn/common/service/ServiceStatus.h>
#include <vorn/common/settings/JsonSettings.h>
#include <vorn/common/sha1.h>
#include <vorn/common/thread/MessageThread.h>
#include <vorn/common/time/ClockAlignedTimer.h>
#include <vorn/common/time/Timer.h>

using namespace vorn::common;
using namespace std::chrono_literals;

namespace {

struct Settings : settings::JsonSettings {
    bool loadSettings(const std::string&, const lwjson::Deserializer&) override { return true; }
    std::pair<std::string, lwjson::Serializer> saveSettings() const override {
        lwjson::Serializer json;
        json.appendKey("name");
        json.addValue("door");
        json.finalize();
        return {"1", json};
    }
};

struct Cipher : cipher::ICipher {
    std::string encrypt(const std::string_view& plain) const override { return std::string(plain); }
    std::string decrypt(const std::string_view& text) const override { return std::string(text); }
    cipher::CipherProxy clone() const override {
        return cipher::CipherProxy(std::make_unique<Cipher>());
    }
};

struct Proxy : BinderProxy {
    using BinderProxy::BinderProxy;
    unsigned syncTime() const override { return 0; }
    Error sendBindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    Error sendUnbindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    void cancelRequest() override {}
    void connect() override {}
    void disconnect() override {}
    bool isConnected() const override { return true; }
};

struct Adaptor : BinderAdaptor {
    using BinderAdaptor::BinderAdaptor;
    unsigned syncTime() const override { return 0; }
    void dropClient(const Uuid&) override {}
};

std::string memory() {
    std::ifstream file("/proc/self/smaps_rollup");
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

int main() {
    const Uuid uuid(0ULL);
    const lwjson::Deserializer document(R"({"limits":[10,20],"name":"door"})");
    lwjson::Serializer serializer;
    serializer.addValue(document);
    const Args args = loadArgs(document);
    const std::string base64 = encoding::Base64::encodeToString("door");
    SHA1Context sha1;
    SHA1Reset(&sha1);
    std::vector<char> bytes;
    BinarySerializer(bytes) << base64;
    BinaryDeserializer binary(bytes);
    Crc16Computer crc;

    time::Timer timer([] {}, 1h);
    timer.start();
    time::ClockAlignedTimer alignedTimer([](auto) {}, 1h);
    alignedTimer.start();

    Thread thread;
    thread.start([](void*) { std::this_thread::sleep_for(24h); }, nullptr);
    ThreadPool pool(1);
    thread::MessageThread messages([](const thread::Message&) {});
    messages.start();
    RecursiveSharedMutex recursiveMutex;
    locking::MultipleReadUniqueWriteMutex gate;
    sched::CpuLoadCooldown cooldown(50, 100);
    sched::CpuLoadLoopCooldown loopCooldown(50, 100ms);

    executable::Executable executable({"/bin/true"}, {});
    executable.execSync();
    executable::Script script("true", {});
    script.execSync();
    executable::ExecutableManager manager(1);
    ScriptExecutor executor(1, kDefaultScriptRoutine);
    executor.start();
    const service::ServiceStatus status(service::OperatingStatus::InService,
                                        service::HealthStatus::Ok);

    const fs::TemporaryDirectory directory;
    const fs::TemporaryFile file(directory.path() + "/file");
    fs::LockedFile lockedFile(directory.path() + "/locked", true);
    fs::CachedFileManager files;
    files.add(std::make_unique<Settings>(), directory.path() + "/settings");
    files.getHandler(typeid(Settings)).lock().write();

    Proxy proxy(uuid, nullptr);
    BinderStubDb clients(uuid);
    Adaptor adaptor(clients, nullptr, 4);
    IdentificationStubDb identification(uuid);
    DbWithIdentification db(identification);
    const communication::CommunicationStatus link(communication::ComState::Ok);
    const SecureString secret(cipher::CipherProxy(std::make_unique<Cipher>()), "door");

    // Idle once the settings are written and the threads have come to rest. What is shared changes
    // with the other processes of the machine, so that the whole may never rest.
    std::string before;
    std::string now = memory();
    for (int second = 0; second < 30 && now != before; ++second) {
        std::this_thread::sleep_for(1s);
        before = std::exchange(now, memory());
    }
    std::cout << now << std::flush;
    _exit(0);  // one of the threads sleeps for a day
}
