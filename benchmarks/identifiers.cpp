// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vorn/common/Crc16Computer.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/time/UnixTime.h>

#ifdef VORN_PEER_ABSEIL
#include <absl/time/time.h>
#endif
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
#ifdef VORN_PEER_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/evp.h>
#include <openssl/sha.h>
#endif
#ifdef VORN_PEER_QT
#include <QByteArray>
#endif

namespace {

using vorn::common::Crc16Computer;
using vorn::common::Uuid;
using vorn::common::encoding::Base64;
using vorn::common::encoding::UrlEncode;

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
        ->Arg(16)
        ->Arg(1 << 10)
        ->Arg(1 << 20);
}

/// A kilobyte as it stands in the parameters of a request: three characters of four need no escape.
std::string urlText() {
    std::string text;
    while (text.size() < 1024) {
        text += "name=Power outlet 12/\xC3\xA9tage&value=21.5;";
    }
    return text.substr(0, 1024);
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
        ->Arg(16)
        ->Arg(1 << 10)
        ->Arg(1 << 20);
    add("url-encode/vorn",
        [text = urlText()] { benchmark::DoNotOptimize(UrlEncode::encode(text)); });
    add("url-decode/vorn", [text = UrlEncode::encode(urlText())] {
        benchmark::DoNotOptimize(UrlEncode::decode(text));
    });
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

#ifdef VORN_PEER_ABSEIL
void addAbseil() {
    add("iso8601-write/abseil", [time = absl::FromUnixMillis(1700000000250)] {
        benchmark::DoNotOptimize(
            absl::FormatTime("%Y-%m-%dT%H:%M:%E3SZ", time, absl::UTCTimeZone()));
    });
    add("iso8601-read/abseil", [] {
        absl::Time time;
        benchmark::DoNotOptimize(
            absl::ParseTime(absl::RFC3339_full, "2023-11-14T22:13:20.250Z", &time, nullptr));
    });
}
#endif

#ifdef VORN_PEER_OPENSSL
const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string encodedByOpenssl(const unsigned char* data, std::size_t size) {
    std::string text((size + 2) / 3 * 4 + 1, '\0');  // it ends the text with a NUL
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data, static_cast<int>(size));
    text.pop_back();
    return text;
}

// It checks every text, and counts the padding as zero bytes.
std::string decodedByOpenssl(const std::string& text) {
    std::string data(text.size() / 4 * 3, '\0');
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(data.data()), bytesOf(text),
                    static_cast<int>(text.size()));
    data.resize(data.size() -
                static_cast<std::size_t>(std::count(text.end() - 2, text.end(), '=')));
    return data;
}

void addOpenssl() {
    addSized("base64-encode/openssl", [](const std::string& data, const std::string&) {
        benchmark::DoNotOptimize(encodedByOpenssl(bytesOf(data), data.size()));
    });
    addSized("base64-decode/openssl", [](const std::string&, const std::string& text) {
        benchmark::DoNotOptimize(decodedByOpenssl(text));
    });
    addSized("base64-decode-checked/openssl", [](const std::string&, const std::string& text) {
        benchmark::DoNotOptimize(decodedByOpenssl(text));
    });
}
#endif

#if defined(VORN_PEER_LIBUUID) && defined(VORN_PEER_OPENSSL)
/// What a Uuid holds, made with the two libraries.
struct PeerUuid {
    explicit PeerUuid(const unsigned char* value) {
        std::copy_n(value, bytes.size(), bytes.begin());
        char text[37];
        uuid_unparse_lower(bytes.data(), text);
        canonical = text;
        hex = canonical;
        hex.erase(std::remove(hex.begin(), hex.end(), '-'), hex.end());
        base64 = encodedByOpenssl(bytes.data(), bytes.size());
        base64.resize(22);
        base64Url = base64;
        std::replace(base64Url.begin(), base64Url.end(), '+', '-');
        std::replace(base64Url.begin(), base64Url.end(), '/', '_');
    }

    std::array<unsigned char, 16> bytes;
    std::string canonical;
    std::string hex;
    std::string base64;
    std::string base64Url;
};

void addUuidPeers() {
    static uuid_t uuid;
    uuid_parse(kText, uuid);
    add("uuid-construct/libuuid-openssl", [] {
        ++uuid[15];
        benchmark::DoNotOptimize(std::make_shared<const PeerUuid>(uuid));
    });
    add("uuid-parse/libuuid-openssl", [] {
        uuid_t parsed;
        uuid_parse(kText, parsed);
        benchmark::DoNotOptimize(std::make_shared<const PeerUuid>(parsed));
    });
    add("uuid-name/libuuid-openssl", [] {
        SHA_CTX context;
        unsigned char digest[SHA_DIGEST_LENGTH];
        SHA1_Init(&context);
        SHA1_Update(&context, uuid, sizeof uuid);
        SHA1_Update(&context, kName, sizeof kName - 1);
        SHA1_Final(digest, &context);
        digest[6] = static_cast<unsigned char>((digest[6] & 0x0FU) | 0x50U);
        digest[8] = static_cast<unsigned char>((digest[8] & 0x1FU) | 0xA0U);
        benchmark::DoNotOptimize(std::make_shared<const PeerUuid>(digest));
    });
}
#endif

#ifdef VORN_PEER_QT
void addQt() {
    add("url-encode/qt", [text = QByteArray::fromStdString(urlText())] {
        benchmark::DoNotOptimize(text.toPercentEncoding());
    });
    add("url-decode/qt", [text = QByteArray::fromStdString(urlText()).toPercentEncoding()] {
        benchmark::DoNotOptimize(QByteArray::fromPercentEncoding(text));
    });
    addSized("crc16/qt", [](const std::string& data, const std::string&) {
        benchmark::DoNotOptimize(qChecksum(data.data(), static_cast<unsigned>(data.size())));
    });
}
#endif

const bool registered = [] {
    addVorn();
#ifdef VORN_PEER_ABSEIL
    addAbseil();
#endif
#ifdef VORN_PEER_BOOST
    addBoost();
#endif
#ifdef VORN_PEER_GLIB
    addGlib();
#endif
#ifdef VORN_PEER_LIBUUID
    addLibuuid();
#endif
#ifdef VORN_PEER_OPENSSL
    addOpenssl();
#endif
#if defined(VORN_PEER_LIBUUID) && defined(VORN_PEER_OPENSSL)
    addUuidPeers();
#endif
#ifdef VORN_PEER_QT
    addQt();
#endif
    return true;
}();

}  // namespace
