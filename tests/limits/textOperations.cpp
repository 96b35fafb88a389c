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
#include <vorn/common/TypedArgs.h>
#include <vorn/common/Uuid.h>
#include <vorn/common/encoding/Base64.h>
#include <vorn/common/encoding/UrlEncode.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/strings/strings.h>
#include <vorn/common/time/UnixTime.h>

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
        {"URL encode", on(filledWith("\xFF"), encodeUrl)},
        {"URL decode", on(filledWith("%41"), decodeUrl)},
        {"URL decode a late error", on(filledWith("%41", "", "%"), decodeUrl)},
        {"trim white space", on(filledWith(" "), trim)},
        {"trim in front", on(filledWith(" ", "", "x"), trim)},
        {"find behind escapes", on(filledWith("\\", "", "\\x"), find("x")), 1U << 17U},
        {"find only escaped", on(filledWith("\\x"), find("x"))},
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
        {"configuration of one line", onFile("a.conf", filledWith("a "), configure)},
        {"configuration of quotes", onFile("a.conf", filledWith("\"\" "), configure)},
        {"configuration in JSON",
         onFile(
             "a.json",
             [](std::size_t n) {
                 return "{\"plugins\":" + list("{\"path\":\"l\",\"args\":{\"a\":1}}", n) + "}";
             },
             configure)},
        {"lines of a file", onFile("lines", filledWith("\n"),
                                   [](const std::string& path) {
                                       static_cast<void>(fs::tools::readFileLinesToArray(path, {}));
                                   })},
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
    return {
        {"flatten below a long name",
         onDocument(belowALongName,
                    [](const Deserializer& root) { static_cast<void>(loadArgs(root)); }),
         1U << 11U},
        {"report below a long name", compareBelow, 1U << 11U},
    };
}

std::vector<TextOperation> textOperations() {
    std::vector<TextOperation> rows = json();
    add(rows, identifiers());
    add(rows, others());
    return rows;
}

}  // namespace limits
