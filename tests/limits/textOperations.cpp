// SPDX-License-Identifier: MIT
#include "textOperations.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include <vorn/common/BinderDb.h>
#include <vorn/common/Crc16Computer.h>
#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/SecureString.h>
#include <vorn/common/TypedArgs.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/cipher/CipherProxy.h>
#include <vorn/common/communication/CommunicationStatus.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/settings/JsonSettings.h>
#include <vorn/common/strings/strings.h>
#include <vorn/common/strlcpy.h>
#include <vorn/common/time/UnixTime.h>

#include "chosenNames.h"
#include "helpers/TempDir.h"

namespace limits {
namespace {

using namespace vorn::common;
using lwjson::Deserializer;
using lwjson::Serializer;

/// The piece again and again, up to that many bytes.
std::string repeated(std::string_view piece, std::size_t bytes) {
    std::string text;
    text.reserve(bytes + piece.size());
    while (text.size() + piece.size() <= bytes) {
        text += piece;
    }
    return text;
}

std::string list(std::string_view element, std::size_t bytes, char opening = '[') {
    std::string text = opening + repeated(std::string(element) + ",", bytes);
    text.back() = opening == '[' ? ']' : '}';
    return text;
}

// By name: a template would be instantiated anew for each of the fifty rows.
using Make = std::function<std::string(std::size_t)>;
using Prepare = std::function<std::function<void()>(std::size_t)>;
using OnText = std::function<void(const std::string&)>;

/// An operation on one text that may refuse it.
Prepare on(Make make, OnText operation) {
    return [make = std::move(make), operation = std::move(operation)](std::size_t bytes) {
        return [text = make(bytes), operation] {
            try {
                operation(text);
            } catch (const std::exception&) {
            }
        };
    };
}

Make filledWith(std::string piece, std::string before = {}, std::string behind = {}) {
    return [=](std::size_t bytes) { return before + repeated(piece, bytes) + behind; };
}

void parse(const std::string& text) {
    static_cast<void>(Deserializer(std::string_view(text)));
}

template <class T>
void extract(const std::string& text) {
    T out{};
    Deserializer::extractValue(text.data(), static_cast<unsigned>(text.size()), out, "name");
}

/// An operation on a parsed document, which is read once.
Prepare onDocument(Make make, std::function<void(const Deserializer&)> operation) {
    return [make = std::move(make), operation = std::move(operation)](std::size_t bytes) {
        auto document = std::make_shared<const Deserializer>(make(bytes));
        return [document, operation] { operation(*document); };
    };
}

std::string numbered(std::size_t bytes, bool backwards) {
    std::vector<std::string> members;
    const std::size_t count = bytes / 16;
    for (std::size_t i = 0; i < count; ++i) {
        members.push_back("\"key" + std::to_string(100000000 + i) + "\":1");
    }
    if (backwards) {
        std::reverse(members.begin(), members.end());
    }
    std::string text = "{";
    for (const std::string& member : members) {
        text += member + ",";
    }
    text.back() = '}';
    return text;
}

auto compareInOppositeOrders(std::size_t bytes) -> std::function<void()> {
    auto expected = std::make_shared<const Deserializer>(numbered(bytes, false));
    auto found = std::make_shared<const Deserializer>(numbered(bytes, true));
    return [expected, found] { static_cast<void>(expected->compare(*found)); };
}

auto compareEveryLeafDifferent(std::size_t bytes) -> std::function<void()> {
    auto expected = std::make_shared<const Deserializer>(list("[1]", bytes));
    auto found = std::make_shared<const Deserializer>(list("[2]", bytes));
    return [expected, found] {
        std::ostringstream report;
        static_cast<void>(expected->compare(*found, report));
    };
}

/// An object of the names and that value for each.
std::string membersNamed(const std::vector<std::string>& names, const std::string& value) {
    std::string text = "{";
    for (const std::string& name : names) {
        text += "\"" + name + "\":" + value + ",";
    }
    text.back() = '}';
    return text;
}

/// Its own hash table does not help with such names, and what sorts them finds all equal.
Prepare compareNames(std::vector<std::string> (*choose)(std::size_t)) {
    return [choose](std::size_t bytes) {
        const std::string text = membersNamed(choose(bytes / 21), "1");
        auto expected = std::make_shared<const Deserializer>(std::string(text));
        auto found = std::make_shared<const Deserializer>(std::string(text));
        return [expected, found] { static_cast<void>(expected->compare(*found)); };
    };
}

auto importIntoOneReader(std::size_t bytes) -> std::function<void()> {
    return [bytes] {
        Deserializer reader;
        for (std::size_t i = 0; i < bytes / 4; ++i) {
            reader.importJson("[1]");
        }
    };
}

auto writeInPieces(std::size_t bytes) -> std::function<void()> {
    return [bytes] {
        Serializer json;
        for (std::size_t i = 0; i < bytes / 8; ++i) {
            json.appendKey("k");
            json.addValue("\"");
        }
        json.finalize();
    };
}

auto nestWritten(std::size_t bytes) -> std::function<void()> {
    auto inner = std::make_shared<Serializer>();
    inner->addValue(std::vector<int>(bytes / 8, 1));
    inner->finalize();
    return [inner] {
        Serializer outer;
        outer.appendKey("k");
        outer.addValue(*inner);
        outer.finalize();
    };
}

Prepare onFile(const char* name, const Make& make, const OnText& operation) {
    return [=](std::size_t bytes) {
        auto directory = std::make_shared<helpers::TempDir>();
        const std::string path = directory->write(name, make(bytes));
        return [directory, path, operation] {
            try {
                operation(path);
            } catch (const std::exception&) {
            }
        };
    };
}

/// Leaves texts as they are, so that only the library's own work is measured.
class PlainCipher : public cipher::ICipher {
  public:
    std::string encrypt(const std::string_view& plain) const override { return std::string(plain); }
    std::string decrypt(const std::string_view& text) const override { return std::string(text); }
    cipher::CipherProxy clone() const override {
        return cipher::CipherProxy(std::make_unique<PlainCipher>());
    }
};

/// Settings of one text.
class Settings : public settings::JsonSettings {
  public:
    explicit Settings(std::string text = {}) : text_(std::move(text)) {}

