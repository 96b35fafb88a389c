// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include <benchmark/benchmark.h>

#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/settings/JsonSettings.h>
#include <vorn/common/stream/StreamAccessors.h>

#ifdef VORN_PEER_BOOST
#include <boost/interprocess/sync/file_lock.hpp>
#endif
#ifdef VORN_PEER_GLIB
#include <glib.h>
#endif
#ifdef VORN_PEER_QT
#include <QByteArray>
#include <QLockFile>
#include <QSaveFile>
#endif

namespace {

namespace fs = vorn::common::fs;
namespace stream = vorn::common::stream;
using namespace vorn::common;

class Settings : public settings::JsonSettings {
  public:
    int fields = 0;

  private:
    bool loadSettings(const std::string&, const lwjson::Deserializer& loaded) override {
        fields = static_cast<int>(loaded.members().size());
        return true;
    }

    std::pair<std::string, lwjson::Serializer> saveSettings() const override {
        lwjson::Serializer saved(4096);
        for (int i = 0; i < 110; ++i) {
            saved.appendKey(("setting" + std::to_string(i)).c_str());
            saved.addValue("value " + std::to_string(i));
        }
        saved.finalize();
        return {"1", saved};
    }
};

std::string document() {
    std::ostringstream out;
    Settings().serialize(out);
    return out.str();
}

/// A directory for a 4 KB settings document: the temporary one, on a device, or on tmpfs.
struct Place {
    explicit Place(const char* base = nullptr)
        : directory(base == nullptr ? fs::TemporaryDirectory()
                                    : fs::TemporaryDirectory(base + std::to_string(::getpid()))) {}

    fs::TemporaryDirectory directory;
    std::string path = directory.path() + "/settings.json";
    std::string text = document();
};

constexpr const char* kMemory = "/dev/shm/vorn-bench-";

void reportBytes(benchmark::State& state, const Place& place) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(place.text.size()));
}

// Stored: on the device, and in place in one step; ours, and the steps by hand, keep the version
// before as a backup too.

void storeVorn(benchmark::State& state, const char* base) {
    const Place place(base);
    const auto build = stream::make_ofstreamBuilder(
        place.path, std::ios_base::trunc, std::filesystem::perms{0600}, place.path + ".bak");
    for (auto _ : state) {
        const auto accessor = build();
        accessor->stream() << place.text;
        accessor->commit();
    }
    reportBytes(state, place);
}
BENCHMARK_CAPTURE(storeVorn, memory, kMemory)->Name("storeInMemory/vorn")->UseRealTime();
BENCHMARK_CAPTURE(storeVorn, device, nullptr)->Name("storeDurably/vorn")->UseRealTime();

