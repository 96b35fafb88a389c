// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef VORN_PEER_NLOHMANN
#include <nlohmann/json.hpp>
#endif
#ifdef VORN_PEER_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef VORN_PEER_SIMDJSON
#include <simdjson.h>
#endif

#include <vorn/common/fs/tools.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#include "json_inputs.h"

namespace {

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;

const std::string kLookUp = inputs::wideObject(12);
const std::string kWide = inputs::wideObject(1000);
const std::string kEscaped = inputs::escapedString();
const std::string kBackslashes = inputs::backslashRun();
const std::string kToEscape = inputs::textToEscape();

constexpr const char* kKeys[] = {"setting0", "setting2", "setting3", "setting5",
                                 "setting6", "setting8", "setting9", "setting11"};

const std::vector<std::string> kMemberKeys = [] {
    std::vector<std::string> keys;
    for (int i = 0; i < 1000; ++i) {
        keys.push_back("setting" + std::to_string(i));
    }
    return keys;
}();

const std::vector<double> kDoubles = [] {
    std::vector<double> numbers;
    for (int i = 0; i < 1000; ++i) {
        numbers.push_back(i % 2 == 0 ? 1.0 / (i + 1) : i * 0.125);
    }
    return numbers;
}();

constexpr int kGroups = 20;
constexpr int kGroupMembers = 10;

struct Document {
    std::string name;
    std::vector<std::string> texts;
    bool isForTrees;  ///< copied and compared too
};

/// The generated ones, and the file that VORN_DATA names.
const std::vector<Document> kDocuments = [] {
    std::vector<Document> documents = {
        {"gateway", inputs::gatewayDocuments(), true},
        {"text-heavy", {inputs::textHeavy()}, true},
        {"number-arrays", {inputs::numberArrays()}, false},
        {"objects", {inputs::objectsInArrays()}, true},
        {"telemetry-5MB", {inputs::telemetry()}, false},
    };
    if (const char* path = std::getenv("VORN_DATA")) {
        const std::filesystem::path file(path);
        documents.push_back(
            {"file-" + file.filename().string(), {vorn::common::fs::tools::readFile(file)}, true});
    }
    return documents;
}();

void add(const std::string& name, std::function<void()> operation) {
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        for (auto _ : state) {
            operation();
        }
    });
}

/// `parse(text)` reads a text into a tree and drops it.
template <class Parse>
void addParsing(const std::string& implementation, Parse parse) {
    for (const Document& document : kDocuments) {
        add("parse-" + document.name + "/" + implementation, [parse, &texts = document.texts] {
            for (const std::string& text : texts) {
                parse(text);
            }
        });
    }
}

/// `make(text)` reads a text into a tree that can be shared, `use(tree)` is measured.
template <class Make, class Use>
void addForTrees(const std::string& operation, const std::string& implementation, Make make,
                 Use use) {
    for (const Document& document : kDocuments) {
        if (!document.isForTrees) {
            continue;
        }
        std::vector<decltype(make(std::string()))> trees;
        for (const std::string& text : document.texts) {
            trees.push_back(make(text));
        }
        add(operation + document.name + "/" + implementation, [use, trees] {
            for (const auto& tree : trees) {
                use(tree);
            }
        });
    }
}

// --- this library ---

void writeMembers(Serializer::Format format) {
    Serializer json(format);
    for (std::size_t i = 0; i < kMemberKeys.size(); ++i) {
        json.appendKey(kMemberKeys[i].c_str());
        if (i % 2 == 0) {
            json.addValue(static_cast<int>(i));
        } else {
            json.addValue("some text value");
        }
    }
    json.finalize();
    benchmark::DoNotOptimize(json.json().data());
}

void writeNested(Serializer::Format format) {
    Serializer json(format);
    for (int group = 0; group < kGroups; ++group) {
        Serializer inner(format);
        for (int member = 0; member < kGroupMembers; ++member) {
            inner.appendKey(kMemberKeys[static_cast<std::size_t>(member)].c_str());
            inner.addValue(member);
        }
        inner.finalize();
        json.appendKey(kMemberKeys[static_cast<std::size_t>(group)].c_str());
        json.addValue(inner);
    }
    json.finalize();
    benchmark::DoNotOptimize(json.json().data());
}

void addVorn() {
    addParsing("vorn", [](const std::string& text) {
        benchmark::DoNotOptimize(Deserializer(std::string_view(text)));
    });
    add("parse-and-look-up-8/vorn", [] {
        const Deserializer root{std::string_view(kLookUp)};
        for (const char* key : kKeys) {
            benchmark::DoNotOptimize(root.findMember(key));
        }
    });
    add("skip-escaped-string/vorn",
        [] { benchmark::DoNotOptimize(Deserializer(std::string_view(kEscaped))); });
    add("skip-backslashes/vorn",
        [] { benchmark::DoNotOptimize(Deserializer(std::string_view(kBackslashes))); });
    add("unescape/vorn", [] {
        benchmark::DoNotOptimize(Deserializer(std::string_view(kEscaped)).as<std::string>());
    });
    add("write-members-compact/vorn", [] { writeMembers(Serializer::Compact); });
    add("write-members-pretty/vorn", [] { writeMembers(Serializer::Pretty); });
    add("write-doubles/vorn", [] {
        Serializer json(Serializer::Compact);
        for (const double number : kDoubles) {
            json.addValue(number);
        }
        json.finalize();
        benchmark::DoNotOptimize(json.json().data());
    });
    add("write-nested-compact/vorn", [] { writeNested(Serializer::Compact); });
    add("write-nested-pretty/vorn", [] { writeNested(Serializer::Pretty); });
    add("escape-128KB/vorn", [] {
        Serializer json(Serializer::Compact);
        json.addValue(kToEscape);
        benchmark::DoNotOptimize(json.json().data());
    });
    const auto tree = [](const std::string& text) {
        return std::make_shared<Deserializer>(std::string_view(text));
    };
    addForTrees("copy-tree-", "vorn", tree, [](const auto& root) {
        Serializer json(Serializer::Pretty);
        json.addValue(*root);
        benchmark::DoNotOptimize(json.json().data());
    });
    const auto pair = [](const std::string& text) {
        return std::make_shared<std::pair<Deserializer, Deserializer>>(
            Deserializer(std::string_view(text)), Deserializer(std::string(text)));
    };
    const auto compare = [](const auto& both) {
        benchmark::DoNotOptimize(both->first.compare(both->second));
    };
    addForTrees("compare-equal-", "vorn", pair, compare);
    add("compare-wide/vorn", [both = pair(kWide), compare] { compare(both); });
}

