// SPDX-License-Identifier: MIT
// Writers are driven through any sequence of steps, beside the step by step writer of the tests:
// the same text after each, the same errors, and nothing changed by a step that fails.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/Uuid.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#include "fuzz.h"
#include "json/ReferenceWriter.h"

namespace {

using vorn::common::Uuid;
using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;
using vorn::common::time::SecondsDuration;
using vorn::common::time::UnixTime;

struct Pair {
    Serializer found;
    ReferenceWriter expected;

    Pair(unsigned format, const std::string& start)
        : found(std::string(start), static_cast<Serializer::Format>(format)),
          expected(format == 0, start) {}
};

/// Texts nested into each other double with every step.
constexpr std::size_t kLongest = 4000;

class Writers {
  public:
    explicit Writers(fuzz::Input input) : input_(input) {}

    void run() {
        for (unsigned i = 0; i < 3; ++i) {
            add();
        }
        for (int steps = 0; !input_.empty() && steps < 200; ++steps) {
            step();
        }
    }

  private:
    void add() {
        const unsigned choice = input_.byte();
        constexpr const char* kStarts[] = {"",   "",    "",          "{",           "{\"a\":1",
                                           "{}", "[1]", "{\"a\":1,", "{\"a\":{}} ", "1, "};
        pairs_.emplace_back(choice % 3, kStarts[choice / 3 % 10]);
    }

    std::string text() { return std::string(input_.text(input_.byte() % 12)); }

    template <class Found, class Expected>
    void both(Pair& pair, Found found, Expected expected) {
        const std::string before = pair.expected.text;
        const std::string error = fuzz::errorOf([&] { expected(pair.expected); });
        fuzz::same(error, fuzz::errorOf([&] { found(pair.found); }), "error");
        fuzz::same(pair.expected.text, pair.found.json(), "text");
        fuzz::same(pair.expected.finalized, pair.found.isFinalized(), "finalized");
        fuzz::require(error.empty() || pair.expected.text == before, "a failed step");
    }

    template <class Number>
    void number(Pair& pair, Number value, unsigned precision, int decimals) {
        const bool fixed = precision % 2 == 1;
        both(
            pair,
            [&](Serializer& json) {
                json.addValue(value,
                              fixed ? std::optional<unsigned char>(precision) : std::nullopt);
            },
            [&](ReferenceWriter& json) {
                json.addNumber(value, fixed, fixed ? static_cast<int>(precision) : decimals);
            });
    }

    template <class Integer>
    void integer(Pair& pair, Integer value) {
        both(
            pair, [&](Serializer& json) { json.addValue(value); },
            [&](ReferenceWriter& json) { json.appendValue(std::to_string(value)); });
    }

    template <class Value>
    void value(Pair& pair, const Value& value, const std::string& text) {
        both(
            pair, [&](Serializer& json) { json.addValue(value); },
            [&](ReferenceWriter& json) { json.appendValue(text); });
    }

