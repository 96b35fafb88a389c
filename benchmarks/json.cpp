#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#ifdef VORN_PEER_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef VORN_PEER_NLOHMANN
#include <nlohmann/json.hpp>
#endif

namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

constexpr int kRecords = 1000;

/// Device records as a settings file holds them.
std::string records(Serializer::Format format) {
    std::vector<Serializer> list;
    for (int i = 0; i < kRecords; ++i) {
        Serializer limits(format);
        limits.appendKey("low");
        limits.addValue(0.5 * i, 3);
        limits.appendKey("high");
        limits.addValue(1.5 * i, 3);
        limits.finalize();
        Serializer record(format);
        record.appendKey("id");
        record.addValue(i);
        record.appendKey("name");
        record.addValue("outlet number " + std::to_string(i));
        record.appendKey("enabled");
        record.addValue(i % 2 == 0);
        record.appendKey("description");
        record.addValue("The outlet at the back of the cabinet, \"switched\" by the schedule");
        record.appendKey("limits");
        record.addValue(limits);
        record.finalize();
        list.push_back(record);
    }
    Serializer json(format);
    json.addValue(list);
    json.finalize();
    return json.json();
}

std::string longStrings() {
    std::vector<std::string> list(100, std::string(4000, 'x') + "\"" + std::string(4000, 'y'));
    Serializer json(Serializer::Compact);
    json.addValue(list);
    json.finalize();
    return json.json();
}

std::string numberList() {
    std::vector<double> list;
    for (int i = 0; i < 10000; ++i) {
        list.push_back(1.0 / (i + 1));
    }
    Serializer json(Serializer::Compact);
    json.addValue(list);
    json.finalize();
    return json.json();
}

std::string wideObject() {
    Serializer json(Serializer::Compact);
    for (int i = 0; i < 20; ++i) {
        json.appendKey(("setting" + std::to_string(i)).c_str());
        json.addValue(i);
    }
    json.finalize();
    return json.json();
}

const std::string kPrettyRecords = records(Serializer::Pretty);
const std::string kCompactRecords = records(Serializer::Compact);
const std::string kLongStrings = longStrings();
const std::string kNumbers = numberList();
const std::string kWideObject = wideObject();
const std::string kPlainText(2000, 'x');
const std::string kEscapedText = [] {
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "line " + std::to_string(i) + "\t\"quoted\" text\n";
    }
    return text;
}();

void add(const std::string& name, std::function<void()> operation, std::size_t bytes = 0) {
    benchmark::RegisterBenchmark(name.c_str(), [operation, bytes](benchmark::State& state) {
        for (auto _ : state) {
            operation();
        }
        if (bytes != 0) {
            state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
        }
    });
}

/// `parse(text)` reads a text into a tree and drops it.
template <class Parse>
void addParsing(const std::string& implementation, Parse parse) {
    for (const auto& [name, text] : {std::pair("parse-pretty-records/", &kPrettyRecords),
                                     std::pair("parse-compact-records/", &kCompactRecords),
                                     std::pair("parse-long-strings/", &kLongStrings),
                                     std::pair("parse-numbers/", &kNumbers)}) {
        add(
            name + implementation, [parse, text = text] { parse(*text); }, text->size());
    }
}

void addVorn() {
    addParsing("vorn", [](const std::string& text) {
        benchmark::DoNotOptimize(Deserializer(std::string_view(text)));
    });
    add("look-up-first/vorn", [root = Deserializer(std::string_view(kWideObject))] {
        benchmark::DoNotOptimize(&root["setting0"]);
    });
    add("look-up-last/vorn", [root = Deserializer(std::string_view(kWideObject))] {
        benchmark::DoNotOptimize(&root["setting19"]);
    });
    add("parse-and-extract-numbers/vorn", [] {
        const Deserializer root{std::string_view(kNumbers)};
        double sum = 0;
        for (const Deserializer& member : root.members()) {
            sum += member.as<double>();
        }
        benchmark::DoNotOptimize(sum);
    });
    add("parse-and-extract-strings/vorn", [] {
        const Deserializer root{std::string_view(kLongStrings)};
        for (const Deserializer& member : root.members()) {
            benchmark::DoNotOptimize(member.as<std::string>());
        }
    });
    add("write-numbers/vorn", [] {
        Serializer json(Serializer::Compact);
        for (int i = 0; i < 100; ++i) {
            json.addValue(1.0 / (i + 1));
        }
        benchmark::DoNotOptimize(json.json().data());
    });
    add("write-integers/vorn", [] {
        Serializer json(Serializer::Compact);
        for (int i = 0; i < 100; ++i) {
            json.addValue(i * 12345);
        }
        benchmark::DoNotOptimize(json.json().data());
    });
    for (const auto& [name, text] : {std::pair("write-plain-text/vorn", &kPlainText),
                                     std::pair("write-escaped-text/vorn", &kEscapedText)}) {
        add(name, [text = text] {
            Serializer json(Serializer::Compact);
            json.addValue(*text);
            benchmark::DoNotOptimize(json.json().data());
        });
    }
    add("write-tree/vorn", [root = Deserializer(std::string_view(kPrettyRecords))] {
        Serializer json(Serializer::Pretty);
        json.addValue(root);
        benchmark::DoNotOptimize(json.json().data());
    });
    add("compare-equal/vorn", [left = Deserializer(std::string_view(kPrettyRecords)),
                               right = Deserializer(std::string_view(kCompactRecords))] {
        benchmark::DoNotOptimize(left.compare(right));
    });
}

