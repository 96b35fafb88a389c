#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
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

/// A directory and a 4 KB settings document.
struct Place {
    fs::TemporaryDirectory directory;
    std::string path = directory.path() + "/settings.json";
    std::string text = document();
};

void reportBytes(benchmark::State& state, const Place& place) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(place.text.size()));
}

// Durable: on the device, and in place in one step.

void storeVorn(benchmark::State& state) {
    const Place place;
    const auto build = stream::make_ofstreamBuilder(
        place.path, std::ios_base::trunc, std::filesystem::perms{0600}, place.path + ".bak");
    for (auto _ : state) {
        const auto accessor = build();
        accessor->stream() << place.text;
        accessor->commit();
    }
    reportBytes(state, place);
}
BENCHMARK(storeVorn)->Name("storeDurably/vorn")->UseRealTime();

void storeByHand(benchmark::State& state) {
    const Place place;
    const auto temporary = place.path + ".tmp";
    for (auto _ : state) {
        const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        benchmark::DoNotOptimize(::write(file, place.text.data(), place.text.size()));
        ::fsync(file);
        ::close(file);
        ::rename(temporary.c_str(), place.path.c_str());
        const int directory =
            ::open(place.directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::fsync(directory);
        ::close(directory);
    }
    reportBytes(state, place);
}
BENCHMARK(storeByHand)->Name("storeDurably/byHand")->UseRealTime();

#ifdef VORN_PEER_GLIB
void storeGlib(benchmark::State& state) {
    const Place place;
    for (auto _ : state) {
        g_file_set_contents_full(place.path.c_str(), place.text.data(),
                                 static_cast<gssize>(place.text.size()),
                                 static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                                    G_FILE_SET_CONTENTS_DURABLE),
                                 0600, nullptr);
    }
    reportBytes(state, place);
}
BENCHMARK(storeGlib)->Name("storeDurably/glib")->UseRealTime();
#endif

#ifdef VORN_PEER_QT
void storeQt(benchmark::State& state) {
    const Place place;
    for (auto _ : state) {
        QSaveFile file(QString::fromStdString(place.path));
        file.open(QIODevice::WriteOnly);
        file.write(place.text.data(), static_cast<qint64>(place.text.size()));
        file.commit();
    }
    reportBytes(state, place);
}
BENCHMARK(storeQt)->Name("storeDurably/qt")->UseRealTime();
#endif

void loadVorn(benchmark::State& state) {
    const Place place;
    fs::tools::createFile(place.path, place.text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(fs::tools::readFile(place.path));
    }
    reportBytes(state, place);
}
BENCHMARK(loadVorn)->Name("load/vorn");

void loadStream(benchmark::State& state) {
    const Place place;
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
    const Place place;
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
    const Place place;
    const auto other = place.path + ".bak";
    fs::tools::createFile(place.path, place.text);
    fs::tools::createFile(other, place.text);
    for (auto _ : state) {
        fs::tools::swapFiles(other, place.path);
    }
}
BENCHMARK(swapVorn)->Name("swap/vorn");

void swapByRenames(benchmark::State& state) {
    const Place place;
    const auto other = place.path + ".bak";
    const auto third = place.path + ".tmp";
    fs::tools::createFile(place.path, place.text);
    fs::tools::createFile(other, place.text);
    for (auto _ : state) {
        ::rename(other.c_str(), third.c_str());
        ::rename(place.path.c_str(), other.c_str());
        ::rename(third.c_str(), place.path.c_str());
    }
}
BENCHMARK(swapByRenames)->Name("swap/threeRenames");

void lockVorn(benchmark::State& state) {
    const Place place;
    fs::FileMutex mutex(place.path + ".lck");
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}
BENCHMARK(lockVorn)->Name("lockAndRelease/vorn");

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
