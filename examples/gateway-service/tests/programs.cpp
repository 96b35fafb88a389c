// SPDX-License-Identifier: MIT
#include "programs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>

#include "helpers/wait_until.h"
#include "sockets.h"

namespace gateway_tests {

namespace {

std::string uniqueName(const std::string& directory) {
    static std::atomic<unsigned> count{0};
    return directory + "/program" + std::to_string(++count);
}

void redirect(const std::string& file, int flags, int target) {
    const int opened = ::open(file.c_str(), flags | O_NOCTTY, 0600);
    ::dup2(opened, target);
    ::close(opened);
}

}  // namespace

Process::Process(const Launch& launch) {
    const std::string base = uniqueName(launch.directory);
    outputFile_ = base + ".out";
    errorFile_ = base + ".err";
    const std::string inputFile = base + ".in";
    {
        gateway::FileDescriptor file(::open(inputFile.c_str(), O_WRONLY | O_CREAT, 0600));
        EXPECT_EQ(::write(file.get(), launch.input.data(), launch.input.size()),
                  static_cast<ssize_t>(launch.input.size()));
    }
    std::vector<std::string> words = launch.arguments;
    words.insert(words.begin(), launch.program);
    if (*PROGRAM_PREFIX != '\0') {
        words.insert(words.begin(), PROGRAM_PREFIX);
    }
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    pid_ = ::fork();
    if (pid_ == 0) {
        redirect(inputFile, O_RDONLY, STDIN_FILENO);
        redirect(outputFile_, O_WRONLY | O_CREAT, STDOUT_FILENO);
        redirect(errorFile_, O_WRONLY | O_CREAT, STDERR_FILENO);
        if (launch.prepare) {
            launch.prepare();
        }
        if (::chdir(launch.directory.c_str()) == 0 &&
            (launch.user == ::getuid() ||
             (::setuid(launch.user) == 0 && ::access(launch.program.c_str(), R_OK | X_OK) == 0))) {
            ::execvp(pointers[0], pointers.data());
        }
        ::_exit(126);
    }
}

Process::~Process() {
    if (!status_) {
        signal(SIGKILL);
        reap(0);
    }
}

void Process::signal(int number) const {
    if (!status_) {
        ::kill(pid_, number);
    }
}

void Process::reap(int options) {
    int status = 0;
    if (!status_ && ::waitpid(pid_, &status, options) == pid_) {
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
}

int Process::wait() {
    const bool ended = helpers::waitUntil([this] { return !running(); });
    EXPECT_TRUE(ended) << "still running; its errors:\n" << errors();
    return status_.value_or(-1);
}

bool Process::running() {
    reap(WNOHANG);
    return !status_;
}

std::string Process::output() const {
    return helpers::contentOf(outputFile_);
}

std::string Process::errors() const {
    return helpers::contentOf(errorFile_);
}

RawClient::RawClient(const std::string& socket) : socket_(gateway::connectTo(socket)) {}

void RawClient::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        ASSERT_GT(count, 0) << "the service does not take what is sent";
        sent += static_cast<std::size_t>(count);
    }
}

std::size_t RawClient::trySend(const std::string& bytes) {
    const ssize_t count =
        ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

void RawClient::endInput() {
    ::shutdown(socket_.get(), SHUT_WR);
}

std::string RawClient::line() {
    for (;;) {
        if (const auto line = input_.next()) {
            return line->text;
        }
        pollfd polled{socket_.get(), POLLIN, 0};
        if (::poll(&polled, 1, 60000) <= 0) {
            ADD_FAILURE() << "the service says nothing";
            return "";
        }
        std::array<char, 4096> block;
        const ssize_t count = ::recv(socket_.get(), block.data(), block.size(), 0);
        if (count <= 0) {
            return "";
        }
        input_.append({block.data(), static_cast<std::size_t>(count)});
    }
}

std::string RawClient::ask(const std::string& request) {
    send(request + "\n");
    return line();
}

RunningService::RunningService(const std::string& members, const std::function<void()>& prepare)
    : prepare_(prepare) {
    // The service may run as a user of its own.
    std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
    configure(members);
    start();
}

void RunningService::configure(const std::string& members) {
    configuration_ =
        directory_.write("gatewayd.json", R"({"socket": "run/gatewayd.sock")" + members + "}");
}

bool RunningService::logs(const std::string& text) const {
    return helpers::waitUntil([&] { return process_->errors().find(text) != std::string::npos; });
}

bool RunningService::shows(const std::vector<const char*>& path, const std::string& value) const {
    RawClient client = connect();
    return helpers::waitUntil(
        [&] { return member(client.ask("{\"request\":\"status\"}"), path) == value; });
}

RunningService::~RunningService() {
    if (process_->running()) {
        stop();
    }
}

void RunningService::start() {
    Launch launch{directory_.path().string(), gatewaydProgram(), {configuration_}};
    launch.prepare = prepare_;
    process_.emplace(launch);
    // Not by its log, which a test may send elsewhere.
    const bool ready = helpers::waitUntil([this] {
        try {
            return !process_->running() || !connect().ask("{\"request\":\"status\"}").empty();
        } catch (const std::system_error&) {
            return false;
        }
    });
    EXPECT_TRUE(ready && process_->running()) << process_->errors();
}

int RunningService::stop() {
    process_->signal(SIGTERM);
    return process_->wait();
}

Outcome RunningService::control(const std::vector<std::string>& arguments,
                                const std::string& input) const {
    std::vector<std::string> all = arguments;
    const bool json = !all.empty() && all[0] == "--json";
    all.insert(all.begin() + (json ? 1 : 0), socket());
    return runProgram({directory_.path().string(), controlProgram(), all, input});
}

std::string gatewaydProgram() {
    return GATEWAYD_PROGRAM;
}

std::string controlProgram() {
    return GWCTL_PROGRAM;
}

Outcome runProgram(const Launch& launch) {
    Process process(launch);
    Outcome outcome;
    outcome.exitCode = process.wait();
    outcome.output = process.output();
    outcome.errors = process.errors();
    return outcome;
}

Outcome runControl(const std::vector<std::string>& arguments) {
    const helpers::TempDir directory;
    return runProgram({directory.path().string(), controlProgram(), arguments});
}

std::string member(const std::string& line, const std::vector<const char*>& path) {
    try {
        const vorn::common::lwjson::Deserializer document(line.c_str());
        const vorn::common::lwjson::Deserializer* node = &document;
        for (const char* name : path) {
            node = node->findMember(name);
            if (node == nullptr) {
                return "";
            }
        }
        return {node->value.data, node->value.size};
    } catch (const std::exception& error) {
        ADD_FAILURE() << "not JSON (" << error.what() << "): " << line;
        return "";
    }
}

}  // namespace gateway_tests
