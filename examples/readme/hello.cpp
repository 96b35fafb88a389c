#include <iostream>

#include <vorn/common/executable/Script.h>
#include <vorn/common/lwjson/Deserializer.h>

int main() {
    const vorn::common::lwjson::Deserializer request(R"({"text": "echo hello, $WHO; exit 3"})");
    vorn::common::executable::Script script(request["text"].as<std::string>(),
                                            {.environment = {"WHO=gateway"}});
    script.execSync();
    std::cout << *script.readFromStdOut() << "exit code " << *script.getExitCode() << '\n';
}