  private:
    bool loadSettings(const std::string&, const Deserializer& settings) override {
        text_ = settings["text"].as<std::string>();
        return true;
    }
    std::pair<std::string, Serializer> saveSettings() const override {
        Serializer json;
        json.appendKey("text");
        json.addValue(text_);
        json.finalize();
        return {"1", json};
    }

    std::string text_;
};

auto writeClients(std::size_t bytes) -> std::function<void()> {
    auto list = std::make_shared<const BinderClientsList>(
        bytes / 16, BinderClient(Uuid("933d6c80-dea9-8c6b-d111-8b3b46a181f1"), "|"));
    return [list] {
        std::string uuids;
        std::string interfaces;
        BinderDb::serializeClientsList(*list, uuids, interfaces);
        std::ostringstream out;
        out << *list;
    };
}

void add(std::vector<TextOperation>& rows, std::vector<TextOperation> more) {
    rows.insert(rows.end(), more.begin(), more.end());
}

std::vector<TextOperation> json() {
    const std::string deep = std::string(99, '[') + std::string(99, ']');
    const auto copied = [](Serializer::Format format) {
        return [format](const Deserializer& node) {
            Serializer json(format);
            json.addValue(node);
        };
    };
    return {
        {"parse short numbers", on([](std::size_t n) { return list("1", n); }, parse)},
        {"parse deep arrays", on([=](std::size_t n) { return list(deep, n); }, parse)},
        {"parse equal keys", on([](std::size_t n) { return list("\"k\":1", n, '{'); }, parse)},
        {"parse escaped quotes", on(filledWith("\\\"", "[\"", "\"]"), parse)},
        {"parse backslashes", on(filledWith("\\\\", "[\"", "\"]"), parse)},
        {"parse open strings", on(filledWith("\\\"", "[\""), parse)},
        {"parse white space", on(filledWith(" \n\t\r", "[", "1]"), parse)},
        {"parse one long token", on(filledWith("x", "[", "]"), parse)},
        {"parse up to a late error", on(filledWith("[],", "["), parse)},
        {"parse single quotes", on([](std::size_t n) { return list("'k':1", n, '{'); },
                                   [](const std::string& text) {
                                       static_cast<void>(
                                           Deserializer(std::string_view(text),
                                                        Deserializer::AllowSingleQuotedKeys));
                                   })},
        {"parse open single quotes", on(filledWith("\"", "{'"),
                                        [](const std::string& text) {
                                            static_cast<void>(
                                                Deserializer(std::string_view(text),
                                                             Deserializer::AllowSingleQuotedKeys));
                                        })},
        {"parse empty values", on(filledWith(",", "[", "1]"),
                                  [](const std::string& text) {
                                      static_cast<void>(Deserializer(
                                          std::string_view(text), Deserializer::AllowEmptyValues));
                                  })},
        {"parse piece by piece", on(filledWith("[1] "),
                                    [](const std::string& text) {
                                        const char* at = text.data();
                                        const char* const end = at + text.size();
                                        Deserializer reader;
                                        while (at != end) {
                                            at = reader.parseJson(at, end, 100);
                                        }
                                    })},
        {"import again and again", importIntoOneReader},
        {"value type of digits",
         onDocument(filledWith("7"),
                    [](const Deserializer& node) { static_cast<void>(node.getValueType()); })},
        {"look up the last key",
         onDocument([](std::size_t n) { return numbered(n, false); },
                    [](const Deserializer& node) { static_cast<void>(node.findMember("key")); }),
         1U << 19U},
        {"extract backslashes", on(filledWith("\\", "\"", "\""), extract<std::string>)},
        {"extract escapes", on(filledWith("\\\\n", "\"", "\""), extract<std::string>)},
        {"extract a double of digits", on(filledWith("9", "1."), extract<double>)},
        {"extract a double of zeros", on(filledWith("0", "0.", "1"), extract<double>)},
        {"extract a long double", on(filledWith("9", "1."), extract<long double>)},
        {"extract zeros as an integer", on(filledWith("0", "", "1"), extract<int>)},
        {"extract zeros as a duration", on(filledWith("0", "", "1"), extract<SecondsDuration>)},
        {"extract a long identifier", on(filledWith("a", "\"", "\""), extract<Uuid>)},
        {"compare names of one hash", compareNames(namesOfOneHash)},
        {"compare names that it confuses", compareNames(namesThatTheComparisonConfuses)},
        {"compare opposite orders", compareInOppositeOrders},
        {"report every leaf", compareEveryLeafDifferent},
        {"write quotes", on(filledWith("\""),
                            [](const std::string& text) {
                                Serializer json;
                                json.addValue(text);
                            })},
        {"write many members", writeInPieces},
        {"nest a written text", nestWritten},
        {"copy short numbers",
         onDocument([](std::size_t n) { return list("1", n); }, copied(Serializer::Pretty))},
        {"copy deep arrays",
         onDocument([=](std::size_t n) { return list(deep, n); }, copied(Serializer::Compact))},
        {"copy raw line feeds",
         onDocument(filledWith("\n", "[[[[\"", "\"]]]]"), copied(Serializer::Pretty))},
    };
}

std::vector<TextOperation> identifiers() {
    // Again and again within the caches: where they end is all that so quick a copy would show.
    constexpr int kCopies = 500;
    const auto check = [](const std::string& text) {
        static_cast<void>(encoding::Base64::checkBase64(text));
    };
    const auto encode = [](const std::string& text) {
        static_cast<void>(encoding::Base64::encodeToString(text));
    };
    const auto decodeAny = [](const std::string& text) {
        static_cast<void>(encoding::Base64::decodeToString(text, true));
    };
    const auto encodeUrl = [](const std::string& text) {
        static_cast<void>(encoding::UrlEncode::encode(text));
    };
    const auto decodeUrl = [](const std::string& text) {
        static_cast<void>(encoding::UrlEncode::decode(text));
    };
    const auto trim = [](const std::string& text) {
        std::string copy = text;
        strings::trim(copy);
    };
    const auto find = [](const char* pattern) {
        return [pattern](const std::string& text) {
            static_cast<void>(findEsc(text, pattern, 0, '\\'));
        };
    };
    return {
        {"Base64 encode", on(filledWith("\xFF"), encode), 1U << 17U},
        {"Base64 decode", on(filledWith("AAAA"), decodeAny), 1U << 17U},
        {"Base64 decode what is none", on(filledWith("="), decodeAny)},
        {"Base64 check", on(filledWith("AAAA"), check), 1U << 17U},
        {"Base64 check that fails late", on(filledWith("AAAA", "", "?AAA"), check), 1U << 17U},
        {"Base64 decode to bytes",
         on(filledWith("A"),
            [](const std::string& text) {
                static_cast<void>(encoding::Base64::decodeToByte(text));
            }),
         1U << 17U},
        {"URL encode", on(filledWith("\xFF"), encodeUrl)},
        {"URL decode", on(filledWith("%41"), decodeUrl)},
        {"URL decode a late error", on(filledWith("%41", "", "%"), decodeUrl)},
        {"trim white space", on(filledWith(" "), trim)},
        {"trim in front", on(filledWith(" ", "", "x"), trim)},
        {"find behind escapes", on(filledWith("\\", "", "\\x"), find("x")), 1U << 17U},
        {"find only escaped", on(filledWith("\\x"), find("x"))},
        {"find 64 characters", on(filledWith("a"),
                                  [](const std::string& text) {
                                      const std::string pattern = std::string(63, 'a') + 'b';
                                      static_cast<void>(findEsc(text, pattern, 0, '\\'));
                                  })},
        {"copy what does not fit",
         on(filledWith("x"),
            [](const std::string& text) {
                char out[8];
                for (int i = 0; i < kCopies; ++i) {
                    static_cast<void>(strlcpy(out, text.c_str(), sizeof out));
                }
            }),
         1U << 12U},
        {"copy what fits",
         on(filledWith("x"),
            [](const std::string& text) {
                // Half a page away from the text: at the same place of a page, each load would wait
                // for the store before it, and only where the sizes are those of pages.
                constexpr std::size_t kAway = 2048;
                std::string out(kAway + text.size() + 1, ' ');
                for (int i = 0; i < kCopies; ++i) {
                    static_cast<void>(
                        strlcpy(out.data() + kAway, text.c_str(), out.size() - kAway));
                }
            }),
         1U << 9U},
        {"keep a secret",
         on(filledWith("x"),
            [](const std::string& text) {
                auto secret = SecureString::fromPlainText(PlainCipher().clone(), text);
                secret.reset(text);
                static_cast<void>(secret.decipheredString());
            }),
         1U << 18U},
        {"identifier refused",
         on(filledWith("x"), [](const std::string& text) { static_cast<void>(Uuid(text)); }),
         1U << 17U},
        {"identifier of words",
         on(filledWith(" "),
            [](const std::string& text) { static_cast<void>(Uuid::fromBase64String(text, text)); }),
         1U << 17U},
        {"identifier of a name",
         on(filledWith("x"),
            [](const std::string& text) { static_cast<void>(Uuid(Uuid::VORN_NAMESPACE, text)); })},
        {"CRC",
         on(filledWith("x"),
            [](const std::string& text) {
                Crc16Computer crc;
                crc.update(std::vector<unsigned char>(text.begin(), text.end()));
            }),
         1U << 17U},
    };
}

std::vector<TextOperation> others() {
    const auto readTime = [](const std::string& text) {
        UnixTime time;
        static_cast<void>(time.parseIso8601(text));
    };
    const auto flatten = [](const Deserializer& root) { static_cast<void>(loadArgs(root)); };
    const auto configure = [](const std::string& path) { static_cast<void>(loadConfigFile(path)); };
    const std::string deep = "\"a\":" + [] {
        std::string text;
        for (int i = 0; i < 20; ++i) {
            text += "{\"k\":";
        }
        return text + "1" + std::string(20, '}');
    }();
    return {
        {"time with a long fraction", on(filledWith("9", "2020-02-29T12:00:00."), readTime)},
        {"time behind white space", on(filledWith(" ", "", "2020-02-29T12:00:00Z"), readTime)},
        {"time with a long zone", on(filledWith("0", "2020-02-29T12:00:00+"), readTime)},
        {"flatten values", onDocument([](std::size_t n) { return numbered(n, false); }, flatten)},
        {"flatten deep objects",
         onDocument([=](std::size_t n) { return list(deep, n, '{'); }, flatten)},
        {"flatten arrays", onDocument([](std::size_t n) { return list("[1]", n); }, flatten)},
        {"integer argument of zeros",
         on(filledWith("0", "", "1"),
            [](const std::string& text) { static_cast<void>(GetTypedArgHelper<int>::get(text)); }),
         1U << 17U},
        {"floating argument of digits", on(filledWith("9", "1."),
                                           [](const std::string& text) {
                                               static_cast<void>(
                                                   GetTypedArgHelper<double>::get(text));
                                           })},
        {"configuration of lines", onFile("a.conf", filledWith("l a\n"), configure)},
        {"configuration of one line", onFile("a.conf", filledWith("a "), configure), 1U << 13U},
        {"configuration of quotes", onFile("a.conf", filledWith("\"\" "), configure), 1U << 13U},
        {"configuration in JSON",
         onFile(
             "a.json",
             [](std::size_t n) {
                 return "{\"plugins\":" + list("{\"path\":\"l\",\"args\":{\"a\":1}}", n) + "}";
             },
             configure)},
        {"settings written", on(filledWith("\n"),
                                [](const std::string& text) {
                                    std::ostringstream out;
                                    Settings(text).serialize(out);
                                })},
        {"settings read", on(filledWith("\\n", R"({"version":"1","settings":{"text":")", "\"}}"),
                             [](const std::string& text) {
                                 std::istringstream in(text);
                                 static_cast<void>(Settings().deserialize(in));
                             })},
        {"lines of a file", onFile("lines", filledWith("\n"),
                                   [](const std::string& path) {
                                       static_cast<void>(fs::tools::readFileLinesToArray(path, {}));
                                   })},
        {"lines trimmed",
         onFile(
             "lines", filledWith(" x \n"),
             [](const std::string& path) {
                 using enum fs::tools::ReadFileOptions;
                 static_cast<void>(fs::tools::readFileLinesToArray(path, {Trim, SkipEmptyLines}));
             })},
        {"one long line trimmed",
         onFile(
             "lines", filledWith(" ", "x", "x"),
             [](const std::string& path) {
                 using enum fs::tools::ReadFileOptions;
                 static_cast<void>(fs::tools::readFileLinesToArray(path, {Trim, SkipEmptyLines}));
             }),
         1U << 18U},
        {"lines joined", onFile("lines", filledWith("\n"),
                                [](const std::string& path) {
                                    static_cast<void>(
                                        fs::tools::readFileLinesToString(path, ", ", {}));
                                })},
        {"state of a text", on(filledWith("x"),
                               [](const std::string& text) {
                                   using namespace communication;
                                   for (int i = 0; i < 200; ++i) {
                                       static_cast<void>(fromString<ComState>(text));
                                       static_cast<void>(fromString<Reason>(text));
                                   }
                               })},
        {"clients list written", writeClients},
        {"clients list of separators", on(filledWith("|"),
                                          [](const std::string& text) {
                                              BinderClientsList list;
                                              BinderDb::deserializeClientList(text, text, list);
                                          })},
    };
}

/// A document of a name as long as the values below it.
std::string belowALongName(std::size_t bytes) {
    std::string values;
    for (std::size_t i = 0; i < bytes / 16; ++i) {
        values += ",\"" + std::to_string(1000000 + i) + "\":1";
    }
    return "{\"" + std::string(bytes / 2, 'k') + "\":{" + values.substr(1) + "}}";
}

}  // namespace