// --- peers ---

#ifdef VORN_PEER_RAPIDJSON
template <class Writer, class Fill>
void writeWithRapidJson(Fill fill) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    fill(writer);
    benchmark::DoNotOptimize(buffer.GetString());
}

void addRapidJson() {
    using Compact = rapidjson::Writer<rapidjson::StringBuffer>;
    using Pretty = rapidjson::PrettyWriter<rapidjson::StringBuffer>;
    const auto parse = [](const std::string& text) {
        rapidjson::Document document;
        document.Parse(text.data(), text.size());
        benchmark::DoNotOptimize(document.HasParseError());
    };
    addParsing("rapidjson", parse);
    add("parse-and-look-up-8/rapidjson", [] {
        rapidjson::Document document;
        document.Parse(kLookUp.data(), kLookUp.size());
        for (const char* key : kKeys) {
            benchmark::DoNotOptimize(&*document.FindMember(key));
        }
    });
    const auto buffer = std::make_shared<std::string>(kEscaped);
    add("skip-escaped-string/rapidjson-in-situ", [buffer] {
        std::memcpy(buffer->data(), kEscaped.data(), kEscaped.size());
        rapidjson::Document document;
        document.ParseInsitu(buffer->data());
        benchmark::DoNotOptimize(document.HasParseError());
    });
    add("skip-backslashes/rapidjson", [parse] { parse(kBackslashes); });
    const auto members = [](auto& writer) {
        writer.StartObject();
        for (std::size_t i = 0; i < kMemberKeys.size(); ++i) {
            writer.Key(kMemberKeys[i].c_str());
            if (i % 2 == 0) {
                writer.Int(static_cast<int>(i));
            } else {
                writer.String("some text value");
            }
        }
        writer.EndObject();
    };
    add("write-members-compact/rapidjson", [members] { writeWithRapidJson<Compact>(members); });
    add("write-members-pretty/rapidjson", [members] { writeWithRapidJson<Pretty>(members); });
    add("write-doubles/rapidjson", [] {
        writeWithRapidJson<Compact>([](auto& writer) {
            writer.StartArray();
            for (const double number : kDoubles) {
                writer.Double(number);
            }
            writer.EndArray();
        });
    });
    const auto nested = [](auto& writer) {
        writer.StartObject();
        for (int group = 0; group < kGroups; ++group) {
            writer.Key(kMemberKeys[static_cast<std::size_t>(group)].c_str());
            writer.StartObject();
            for (int member = 0; member < kGroupMembers; ++member) {
                writer.Key(kMemberKeys[static_cast<std::size_t>(member)].c_str());
                writer.Int(member);
            }
            writer.EndObject();
        }
        writer.EndObject();
    };
    add("write-nested-compact/rapidjson", [nested] { writeWithRapidJson<Compact>(nested); });
    add("write-nested-pretty/rapidjson", [nested] { writeWithRapidJson<Pretty>(nested); });
    add("escape-128KB/rapidjson", [] {
        writeWithRapidJson<Compact>([](auto& writer) {
            writer.String(kToEscape.data(), static_cast<rapidjson::SizeType>(kToEscape.size()));
        });
    });
    const auto tree = [](const std::string& text) {
        const auto document = std::make_shared<rapidjson::Document>();
        document->Parse(text.data(), text.size());
        return document;
    };
    addForTrees("copy-tree-", "rapidjson", tree, [](const auto& document) {
        writeWithRapidJson<Pretty>([&](auto& writer) { document->Accept(writer); });
    });
    const auto pair = [tree](const std::string& text) {
        return std::make_pair(tree(text), tree(text));
    };
    addForTrees("compare-equal-", "rapidjson", pair,
                [](const auto& both) { benchmark::DoNotOptimize(*both.first == *both.second); });
}
#endif

#ifdef VORN_PEER_NLOHMANN
void addNlohmann() {
    using nlohmann::json;
    addParsing("nlohmann",
               [](const std::string& text) { benchmark::DoNotOptimize(json::parse(text)); });
    add("compare-wide/nlohmann", [left = json::parse(kWide), right = json::parse(kWide)] {
        benchmark::DoNotOptimize(left == right);
    });
}
#endif

#ifdef VORN_PEER_SIMDJSON
void addSimdjson() {
    const auto parser = std::make_shared<simdjson::dom::parser>();
    const auto text = std::make_shared<simdjson::padded_string>(kEscaped);
    add("unescape/simdjson", [parser, text] {
        const std::string_view found = parser->parse(*text).get_string();
        benchmark::DoNotOptimize(std::string(found));
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
#ifdef VORN_PEER_SIMDJSON
    addSimdjson();
#endif
    return true;
}();

}  // namespace
