// SPDX-License-Identifier: MIT
#include "Arguments.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace gateway {

Arguments::Arguments(int argc, char** argv) : options_(argv + 1, argv + argc) {
    const auto end = std::find(options_.begin(), options_.end(), "--");
    if (end != options_.end()) {
        operands_.assign(end + 1, options_.end());
        options_.erase(end, options_.end());
    }
}

bool Arguments::flag(const std::string& name) {
    return std::erase(options_, name) != 0;
}

std::vector<std::string> Arguments::values(const std::string& name) {
    std::vector<std::string> values;
    for (auto option = options_.begin(); option != options_.end();) {
        if (option->compare(0, name.size() + 1, name + "=") == 0) {
            values.push_back(option->substr(name.size() + 1));
            option = options_.erase(option);
        } else if (*option == name) {
            if (option + 1 == options_.end()) {
                throw UsageError(name + " needs a value");
            }
            values.push_back(std::move(*(option + 1)));
            option = options_.erase(option, option + 2);
        } else {
            ++option;
        }
    }
    return values;
}

std::optional<std::string> Arguments::value(const std::string& name) {
    std::vector<std::string> all = values(name);
    if (all.size() > 1) {
        throw UsageError(name + " is given twice");
    }
    return all.empty() ? std::nullopt : std::optional(std::move(all.front()));
}

std::optional<unsigned> Arguments::number(const std::string& name) {
    const std::optional<std::string> text = value(name);
    if (!text) {
        return std::nullopt;
    }
    unsigned number = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc() || stop != end) {
        throw UsageError(name + " needs a number, not \"" + *text + "\"");
    }
    return number;
}

std::string Arguments::operand(const std::string& what) {
    std::vector<std::string>& from = options_.empty() ? operands_ : options_;
    if (from.empty()) {
        throw UsageError(what + " is missing");
    }
    if (&from == &options_ && from.front().size() > 1 && from.front()[0] == '-') {
        refuseOptions();
    }
    std::string first = std::move(from.front());
    from.erase(from.begin());
    return first;
}

std::vector<std::string> Arguments::operands() {
    refuseOptions();
    std::vector<std::string> all = std::move(options_);
    all.insert(all.end(), operands_.begin(), operands_.end());
    options_.clear();
    operands_.clear();
    return all;
}

void Arguments::finish() {
    const std::vector<std::string> left = operands();
    if (!left.empty()) {
        throw UsageError("\"" + left.front() + "\" is one argument too many");
    }
}

void Arguments::refuseOptions() const {
    for (const std::string& option : options_) {
        if (option.size() > 1 && option[0] == '-') {
            throw UsageError("there is no option " + option + " here");
        }
    }
}

}  // namespace gateway
