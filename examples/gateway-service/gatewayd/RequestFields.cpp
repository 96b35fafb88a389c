#include "RequestFields.h"

#include <charconv>
#include <string_view>

#include "JsonText.h"

namespace gateway {

namespace {

using vorn::common::lwjson::Deserializer;

Deserializer parse(const std::string& line) {
    if (line.find('\0') != std::string::npos) {
        throw RequestError("not JSON: the line holds a NUL character");
    }
    try {
        Deserializer document{std::string_view(line)};
        const std::size_t end = document.value.data + document.value.size - line.data();
        if (line.find_first_not_of(" \t\r", end) != std::string::npos) {
            throw RequestError("not JSON: something follows the first value");
        }
        return document;
    } catch (const RequestError&) {
        throw;
    } catch (const std::exception& error) {
        throw RequestError(std::string("not JSON: ") + error.what());
    }
}

std::string inQuotes(std::string_view name) {
    return "\"" + std::string(name) + "\"";
}

std::string textOfMember(const char* name, const Deserializer& node) {
    try {
        std::string text = textOf(node);
        if (text.find('\0') == std::string::npos) {
            return text;
        }
    } catch (const std::invalid_argument& error) {
        throw RequestError(inQuotes(name) + ": " + error.what());
    }
    throw RequestError(inQuotes(name) + ": a NUL character is not possible here");
}

}  // namespace

RequestFields::RequestFields(const std::string& line) : document_(parse(line)) {
    if (document_.type() != Deserializer::MemberType::Object) {
        throw RequestError("a JSON object is expected");
    }
    taken_.resize(document_.members().size());
}

const Deserializer* RequestFields::take(const char* name) {
    const Node* found = nullptr;
    const std::vector<Node>& members = document_.members();
    for (std::size_t i = 0; i < members.size(); ++i) {
        if (members[i] == name) {
            if (found != nullptr) {
                throw RequestError(inQuotes(name) + ": given twice");
            }
            found = &members[i];
            taken_[i] = true;
        }
    }
    return found;
}

const Deserializer& RequestFields::mandatory(const char* name) {
    const Node* node = take(name);
    if (node == nullptr) {
        throw RequestError(inQuotes(name) + ": missing");
    }
    return *node;
}

std::string RequestFields::text(const char* name) {
    return textOfMember(name, mandatory(name));
}

std::optional<std::string> RequestFields::optionalText(const char* name) {
    const Node* node = take(name);
    return node == nullptr ? std::nullopt : std::optional(textOfMember(name, *node));
}

std::optional<std::vector<std::string>> RequestFields::optionalTexts(const char* name) {
    const Node* node = take(name);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (node->type() != Deserializer::MemberType::Array) {
        throw RequestError(inQuotes(name) + ": an array of strings is expected");
    }
    std::vector<std::string> texts;
    for (const Node& element : node->members()) {
        texts.push_back(textOfMember(name, element));
    }
    return texts;
}

unsigned RequestFields::number(const char* name, unsigned least, unsigned most) {
    const auto& text = mandatory(name).value;
    unsigned number = 0;
    const auto [stop, error] = std::from_chars(text.data, text.data + text.size, number);
    if (error != std::errc() || stop != text.data + text.size || number < least || number > most) {
        throw RequestError(inQuotes(name) + ": a whole number from " + std::to_string(least) +
                           " to " + std::to_string(most) + " is expected");
    }
    return number;
}

bool RequestFields::flag(const char* name) {
    const Node* node = take(name);
    if (node == nullptr || node->value == "false") {
        return false;
    }
    if (node->value == "true") {
        return true;
    }
    throw RequestError(inQuotes(name) + ": true or false is expected");
}

void RequestFields::finish() const {
    for (std::size_t i = 0; i < taken_.size(); ++i) {
        if (!taken_[i]) {
            throw RequestError("unknown member " + inQuotes(document_.members()[i].name()));
        }
    }
}

}  // namespace gateway