std::vector<TextOperation> products() {
    const auto compareBelow = [](std::size_t bytes) -> std::function<void()> {
        std::string text = belowALongName(bytes);
        auto expected = std::make_shared<const Deserializer>(std::string(text));
        for (std::size_t at = text.find(":1"); at != std::string::npos; at = text.find(":1", at)) {
            text.replace(at, 2, ":2");
        }
        auto found = std::make_shared<const Deserializer>(std::move(text));
        return [expected, found] {
            std::ostringstream report;
            static_cast<void>(expected->compare(*found, report));
        };
    };
    // Each of the one side is held against the first of that name of the other side.
    const auto compareRepeated = [](std::size_t bytes) -> std::function<void()> {
        const std::string values = list("\"a\":1", bytes, '{');
        auto expected = std::make_shared<const Deserializer>(list("\"k\":{}", bytes, '{'));
        auto found = std::make_shared<const Deserializer>("{\"k\":" + values + "}");
        return [expected, found] {
            std::ostringstream report;
            static_cast<void>(expected->compare(*found, report));
        };
    };
    return {
        {"flatten below a long name",
         onDocument(belowALongName,
                    [](const Deserializer& root) { static_cast<void>(loadArgs(root)); }),
         1U << 11U},
        {"report below a long name", compareBelow, 1U << 11U},
        {"report below repeated names", compareRepeated, 1U << 9U},
    };
}

std::vector<TextOperation> productsOfTime() {
    const auto flatten = [](const Deserializer& root) { static_cast<void>(loadArgs(root)); };
    const auto chosen = [](std::size_t bytes) {
        return membersNamed(namesOfOneHash(bytes / (2 * sizeof(std::size_t) + 5)), "1");
    };
    const auto find = [](const std::string& text) {
        static_cast<void>(findEsc(text, std::string(text.size() / 2, 'a') + 'b', 0, '\\'));
    };
    return {
        {"flatten names of one hash", onDocument(chosen, flatten), 1U << 11U},
        {"find a long pattern", on(filledWith("a"), find), 1U << 11U},
    };
}

std::vector<TextOperation> textOperations() {
    std::vector<TextOperation> rows = json();
    add(rows, identifiers());
    add(rows, others());
    return rows;
}

}  // namespace limits