    void step() {
        const unsigned choice = input_.byte();
        Pair& pair = pairs_[choice % pairs_.size()];
        if (pair.expected.text.size() > kLongest) {
            return;
        }
        switch (choice / 4 % 20) {
            case 0:
            case 1: {
                const std::string key = text();
                both(
                    pair, [&](Serializer& json) { json.appendKey(key.c_str()); },
                    [&](ReferenceWriter& json) { json.appendKey(key.c_str()); });
                break;
            }
            case 2: {
                const std::string raw = text();
                both(
                    pair, [&](Serializer& json) { json.appendValue(raw.c_str()); },
                    [&](ReferenceWriter& json) { json.appendValue(raw.c_str()); });
                break;
            }
            case 3: {
                const std::string raw = text();
                both(
                    pair, [&](Serializer& json) { json.appendValueAsString(raw.c_str()); },
                    [&](ReferenceWriter& json) {
                        json.appendValue('"' + std::string(raw.c_str()) + '"');
                    });
                break;
            }
            case 4: {
                const std::string string = text();
                both(
                    pair, [&](Serializer& json) { json.addValue(string); },
                    [&](ReferenceWriter& json) { json.addString(string); });
                break;
            }
            case 5: {
                // Long enough for whole blocks.
                const std::string string = text() + std::string(input_.byte() % 70, 'x') + text();
                both(
                    pair, [&](Serializer& json) { json.addValue(std::string_view(string)); },
                    [&](ReferenceWriter& json) { json.addString(string); });
                break;
            }
            case 6: {
                const std::string key = text();
                both(
                    pair, [&](Serializer& json) { json.addNull(key.c_str()); },
                    [&](ReferenceWriter& json) {
                        json.appendKey(key.c_str());
                        json.appendValue("null");
                    });
                break;
            }
            case 7:
                number(pair, input_.number<double>(), input_.byte(), 16);
                break;
            case 8:
                number(pair, input_.number<float>(), input_.byte(), 8);
                break;
            case 9: {
                const long double number = input_.number<double>() / 3.0L;
                both(
                    pair, [&](Serializer& json) { json.addValue(number); },
                    [&](ReferenceWriter& json) { json.addNumber(number, false, 16); });
                break;
            }
            case 10:
                integer(pair, input_.number<long long>());
                break;
            case 11:
                integer(pair, input_.number<unsigned>());
                break;
            case 12: {
                const bool truth = input_.byte() % 2 == 0;
                value(pair, truth, truth ? "true" : "false");
                break;
            }
            case 13: {
                const SecondsDuration duration(input_.number<std::uint32_t>());
                value(pair, duration,
                      duration.isInfinite() ? "-1" : std::to_string(duration.count()));
                break;
            }
            case 14: {
                const auto time = UnixTime::fromSeconds(input_.number<double>());
                both(
                    pair, [&](Serializer& json) { json.addValue(time); },
                    [&](ReferenceWriter& json) { json.addNumber(time.seconds(), false, 16); });
                break;
            }
            case 15: {
                Uuid::Bytes bytes{};
                bytes[input_.byte() % 16] = input_.byte();
                const Uuid uuid(bytes);
                value(pair, uuid, '"' + uuid.to_string() + '"');
                break;
            }
            case 16:
                addPair(pair, pairs_[input_.byte() % pairs_.size()]);
                break;
            case 17:
                addArray(pair);
                break;
            case 18:
                addTree(pair);
                break;
            default:
                finish(pair);
        }
    }

    void addPair(Pair& pair, const Pair& other) {
        if (other.expected.text.size() < kLongest) {
            both(
                pair, [&](Serializer& json) { json.addValue(other.found); },
                [&](ReferenceWriter& json) {
                    const ReferenceWriter copy = other.expected;
                    json.add(copy);
                });
        }
    }

    void addArray(Pair& pair) {
        std::vector<Serializer> found;
        std::vector<ReferenceWriter> expected;
        for (unsigned count = input_.byte() % 4; count != 0; --count) {
            const Pair& other = pairs_[input_.byte() % pairs_.size()];
            if (&other != &pair && other.expected.text.size() < kLongest) {
                found.push_back(other.found);
                expected.push_back(other.expected);
            }
        }
        both(
            pair, [&](Serializer& json) { json.addValue(found); },
            [&](ReferenceWriter& json) { json.add(expected); });
    }

    void addTree(Pair& pair) {
        const std::string json = text();
        Deserializer node(Deserializer::AllowEmptyValues | Deserializer::AllowSingleQuotedKeys);
        if (fuzz::errorOf([&] { node.importJson(std::string(json)); }).empty()) {
            both(
                pair, [&](Serializer& target) { target.addValue(node); },
                [&](ReferenceWriter& target) { target.add(node); });
        }
    }

    void finish(Pair& pair) {
        const unsigned choice = input_.byte() % 8;
        if (choice == 0) {
            both(
                pair, [](Serializer& json) { json.setNull(); },
                [](ReferenceWriter& json) { json.setNull(); });
        } else if (choice < 4) {
            both(
                pair, [](Serializer& json) { json.finalize(); },
                [](ReferenceWriter& json) { json.finalize(); });
        } else if (pairs_.size() < 12) {
            add();
        }
    }

    fuzz::Input input_;
    std::vector<Pair> pairs_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Writers(fuzz::Input(data, size)).run();
    return 0;
}
