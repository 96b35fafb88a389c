// SPDX-License-Identifier: MIT
#include "JsonFields.h"

#include <charconv>
#include <string_view>
#include <utility>

#include "json.h"

namespace gateway {

namespace {

using vorn::common::lwjson::Deserializer;

constexpr std::size_t kMostShown = 40;

Deserializer parse(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw FieldError("not JSON: there is a NUL character");
    }
    try {
        Deserializer document{std::string_view(text)};
        const std::size_t end = document.value.data + document.value.size - text.data();
        if (text.find_first_not_of(" \t\r\n", end) != std::string::npos) {
            throw FieldError("not JSON: something follows the first value");
        }
        return document;
    } catch (const FieldError&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw FieldError(std::string("not JSON: ") + error.what());
    } catch (const std::invalid_argument& error) {
        throw FieldError(std::string("not JSON: ") + error.what());
    }
}

// A value as it was written, not too much of it.
std::string found(const Deserializer& node) {
    const bool all = node.value.size <= kMostShown;
    return " (found " + std::string(node.value.view().substr(0, kMostShown)) + (all ? ")" : "...)");
}

}  // namespace

JsonFields::JsonFields(const std::string& text) : document_(parse(text)) {
    if (document_->type() != Deserializer::MemberType::Object) {
        throw FieldError("a JSON object is expected");
    }
    members_ = document_->members();
    taken_.resize(members_.size());
}

JsonFields::JsonFields(const Node* object, std::string path) : path_(std::move(path)) {
    if (object != nullptr) {
        members_ = object->members();
    }
    taken_.resize(members_.size());
}

std::string JsonFields::inQuotes(const std::string& name) const {
    return "\"" + path_ + name + "\"";
}

const Deserializer* JsonFields::take(const char* name) {
    const Node* found = nullptr;
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (members_[i] == name) {
            if (found != nullptr) {
                throw FieldError(inQuotes(name) + ": given twice");
            }
            found = &members_[i];
            taken_[i] = true;
        }
    }
    return found;
}

const Deserializer& JsonFields::mandatory(const char* name) {
    const Node* node = take(name);
    if (node == nullptr) {
        throw FieldError(inQuotes(name) + ": missing");
    }
    return *node;
}

std::string JsonFields::textOfMember(const char* name, const Node& node, std::size_t most) const {
    std::string text;
    try {
        text = textOf(node);
    } catch (const std::invalid_argument& error) {
        throw FieldError(inQuotes(name) + ": " + error.what() + found(node));
    }
    if (text.find('\0') != std::string::npos) {
        throw FieldError(inQuotes(name) + ": a NUL character is not possible here");
    }
    if (text.size() > most) {
        throw FieldError(inQuotes(name) + ": at most " + std::to_string(most) +
                         " bytes are possible (found " + std::to_string(text.size()) + ")");
    }
    return text;
}

std::string JsonFields::text(const char* name, std::size_t most) {
    return textOfMember(name, mandatory(name), most);
}

std::optional<std::string> JsonFields::optionalText(const char* name, std::size_t most) {
    const Node* node = take(name);
    return node == nullptr ? std::nullopt : std::optional(textOfMember(name, *node, most));
}

std::optional<std::vector<std::string>> JsonFields::optionalTexts(const char* name) {
    const Node* node = take(name);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (node->type() != Deserializer::MemberType::Array) {
        throw FieldError(inQuotes(name) + ": an array of strings is expected" + found(*node));
    }
    std::vector<std::string> texts;
    for (const Node& element : node->members()) {
        texts.push_back(textOfMember(name, element, kNoLimit));
    }
    return texts;
}

unsigned JsonFields::number(const char* name, unsigned least, unsigned most) {
    const Node& node = mandatory(name);
    const std::string_view text = node.value.view();
    unsigned number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || stop != text.data() + text.size() || number < least ||
        number > most) {
        throw FieldError(inQuotes(name) + ": a whole number from " + std::to_string(least) +
                         " to " + std::to_string(most) + " is expected" + found(node));
    }
    return number;
}

std::optional<unsigned> JsonFields::optionalNumber(const char* name, unsigned least,
                                                   unsigned most) {
    return take(name) == nullptr ? std::nullopt : std::optional(number(name, least, most));
}

bool JsonFields::flag(const char* name) {
    const Node* node = take(name);
    if (node == nullptr || node->value == "false") {
        return false;
    }
    if (node->value == "true") {
        return true;
    }
    throw FieldError(inQuotes(name) + ": true or false is expected" + found(*node));
}

JsonFields JsonFields::object(const char* name) {
    const Node* node = take(name);
    if (node != nullptr && node->type() != Deserializer::MemberType::Object) {
        throw FieldError(inQuotes(name) + ": an object is expected" + found(*node));
    }
    return {node, path_ + name + "."};
}

void JsonFields::finish() const {
    for (std::size_t i = 0; i < taken_.size(); ++i) {
        if (!taken_[i]) {
            throw FieldError("unknown member " + inQuotes(members_[i].name()));
        }
    }
}

}  // namespace gateway
