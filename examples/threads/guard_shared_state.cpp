// SPDX-License-Identifier: MIT

// Reads a cache and, when it is stale, upgrades the reader's lock to refresh it.

#include <iostream>
#include <mutex>
#include <optional>
#include <shared_mutex>

#include <vorn/common/RecursiveSharedMutex.h>

namespace {

class Price {
  public:
    int get() {
        const std::shared_lock reading(mutex_);
        if (!value_) {
            refresh();
        }
        return *value_;
    }

    void refresh() {
        // Alone, or as the only reader; with several readers at once use try_lock.
        const std::unique_lock writing(mutex_);
        value_ = value_.value_or(41) + 1;
    }

  private:
    vorn::common::RecursiveSharedMutex mutex_;
    std::optional<int> value_;
};

}  // namespace

int main() {
    Price price;
    std::cout << price.get() << "\n";
    price.refresh();
    std::cout << price.get() << "\n";
}
