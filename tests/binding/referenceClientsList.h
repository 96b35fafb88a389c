// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "identifiers/referenceUuid.h"

/// The stored form of a clients list written and read step by step, to compare the real one with.
namespace reference {

struct Client {
    UuidBytes uuid{};
    std::string interface;
};

inline std::pair<std::string, std::string> storedClients(const std::vector<Client>& clients) {
    std::pair<std::string, std::string> stored;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        stored.first += (i == 0 ? "" : "|") + textsOfUuid(clients[i].uuid).base64Url;
        stored.second += (i == 0 ? "" : "|") + clients[i].interface;
    }
    return stored;
}

/// Appends what the two texts tell; an identifier that is none throws and leaves those before it.
inline void readClients(const std::string& uuids, const std::string& interfaces,
                        std::vector<Client>& clients) {
    std::size_t uuidAt = 0;
    std::size_t interfaceAt = 0;
    const auto piece = [](const std::string& text, std::size_t at, std::size_t bar) {
        // Each piece that a '|' follows loses its last character.
        return bar == std::string::npos ? text.substr(at)
               : bar == at              ? std::string()
                                        : text.substr(at, bar - 1 - at);
    };
    for (;;) {
        const std::size_t uuidBar = uuids.find('|', uuidAt);
        const std::size_t interfaceBar = interfaces.find('|', interfaceAt);
        const std::string uuid = piece(uuids, uuidAt, uuidBar);
        const std::string interface = piece(interfaces, interfaceAt, interfaceBar);
        if (!uuid.empty()) {
            clients.push_back({uuidOfText(uuid), interface});
        }
        if (uuidBar == std::string::npos || interfaceBar == std::string::npos) {
            return;
        }
        uuidAt = uuidBar + 1;
        interfaceAt = interfaceBar + 1;
    }
}

}  // namespace reference
