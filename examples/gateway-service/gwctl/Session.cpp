#include "Session.h"

#include <iostream>
#include <utility>

#include "JsonText.h"

namespace gateway {

namespace {

constexpr std::chrono::seconds kPatience(10);

Reply::Node parse(std::string line) {
    try {
        return Reply::Node(std::move(line));
    } catch (const std::exception& error) {
        throw Misunderstanding("the service sent no JSON: " + std::string(error.what()));
    }
}

}  // namespace

std::string textOrRaw(const Reply::Node& node) {
    const std::string raw(node.value.data, node.value.size);
    return raw[0] == '"' ? textOf(node) : raw;
}

Reply::Reply(std::string line) : line_(std::move(line)), document_(parse(line_)) {}

const Reply::Node* Reply::find(std::initializer_list<const char*> path) const {
    const Node* node = &document_;
    for (const char* name : path) {
        node = node->findMember(name);
        if (node == nullptr) {
            break;
        }
    }
    return node;
}

const Reply::Node& Reply::at(std::initializer_list<const char*> path) const {
    const Node* node = find(path);
    if (node == nullptr) {
        throw Misunderstanding("the service's answer has no \"" + std::string(*(path.end() - 1)) +
                               "\": " + line_);
    }
    return *node;
}

std::string Reply::text(std::initializer_list<const char*> path) const {
    return textOrRaw(at(path));
}

Reply Session::ask(const std::string& request) {
    connection_.send(request);
    std::optional<std::string> line = connection_.receive(kPatience);
    if (!line) {
        throw ConnectionError("the service does not answer");
    }
    const auto fail = [this](const Reply& reply, const char* member) {
        if (json_) {
            std::cout << reply.line() << std::endl;
        }
        return reply.text({member});
    };
    Reply reply(*std::move(line));
    const std::string kind = reply.text({"answer"});
    if (kind == "refused") {
        throw Refusal(fail(reply, "reason"));
    }
    if (kind == "error") {
        throw Misunderstanding(fail(reply, "error"));
    }
    return reply;
}

Reply Session::next() {
    return Reply(connection_.receive());
}

void Session::print(const Reply& reply, const std::string& text) const {
    std::cout << (json_ ? reply.line() : text) << std::endl;
}

}  // namespace gateway
