// SPDX-License-Identifier: MIT
// Peer: Boost
// Guarantees: outputs of any length are collected while the child runs; killing it when the time is
// over is the caller's; the child inherits descriptors that are not close-on-exec; it is started by
// fork.
#include <future>
#include <utility>

#include <boost/asio.hpp>
#include <boost/process.hpp>

#include "tasks.h"

std::string compared::peer::runScript(const std::string& script) {
    namespace process = boost::process;
    boost::asio::io_context context;
    std::future<std::string> output;
    process::environment environment;
    environment["PATH"] = "/bin:/usr/bin";
    process::child child("/bin/sh", process::args = {"-c", script}, environment,
                         process::std_out > output, context);
    context.run_for(std::chrono::seconds(30));
    if (output.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        child.terminate();
        return "timed out";
    }
    child.wait();
    return output.get() + std::to_string(child.exit_code());
}
