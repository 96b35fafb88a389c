// SPDX-License-Identifier: MIT
// A clients list is stored and read back as the step by step forms of the tests; after an error the
// list holds the clients before it. With an even first byte the rest is the two texts, divided by a
// line feed.
#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <vorn/common/BinderDb.h>

#include "binding/referenceClientsList.h"
#include "fuzz.h"

namespace {

using vorn::common::BinderClient;
using vorn::common::BinderClientsList;
using vorn::common::BinderDb;
using vorn::common::Uuid;

void sameList(const std::vector<reference::Client>& expected, const BinderClientsList& found) {
    fuzz::same(expected.size(), found.size(), "number of clients");
    std::string log = "clientsList:\n";
    for (std::size_t i = 0; i < expected.size(); ++i) {
        fuzz::require(expected[i].uuid == found[i].uuid().bytes(), "identifier");
        fuzz::same(expected[i].interface, found[i].interface(), "interface");
        log += "\t[\n\t\tuuid = " + reference::textsOfUuid(expected[i].uuid).canonical +
               "\n\t\tintf = " + expected[i].interface + "\n\t],\n";
    }
    std::ostringstream stream;
    stream << found;
    fuzz::same(log, stream.str(), "log");
}

void read(const std::string& uuids, const std::string& interfaces) {
    std::vector<reference::Client> expected;
    const std::string error =
        fuzz::errorOf([&] { reference::readClients(uuids, interfaces, expected); });
    BinderClientsList found{BinderClient(Uuid::UNKNOWN, "before")};
    fuzz::same(error,
               fuzz::errorOf([&] { BinderDb::deserializeClientList(uuids, interfaces, found); }),
               "error");
    sameList(expected, found);
}

void write(fuzz::Input input) {
    std::vector<reference::Client> clients;
    BinderClientsList list;
    while (!input.empty() && clients.size() < 8) {
        reference::Client client;
        const std::string_view bytes = input.text(16);
        std::copy(bytes.begin(), bytes.end(), client.uuid.begin());
        client.interface = input.text(input.byte() % 16);
        list.emplace_back(Uuid(client.uuid), client.interface);
        clients.push_back(client);
    }
    const auto [uuids, interfaces] = reference::storedClients(clients);
    std::string foundUuids = "before";
    std::string foundInterfaces = "before";
    BinderDb::serializeClientsList(list, foundUuids, foundInterfaces);
    fuzz::same(uuids, foundUuids, "stored identifiers");
    fuzz::same(interfaces, foundInterfaces, "stored interfaces");
    sameList(clients, list);
    read(uuids, interfaces);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    if (input.byte() % 2 == 1) {
        write(input);
        return 0;
    }
    const std::string text(input.rest());
    const std::size_t middle = std::min(text.find('\n'), text.size());
    read(text.substr(0, middle), text.substr(std::min(middle + 1, text.size())));
    return 0;
}
