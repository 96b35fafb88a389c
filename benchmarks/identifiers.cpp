#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vorn/common/Crc16Computer.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/time/UnixTime.h>

#ifdef VORN_PEER_BOOST
#include <boost/crc.hpp>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#endif
#ifdef VORN_PEER_GLIB
#include <glib.h>
#endif
#ifdef VORN_PEER_LIBUUID
#include <uuid/uuid.h>
#endif

namespace {

using vorn::common::Crc16Computer;
using vorn::common::Uuid;
using vorn::common::encoding::Base64;

constexpr char kText[] = "933d6c80-dea9-8c6b-d111-8b3b46a181f1";
constexpr char kName[] = "gateway/power/outlet 12";

template <class Operation>
void add(const char* name, Operation operation) {
    benchmark::RegisterBenchmark(name, [operation](benchmark::State& state) mutable {
        for (auto _ : state) {
            operation();
        }
    });
}

template <class Operation>
void addSized(const char* name, Operation operation) {
    benchmark::RegisterBenchmark(name,
                                 [operation](benchmark::State& state) {
                                     const std::string data(
                                         static_cast<std::size_t>(state.range(0)), '\xA7');
                                     const std::string text = Base64::encodeToString(data);
                                     for (auto _ : state) {
                                         operation(data, text);
                                     }
                                     state.SetBytesProcessed(state.iterations() * state.range(0));
                                 })
        ->Arg(64)
        ->Arg(1 << 20);
}

void addVorn() {
    add("uuid-construct/vorn", [bytes = Uuid::VORN_NAMESPACE.bytes()]() mutable {
        ++bytes[15];
        benchmark::DoNotOptimize(Uuid(bytes));
    });
    add("uuid-parse/vorn", [] { benchmark::DoNotOptimize(Uuid(kText)); });
    add("uuid-random/vorn", [] { benchmark::DoNotOptimize(Uuid(0ULL)); });
    add("uuid-name/vorn", [] { benchmark::DoNotOptimize(Uuid(Uuid::VORN_NAMESPACE, kName)); });
    add("uuid-text/vorn",
        [uuid = Uuid(kText)] { benchmark::DoNotOptimize(std::string(uuid.to_string())); });
    add("uuid-copy/vorn", [uuid = Uuid(kText)] { benchmark::DoNotOptimize(Uuid(uuid)); });
    addSized("base64-encode/vorn", [](const std::string& data, const std::string&) {
        benchmark::DoNotOptimize(Base64::encodeToString(data));
    });
    addSized("base64-decode/vorn", [](const std::string&, const std::string& text) {
        benchmark::DoNotOptimize(Base64::decodeToString(text, true));
    });
    addSized("base64-decode-checked/vorn", [](const std::string&, const std::string& text) {
        benchmark::DoNotOptimize(Base64::decodeToString(text));
    });
    benchmark::RegisterBenchmark("crc16/vorn",
                                 [](benchmark::State& state) {
                                     const std::vector<unsigned char> bytes(
                                         static_cast<std::size_t>(state.range(0)), 0xA7);
                                     for (auto _ : state) {
                                         Crc16Computer crc;
                                         crc.update(bytes);
                                         benchmark::DoNotOptimize(crc.get());
                                     }
                                 })
        ->Arg(64)
        ->Arg(1 << 20);
    add("iso8601-write/vorn", [] {
        benchmark::DoNotOptimize(vorn::common::UnixTime::fromSeconds(1700000000.25).toIso8601());
    });
    add("iso8601-read/vorn", [] {
        vorn::common::UnixTime time;
        benchmark::DoNotOptimize(time.parseIso8601("2023-11-14T22:13:20.250Z"));
    });
}

#ifdef VORN_PEER_BOOST
void addBoost() {
    auto uuid = boost::uuids::string_generator()(kText);
    add("uuid-construct/boost-and-one-text", [uuid]() mutable {
        ++uuid.data[15];
        benchmark::DoNotOptimize(boost::uuids::to_string(uuid));
    });
    add("uuid-parse/boost",
        [] { benchmark::DoNotOptimize(boost::uuids::string_generator()(kText)); });
    add("uuid-random/boost", [] { benchmark::DoNotOptimize(boost::uuids::random_generator()()); });
    add("uuid-name/boost",
        [uuid] { benchmark::DoNotOptimize(boost::uuids::name_generator_sha1(uuid)(kName)); });
    add("uuid-text/boost", [uuid] { benchmark::DoNotOptimize(boost::uuids::to_string(uuid)); });
    addSized("crc16/boost", [](const std::string& data, const std::string&) {
        boost::crc_optimal<16, 0x1021, 0xFFFF> crc;
        crc.process_bytes(data.data(), data.size());
        benchmark::DoNotOptimize(crc.checksum());
    });
}
#endif

#ifdef VORN_PEER_GLIB
void addGlib() {
    add("uuid-random/glib-text", [] {
        gchar* text = g_uuid_string_random();
        benchmark::DoNotOptimize(text);
        g_free(text);
    });
    addSized("base64-encode/glib", [](const std::string& data, const std::string&) {
        gchar* text = g_base64_encode(reinterpret_cast<const guchar*>(data.data()), data.size());
        benchmark::DoNotOptimize(text);
        g_free(text);
    });
    addSized("base64-decode/glib", [](const std::string&, const std::string& text) {
        gsize size = 0;
        guchar* data = g_base64_decode(text.c_str(), &size);
        benchmark::DoNotOptimize(data);
        g_free(data);
    });
    add("iso8601-read/glib", [] {
        GDateTime* time = g_date_time_new_from_iso8601("2023-11-14T22:13:20.250Z", nullptr);
        benchmark::DoNotOptimize(time);
        g_date_time_unref(time);
    });
}
#endif

#ifdef VORN_PEER_LIBUUID
void addLibuuid() {
    static uuid_t uuid;
    uuid_parse(kText, uuid);
    add("uuid-construct/libuuid-and-one-text", [] {
        char text[37];
        uuid_unparse_lower(uuid, text);
        benchmark::DoNotOptimize(text);
    });
    add("uuid-parse/libuuid", [] {
        uuid_t parsed;
        benchmark::DoNotOptimize(uuid_parse(kText, parsed));
    });
    add("uuid-random/libuuid", [] {
        uuid_t random;
        uuid_generate_random(random);
        benchmark::DoNotOptimize(random);
    });
    add("uuid-name/libuuid", [] {
        uuid_t named;
        uuid_generate_sha1(named, uuid, kName, sizeof kName - 1);
        benchmark::DoNotOptimize(named);
    });
}
#endif

const bool registered = [] {
    addVorn();
#ifdef VORN_PEER_BOOST
    addBoost();
#endif
#ifdef VORN_PEER_GLIB
    addGlib();
#endif
#ifdef VORN_PEER_LIBUUID
    addLibuuid();
#endif
    return true;
}();

}  // namespace
