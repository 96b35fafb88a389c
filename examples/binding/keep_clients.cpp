// SPDX-License-Identifier: MIT

// Keeps a server's clients list as two texts. The reader takes the last character off every piece
// that a '|' follows, so a store for several clients adds one to each piece but the last.

#include <iostream>

#include <vorn/common/BinderDb.h>

using namespace vorn::common;

namespace {

class TextDb : public BinderDb {
  public:
    using BinderDb::BinderDb;

    void getClientsList(BinderClientsList& list) override {
        deserializeClientList(uuids, interfaces, list);
    }
    void updateClientsList(const BinderClientsList& list) override {
        serializeClientsList(list, uuids, interfaces);
        uuids = padded(uuids);
        interfaces = padded(interfaces);
    }

    std::string uuids;
    std::string interfaces;

  private:
    static std::string padded(const std::string& text) {
        std::string result;
        for (const char character : text) {
            result += character == '|' ? std::string("+|") : std::string(1, character);
        }
        return result;
    }
};

}  // namespace

int main() {
    TextDb db(Uuid(Uuid::VORN_NAMESPACE, "server"));
    db.updateClientsList({{Uuid::VORN_NAMESPACE, "power"}, {Uuid::UNKNOWN, "light"}});
    std::cout << db.uuids << "\n" << db.interfaces << "\n";

    BinderClientsList list;
    db.getClientsList(list);
    std::cout << list;
}
