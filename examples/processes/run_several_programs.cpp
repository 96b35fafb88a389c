// SPDX-License-Identifier: MIT

// Runs programs under identifiers, at most three at once, and hears of their ends.
#include <future>
#include <iostream>
#include <stdexcept>

#include <vorn/common/executable/ExecutableManager.h>
#include <vorn/common/executable/Script.h>

using vorn::common::Uuid;
using namespace vorn::common::executable;

namespace {

ExecutableHolder holderOf(const std::string& text) {
    ExecutableHolder holder;
    holder.executable = std::make_unique<Script>(text, Executable::Params{});
    return holder;
}

}  // namespace

int main() {
    std::promise<void> ended;
    ExecutableManager manager(3);

    const Uuid backup(0ULL);
    manager.execAsync(holderOf("exit 2"), backup, "backup",
                      [&](const IExecutable& run, const Uuid&, const std::string& description) {
                          std::cout << description << " ended with " << *run.getExitCode() << "\n";
                          ended.set_value();
                      });
    try {
        manager.execAsync(holderOf("exit 0"), backup, "again", {});
    } catch (const std::logic_error& error) {
        std::cout << "refused: " << error.what() << "\n";
    }
    ended.get_future().wait();

    const Uuid endless(0ULL);
    manager.execAsync(holderOf("while :; do read x; done </dev/zero"), endless, "endless", {});
    std::cout << *manager.getDescription(endless) << " aborted: " << manager.abort(endless) << "\n";

    const auto result = manager.execSync(holderOf("echo now"), Uuid(0ULL));
    std::cout << "synchronous: " << *result.stdOut;
}