#ifdef VORN_PEER_RAPIDJSON
template <class Fill>
void writeWithRapidJson(Fill fill) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartArray();
    fill(writer);
    writer.EndArray();
    benchmark::DoNotOptimize(buffer.GetString());
}

void addRapidJson() {
    addParsing("rapidjson", [](const std::string& text) {
        rapidjson::Document document;
        document.Parse(text.data(), text.size());
        benchmark::DoNotOptimize(document.HasParseError());
    });
    const auto wide = std::make_shared<rapidjson::Document>();
    wide->Parse(kWideObject.c_str());
    add("look-up-first/rapidjson", [wide] { benchmark::DoNotOptimize(&(*wide)["setting0"]); });
    add("look-up-last/rapidjson", [wide] { benchmark::DoNotOptimize(&(*wide)["setting19"]); });
    add("parse-and-extract-numbers/rapidjson", [] {
        rapidjson::Document document;
        document.Parse<rapidjson::kParseFullPrecisionFlag>(kNumbers.data(), kNumbers.size());
        double sum = 0;
        for (const auto& member : document.GetArray()) {
            sum += member.GetDouble();
        }
        benchmark::DoNotOptimize(sum);
    });
    add("parse-and-extract-strings/rapidjson", [] {
        rapidjson::Document document;
        document.Parse(kLongStrings.data(), kLongStrings.size());
        for (const auto& member : document.GetArray()) {
            benchmark::DoNotOptimize(std::string(member.GetString(), member.GetStringLength()));
        }
    });
    add("write-numbers/rapidjson", [] {
        writeWithRapidJson([](auto& writer) {
            for (int i = 0; i < 100; ++i) {
                writer.Double(1.0 / (i + 1));
            }
        });
    });
    add("write-integers/rapidjson", [] {
        writeWithRapidJson([](auto& writer) {
            for (int i = 0; i < 100; ++i) {
                writer.Int(i * 12345);
            }
        });
    });
    for (const auto& [name, text] : {std::pair("write-plain-text/rapidjson", &kPlainText),
                                     std::pair("write-escaped-text/rapidjson", &kEscapedText)}) {
        add(name, [text = text] {
            writeWithRapidJson([text](auto& writer) {
                writer.String(text->data(), static_cast<rapidjson::SizeType>(text->size()));
            });
        });
    }
    const auto left = std::make_shared<rapidjson::Document>();
    const auto right = std::make_shared<rapidjson::Document>();
    left->Parse(kPrettyRecords.c_str());
    right->Parse(kCompactRecords.c_str());
    add("compare-equal/rapidjson", [left, right] { benchmark::DoNotOptimize(*left == *right); });
}
#endif

#ifdef VORN_PEER_NLOHMANN
void addNlohmann() {
    using nlohmann::json;
    addParsing("nlohmann",
               [](const std::string& text) { benchmark::DoNotOptimize(json::parse(text)); });
    add("look-up-first/nlohmann",
        [root = json::parse(kWideObject)] { benchmark::DoNotOptimize(&root["setting0"]); });
    add("look-up-last/nlohmann",
        [root = json::parse(kWideObject)] { benchmark::DoNotOptimize(&root["setting19"]); });
    add("parse-and-extract-numbers/nlohmann", [] {
        double sum = 0;
        for (const auto& member : json::parse(kNumbers)) {
            sum += member.get<double>();
        }
        benchmark::DoNotOptimize(sum);
    });
    add("parse-and-extract-strings/nlohmann", [] {
        for (const auto& member : json::parse(kLongStrings)) {
            benchmark::DoNotOptimize(member.get<std::string>());
        }
    });
    const auto addDump = [](const char* name, json value, int indent) {
        add(name, [value, indent] { benchmark::DoNotOptimize(value.dump(indent)); });
    };
    json numbers;
    json integers;
    for (int i = 0; i < 100; ++i) {
        numbers.push_back(1.0 / (i + 1));
        integers.push_back(i * 12345);
    }
    addDump("write-numbers/nlohmann", numbers, -1);
    addDump("write-integers/nlohmann", integers, -1);
    addDump("write-plain-text/nlohmann", kPlainText, -1);
    addDump("write-escaped-text/nlohmann", kEscapedText, -1);
    addDump("write-tree/nlohmann", json::parse(kPrettyRecords), 2);
    add("compare-equal/nlohmann",
        [left = json::parse(kPrettyRecords), right = json::parse(kCompactRecords)] {
            benchmark::DoNotOptimize(left == right);
        });
}
#endif

const bool kRegistered = [] {
    addVorn();
#ifdef VORN_PEER_RAPIDJSON
    addRapidJson();
#endif
#ifdef VORN_PEER_NLOHMANN
    addNlohmann();
#endif
    return true;
}();

}  // namespace
