// SPDX-License-Identifier: MIT
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include <vorn/common/Uuid.h>
#include <vorn/common/executable/IExecutable.h>
#include <vorn/common/executable/Script.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/service/ProcessAttributes.h>
#include <vorn/common/service/ServiceError.h>

namespace {

using namespace vorn::common;

// Each of these fails when type information is not shared across the library's boundary.
bool catchesTheLibrarysOwnException() {
    try {
        service::setProcessAttributes({"no-such-user-here", "root", {}}, "");
    } catch (const service::ServiceError& error) {
        return error.what() == std::string("Failed to get UID of no-such-user-here");
    }
    return false;
}

bool catchesAStandardException() {
    try {
        const lwjson::Deserializer reader("[1,]");
    } catch (const std::runtime_error&) {
        return true;
    }
    return false;
}

bool castsAnInterface() {
    const std::unique_ptr<executable::IExecutable> script =
        std::make_unique<executable::Script>("exit 3", executable::Executable::Params{});
    auto* concrete = dynamic_cast<executable::Executable*>(script.get());
    if (concrete == nullptr) {
        return false;
    }
    concrete->execSync();
    return concrete->getExitCode() == 3;
}

}  // namespace

int main() {
    const bool named = Uuid(Uuid::VORN_NAMESPACE, "consumer").version() == 5;
    const bool good = named && catchesTheLibrarysOwnException() && catchesAStandardException() &&
                      castsAnInterface();
    std::cout << (good ? "good" : "bad") << '\n';
    return good ? 0 : 1;
}
