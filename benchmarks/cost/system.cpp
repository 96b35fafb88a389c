// SPDX-License-Identifier: MIT
#include <memory>
#include <semaphore>
#include <sstream>
#include <string>
#include <utility>

#include <vorn/common/BinderDb.h>
#include <vorn/common/BinderProxy.h>
#include <vorn/common/RecursiveSharedMutex.h>
#include <vorn/common/ThreadPool.h>
#include <vorn/common/cipher/helper.h>
#include <vorn/common/executable/Executable.h>
#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/locking/MultipleReadUniqueWriteMutex.h>
#include <vorn/common/stream/StreamAccessors.h>
#include <vorn/common/thread/MessageThread.h>
#include <vorn/common/time/Timer.h>

#include "operations.h"

namespace cost {
namespace {

using namespace vorn::common;
using namespace std::chrono_literals;

/// Keeps the only thread of a pool or a message thread busy, so that what is submitted stays queued
/// and the submitter never meets it at a lock.
class Gate {
  public:
    ~Gate() { open_.release(); }
    void hold() {
        held_.release();
        open_.acquire();
        open_.release();
    }
    void waitUntilHeld() { held_.acquire(); }

  private:
    std::binary_semaphore held_{0};
    std::binary_semaphore open_{0};
};

struct BusyPool {
    BusyPool() {
        pool._emplaceTask([this] { gate.hold(); });
        gate.waitUntilHeld();
    }
    ThreadPool pool{1};
    Gate gate;
};

struct BusyMessages {
    BusyMessages() {
        messages.start();
        messages.sendMessage({1, 2});
        gate.waitUntilHeld();
    }
    thread::MessageThread messages{[this](const thread::Message&) { gate.hold(); }};
    Gate gate;
};

void addThreads(std::vector<Operation>& operations) {
    operations.push_back({"timer.restart", [] {
                              auto timer = std::make_shared<time::Timer>([] {}, 1h);
                              timer->start();
                              return [timer] { timer->restart(); };
                          }});
    operations.push_back({"pool.submit", [] {
                              auto busy = std::make_shared<BusyPool>();
                              return [busy] { busy->pool._emplaceTask([] {}); };
                          }});
    operations.push_back({"messages.send", [] {
                              auto busy = std::make_shared<BusyMessages>();
                              return [busy] { busy->messages.sendMessage({1, 2}); };
                          }});
    operations.push_back({"recursive-mutex.exclusive", [] {
                              auto mutex = std::make_shared<RecursiveSharedMutex>();
                              return [mutex] {
                                  mutex->lock();
                                  mutex->lock();
                                  mutex->unlock();
                                  mutex->unlock();
                              };
                          }});
    operations.push_back({"recursive-mutex.shared", [] {
                              auto mutex = std::make_shared<RecursiveSharedMutex>();
                              return [mutex] {
                                  mutex->lock_shared();
                                  mutex->unlock_shared();
                              };
                          }});
    operations.push_back({"gated-mutex.shared", [] {
                              auto mutex =
                                  std::make_shared<locking::MultipleReadUniqueWriteMutex>();
                              return [mutex] {
                                  mutex->lock_shared();
                                  mutex->unlock_shared();
                              };
                          }});
}

struct Files {
    fs::TemporaryDirectory directory;
    std::string path = directory.path() + "/settings.json";
    std::string other = path + ".other";
    std::string text = std::string(4096, 'x');
};

void addFiles(std::vector<Operation>& operations) {
    operations.push_back({"files.read", [] {
                              auto files = std::make_shared<Files>();
                              fs::tools::createFile(files->path, files->text);
                              return [files] {
                                  use(fs::tools::readFile(std::filesystem::path(files->path)));
                              };
                          }});
    operations.push_back({"files.store", [] {
                              auto files = std::make_shared<Files>();
                              const auto build = stream::make_ofstreamBuilder(
                                  files->path, std::ios_base::trunc, std::filesystem::perms{0600},
                                  files->path + ".bak");
                              return [files, build] {
                                  const auto accessor = build();
                                  accessor->stream() << files->text;
                                  accessor->commit();
                              };
                          }});
    operations.push_back({"files.swap", [] {
                              auto files = std::make_shared<Files>();
                              fs::tools::createFile(files->path, files->text);
                              fs::tools::createFile(files->other, files->text);
                              return [files] { fs::tools::swapFiles(files->other, files->path); };
                          }});
    operations.push_back({"files.lock", [] {
                              auto files = std::make_shared<Files>();
                              auto mutex = std::make_shared<fs::FileMutex>(files->path);
                              return [files, mutex] {
                                  mutex->lock();
                                  mutex->unlock();
                              };
                          }});
}

class Proxy : public BinderProxy {
  public:
    Proxy() : BinderProxy(Uuid::NIL, nullptr) {}
    [[nodiscard]] unsigned syncTime() const override { return 0; }
    Error sendBindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    Error sendUnbindRequest(const Uuid&) override { return BINDER_SUCCESS; }
    void cancelRequest() override {}
    void connect() override {}
    void disconnect() override {}
    [[nodiscard]] bool isConnected() const override { return true; }
};

void addBinding(std::vector<Operation>& operations) {
    operations.push_back({"binding.write-clients", [] {
                              BinderClientsList list;
                              for (int i = 0; i < 4; ++i) {
                                  list.emplace_back(Uuid::VORN_NAMESPACE, "power");
                              }
                              return [list] {
                                  std::string uuids;
                                  std::string interfaces;
                                  BinderDb::serializeClientsList(list, uuids, interfaces);
                                  use(uuids);
                              };
                          }});
    operations.push_back({"binding.read-clients", [] {
                              const std::string& uuid = Uuid::VORN_NAMESPACE.base64URL();
                              return [uuids = uuid + "+|" + uuid] {
                                  BinderClientsList list;
                                  BinderDb::deserializeClientList(uuids, "power+|power", list);
                                  use(list);
                              };
                          }});
    operations.push_back({"binding.bind", [] {
                              auto proxy = std::make_shared<Proxy>();
                              return [proxy] {
                                  proxy->startBinding(Uuid::UNKNOWN);
                                  proxy->endBinding(Binder::BINDER_SUCCESS);
                                  proxy->startUnbinding();
                                  proxy->endUnbinding(Binder::BINDER_SUCCESS);
                              };
                          }});
}

}  // namespace

void addSystem(std::vector<Operation>& operations) {
    addThreads(operations);
    operations.push_back({"process.start", [] {
                              return [] {
                                  executable::Executable program({"/bin/true"}, {});
                                  program.execSync();
                              };
                          }});
    addFiles(operations);
    addBinding(operations);
    operations.push_back({"cipher.look-up", [] {
                              return [] { use(cipher::getCipherFromLib(PLUGIN_PATH, "cipher")); };
                          }});
}

}  // namespace cost
