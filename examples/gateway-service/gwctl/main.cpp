// SPDX-License-Identifier: MIT
#include <iostream>
#include <map>
#include <string>
#include <utility>

#include "commands.h"
#include "json.h"
#include "process.h"
#include "sockets.h"

namespace {

constexpr const char* kHelp = R"(usage: gwctl [--json] [SOCKET] COMMAND [OPTION...] [OPERAND...]

Speaks to the gatewayd that listens at SOCKET. Without it, that is what GATEWAYD_SOCKET says, else
the user's own ($XDG_RUNTIME_DIR/gatewayd/gatewayd.sock) where there is one, else the system's
(/run/gatewayd/gatewayd.sock).

  run [OPTION...] SCRIPT   run a shell script ("-": read it from the standard input)
      --wait               wait for its end
      --timeout SECONDS    kill its shell after so long (60)
      --description TEXT   what to call it in the status
      --env NAME=VALUE     its environment, instead of a plain PATH; may be repeated
      --secret             the service's secret as GATEWAY_SECRET in its environment
      --chroot DIRECTORY   its root directory
      --cgroup GROUP       a control group, as cgexec takes it; may be repeated
  exec [OPTION...] [--] PATH [ARGUMENT...]
                           run a program and print what it wrote; an absolute path, options
                           of its own after "--": exec -- /bin/sh -c 'echo hello'
      --timeout SECONDS    kill its process group after so long (60)
      --description, --env as for run
  result UUID              how a job ended, and what it wrote, asked for later
  cancel UUID              kill a job that runs
  settings                 show what may be set, and what is counted since the first start
  set NAME VALUE           change a setting; it is on disk when this returns. The name
                           secret stores a text enciphered; the value "-" reads it from
                           the standard input, where nobody else can see it
  status                   show how the service is
  bind                     bind to the service and stay bound, also when it is started
                           again, until Ctrl-C is pressed; show what happens to the binding

  --json                   print the service's lines as they are, one JSON object each
  --                       what follows is no option
  -h, --help               show this text
  -V, --version            show the version

exit status: 0 done; 64 wrong usage; 69 no service there, or the connection broke; 74 the standard
output takes nothing; 75 refused for now, or still running; 76 not understood; run --wait, exec and
result: the exit code of what ran, 124 it timed out, 125 a signal killed it, it was cancelled, or it
could not be started
)";

using Command = int (*)(const gateway::Call& call);

int execute(gateway::Arguments& arguments) {
    const std::map<std::string, Command> commands = {
        {"bind", gateway::bindCommand},         {"cancel", gateway::cancelCommand},
        {"exec", gateway::execCommand},         {"result", gateway::resultCommand},
        {"run", gateway::runCommand},           {"set", gateway::setCommand},
        {"settings", gateway::settingsCommand}, {"status", gateway::statusCommand},
    };
    const bool json = arguments.flag("--json");
    std::string name = arguments.operand("the command");
    std::string socket;
    if (commands.count(name) == 0) {
        socket = std::exchange(name, arguments.operand("the command"));
    } else {
        socket = gateway::defaultSocketForClient();
    }
    const auto command = commands.find(name);
    if (command == commands.end()) {
        throw gateway::UsageError("there is no command \"" + name + "\"");
    }
    return command->second({socket, json, arguments});
}

// The text may be the service's: it must not command the terminal.
int fail(int code, const std::exception& error) {
    std::cerr << "gwctl: " << gateway::printable(error.what(), '?') << std::endl;
    return code;
}

int run(int argc, char** argv) {
    // First alone: further on they may be the options of a program to run.
    const std::string first = argc > 1 ? argv[1] : "";
    if (first == "-h" || first == "--help") {
        std::cout << kHelp;
        return gateway::kDone;
    }
    if (first == "-V" || first == "--version") {
        std::cout << "gwctl " GATEWAY_VERSION "\n";
        return gateway::kDone;
    }
    try {
        gateway::Arguments arguments(argc, argv);
        return execute(arguments);
    } catch (const gateway::UsageError& error) {
        const int code = fail(gateway::kUsage, error);
        std::cerr << "Try gwctl --help." << std::endl;
        return code;
    } catch (const gateway::ConnectionError& error) {
        return fail(gateway::kNoConnection, error);
    } catch (const gateway::Refusal& error) {
        return fail(gateway::kRefused, error);
    } catch (const std::exception& error) {
        return fail(gateway::kNotUnderstood, error);
    }
}

}  // namespace

int main(int argc, char** argv) {
    gateway::openStandardDescriptors();
    gateway::surviveBrokenPipes();
    const int code = run(argc, argv);
    std::cout << std::flush;
    if (!std::cout.good()) {
        std::cerr << "gwctl: the standard output takes nothing" << std::endl;
        return gateway::kNotWritten;
    }
    return code;
}
