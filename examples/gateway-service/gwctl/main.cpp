#include <iostream>
#include <map>

#include "commands.h"
#include "exitCodes.h"

namespace {

constexpr const char* kHelp =
    "usage: gwctl [--json] SOCKET COMMAND [OPTION...] [OPERAND...]\n"
    "\n"
    "Speaks to the gatewayd that listens at SOCKET.\n"
    "\n"
    "  run [OPTION...] SCRIPT   run a shell script (\"-\": read it from the standard input)\n"
    "      --wait               wait for its end\n"
    "      --timeout SECONDS    kill it after so long (60)\n"
    "      --description TEXT   what to call it in the status\n"
    "      --env NAME=VALUE     its environment, instead of a plain PATH; may be repeated\n"
    "      --secret             the service's secret as GATEWAY_SECRET in its environment\n"
    "      --chroot DIRECTORY   its root directory\n"
    "      --cgroup GROUP       a control group, as cgexec takes it; may be repeated\n"
    "  exec [OPTION...] PATH [ARGUMENT...]\n"
    "                           run a program and print what it wrote; an absolute path, options\n"
    "                           of its own after \"--\"\n"
    "      --timeout, --description, --env    as for run\n"
    "  settings                 show what may be set, and what is counted since the first start\n"
    "  set NAME VALUE           change a setting; it is on disk when this returns. The name\n"
    "                           secret stores a text enciphered; the value \"-\" reads it from\n"
    "                           the standard input, where nobody else can see it\n"
    "  status                   show how the service is\n"
    "  watch [OPTION...]        show it again and again, until q or Ctrl-C is pressed\n"
    "      --interval SECONDS   how often (2)\n"
    "      --count NUMBER       end after so many times\n"
    "  bind                     bind to the service and stay bound, also when it is started\n"
    "                           again, until Ctrl-C is pressed; show what happens to the binding\n"
    "\n"
    "  --json                   print the service's lines as they are, one JSON object each\n"
    "  --                       what follows is no option\n"
    "\n"
    "exit status: 0 done; 64 wrong usage; 69 no service there, or the connection broke; 75 "
    "refused\n"
    "for now; 76 not understood; run --wait and exec: the exit code of what ran, 124 it timed "
    "out,\n"
    "125 a signal killed it\n";

using Command = int (*)(const std::string& socket, bool json, gateway::Arguments& arguments);

int execute(gateway::Arguments& arguments) {
    const std::map<std::string, Command> commands = {
        {"bind", gateway::bindCommand},         {"exec", gateway::execCommand},
        {"run", gateway::runCommand},           {"set", gateway::setCommand},
        {"settings", gateway::settingsCommand}, {"status", gateway::statusCommand},
        {"watch", gateway::watchCommand},
    };
    const bool json = arguments.flag("--json");
    const std::string socket = arguments.operand("the socket");
    const std::string name = arguments.operand("the command");
    const auto command = commands.find(name);
    if (command == commands.end()) {
        throw gateway::UsageError("there is no command \"" + name + "\"");
    }
    return command->second(socket, json, arguments);
}

int fail(int code, const std::exception& error) {
    std::cerr << "gwctl: " << error.what() << std::endl;
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    gateway::Arguments arguments(argc, argv);
    if (arguments.flag("--help")) {
        std::cout << kHelp;
        return gateway::kDone;
    }
    try {
        return execute(arguments);
    } catch (const gateway::UsageError& error) {
        std::cerr << "gwctl: " << error.what() << "\nTry gwctl --help." << std::endl;
        return gateway::kUsage;
    } catch (const gateway::ConnectionError& error) {
        return fail(gateway::kNoConnection, error);
    } catch (const gateway::Refusal& error) {
        return fail(gateway::kRefused, error);
    } catch (const std::exception& error) {
        return fail(gateway::kNotUnderstood, error);
    }
}
