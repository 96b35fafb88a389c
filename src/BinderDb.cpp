// SPDX-License-Identifier: MIT
#include "vorn/common/BinderDb.h"

#include <string_view>
#include <utility>

namespace vorn::common {
namespace {

constexpr char kSeparator = '|';

class Pieces {
  public:
    explicit Pieces(std::string_view text) : rest_(text) {}

    std::string_view next() {
        const auto separator = rest_.find(kSeparator);
        if (separator == std::string_view::npos) {
            isLast_ = true;
            return rest_;
        }
        // One character short of the separator: that is the form.
        const auto piece = rest_.substr(0, separator == 0 ? 0 : separator - 1);
        rest_.remove_prefix(separator + 1);
        return piece;
    }

    [[nodiscard]] bool isLast() const { return isLast_; }

  private:
    std::string_view rest_;
    bool isLast_ = false;
};

}  // namespace

BinderDb::BinderDb(const Uuid& owner) : Db(owner) {}

BinderDb::~BinderDb() = default;

void BinderDb::serializeClientsList(const BinderClientsList& list, std::string& uuids,
                                    std::string& interfaces) {
    std::string uuidTexts;
    std::string names;
    for (const auto& client : list) {
        if (&client != &list.front()) {
            uuidTexts += kSeparator;
            names += kSeparator;
        }
        uuidTexts += client.uuid().base64URL();
        names += client.interface();
    }
    // Both at the end: an out-parameter that cannot be built leaves the other one as it was.
    uuids = std::move(uuidTexts);
    interfaces = std::move(names);
}

void BinderDb::deserializeClientList(const std::string& uuids, const std::string& interfaces,
                                     BinderClientsList& list) {
    list.clear();
    Pieces uuidTexts(uuids);
    Pieces names(interfaces);
    while (!uuidTexts.isLast() && !names.isLast()) {
        const auto uuid = uuidTexts.next();
        const auto name = names.next();
        // An entry without an identifier is none; its name is skipped with it.
        if (!uuid.empty()) {
            list.emplace_back(Uuid(std::string(uuid)), std::string(name));
        }
    }
}

}  // namespace vorn::common