void storeByHand(benchmark::State& state, const char* base) {
    const Place place(base);
    const auto backup = place.path + ".bak";
    const auto side = backup + ".side~";
    fs::tools::createFile(place.path, place.text);
    for (auto _ : state) {
        const int file = ::open(side.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        ::fchmod(file, 0600);
        benchmark::DoNotOptimize(::write(file, place.text.data(), place.text.size()));
        ::fdatasync(file);
        ::close(file);
        ::rename(side.c_str(), backup.c_str());
        ::renameat2(AT_FDCWD, backup.c_str(), AT_FDCWD, place.path.c_str(), RENAME_EXCHANGE);
        const int directory =
            ::open(place.directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::fsync(directory);
        ::close(directory);
    }
    reportBytes(state, place);
}
BENCHMARK_CAPTURE(storeByHand, memory, kMemory)->Name("storeInMemory/byHand")->UseRealTime();
BENCHMARK_CAPTURE(storeByHand, device, nullptr)->Name("storeDurably/byHand")->UseRealTime();

#ifdef VORN_PEER_GLIB
void storeGlib(benchmark::State& state, const char* base) {
    const Place place(base);
    for (auto _ : state) {
        g_file_set_contents_full(place.path.c_str(), place.text.data(),
                                 static_cast<gssize>(place.text.size()),
                                 static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                                    G_FILE_SET_CONTENTS_DURABLE),
                                 0600, nullptr);
    }
    reportBytes(state, place);
}
BENCHMARK_CAPTURE(storeGlib, memory, kMemory)->Name("storeInMemory/glib")->UseRealTime();
BENCHMARK_CAPTURE(storeGlib, device, nullptr)->Name("storeDurably/glib")->UseRealTime();
#endif

#ifdef VORN_PEER_QT
void storeQt(benchmark::State& state, const char* base) {
    const Place place(base);
    for (auto _ : state) {
        QSaveFile file(QString::fromStdString(place.path));
        file.open(QIODevice::WriteOnly);
        file.write(place.text.data(), static_cast<qint64>(place.text.size()));
        file.commit();
    }
    reportBytes(state, place);
}
BENCHMARK_CAPTURE(storeQt, memory, kMemory)->Name("storeInMemory/qt")->UseRealTime();
BENCHMARK_CAPTURE(storeQt, device, nullptr)->Name("storeDurably/qt")->UseRealTime();
#endif

void loadVorn(benchmark::State& state) {
    const Place place(kMemory);
    const std::filesystem::path path(place.path);
    fs::tools::createFile(place.path, place.text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(fs::tools::readFile(path));
    }
    reportBytes(state, place);
}
BENCHMARK(loadVorn)->Name("load/vorn");

void loadStream(benchmark::State& state) {
    const Place place(kMemory);
    fs::tools::createFile(place.path, place.text);
    for (auto _ : state) {
        std::ifstream in(place.path, std::ios_base::binary);
        benchmark::DoNotOptimize(std::string(std::istreambuf_iterator<char>(in), {}));
    }
    reportBytes(state, place);
}
BENCHMARK(loadStream)->Name("load/ifstream");

#ifdef VORN_PEER_GLIB
void loadGlib(benchmark::State& state) {
    const Place place(kMemory);
    fs::tools::createFile(place.path, place.text);
    for (auto _ : state) {
        gchar* content = nullptr;
        g_file_get_contents(place.path.c_str(), &content, nullptr, nullptr);
        benchmark::DoNotOptimize(content);
        g_free(content);
    }
    reportBytes(state, place);
}
BENCHMARK(loadGlib)->Name("load/glib");
#endif

void loadSettings(benchmark::State& state) {
    const Place place;
    fs::tools::createFile(place.path, place.text);
    Settings settings;
    for (auto _ : state) {
        stream::FileInputStreamAccessor accessor(place.path);
        settings.deserialize(accessor.stream());
    }
    reportBytes(state, place);
}
BENCHMARK(loadSettings)->Name("loadAndParseSettings/vorn");

void swapVorn(benchmark::State& state) {
    const Place place(kMemory);
    const auto other = place.path + ".bak";
    fs::tools::createFile(place.path, place.text);
    fs::tools::createFile(other, place.text);
    for (auto _ : state) {
        fs::tools::swapFiles(other, place.path);
    }
}
BENCHMARK(swapVorn)->Name("swap/vorn");

void swapByHand(benchmark::State& state) {
    const Place place(kMemory);
    const auto other = place.path + ".bak";
    fs::tools::createFile(place.path, place.text);
    fs::tools::createFile(other, place.text);
    for (auto _ : state) {
        ::renameat2(AT_FDCWD, other.c_str(), AT_FDCWD, place.path.c_str(), RENAME_EXCHANGE);
    }
}
BENCHMARK(swapByHand)->Name("swap/byHand");

// Alone, and while another thread takes and releases the same lock all the time.

template <class Mutex>
void takeAndRelease(benchmark::State& state, const std::string& path) {
    Mutex mutex(path);
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

template <class Mutex>
void takeAndReleaseContended(benchmark::State& state, const std::string& path) {
    std::atomic<bool> done{false};
    std::thread other([&] {
        Mutex mutex(path);
        while (!done) {
            mutex.lock();
            mutex.unlock();
        }
    });
    takeAndRelease<Mutex>(state, path);
    done = true;
    other.join();
}

void lockVorn(benchmark::State& state) {
    const Place place(kMemory);
    takeAndRelease<fs::FileMutex>(state, place.path + ".lck");
}
BENCHMARK(lockVorn)->Name("lockAndRelease/vorn")->UseRealTime();

void lockVornContended(benchmark::State& state) {
    const Place place(kMemory);
    takeAndReleaseContended<fs::FileMutex>(state, place.path + ".lck");
}
BENCHMARK(lockVornContended)->Name("lockContended/vorn")->UseRealTime();

#ifdef VORN_PEER_QT
struct QtLock : QLockFile {
    explicit QtLock(const std::string& path) : QLockFile(QString::fromStdString(path)) {}
};

void lockQt(benchmark::State& state) {
    const Place place(kMemory);
    takeAndRelease<QtLock>(state, place.path + ".lck");
}
BENCHMARK(lockQt)->Name("lockAndRelease/qt")->UseRealTime();

void lockQtContended(benchmark::State& state) {
    const Place place(kMemory);
    takeAndReleaseContended<QtLock>(state, place.path + ".lck");
}
BENCHMARK(lockQtContended)->Name("lockContended/qt")->UseRealTime();
#endif

#ifdef VORN_PEER_BOOST
void lockBoost(benchmark::State& state) {
    const Place place;
    fs::tools::createFile(place.path, "");
    boost::interprocess::file_lock mutex(place.path.c_str());
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}
BENCHMARK(lockBoost)->Name("lockAndRelease/boost");
#endif

}  // namespace
