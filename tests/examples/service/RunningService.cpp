// SPDX-License-Identifier: MIT
#include "RunningService.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "helpers/wait_until.h"

namespace service_tests {

namespace {

void writeAll(int fd, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(fd, text.data() + written, text.size() - written);
        ASSERT_GT(count, 0) << "the service does not take what is sent";
        written += static_cast<std::size_t>(count);
    }
}

void redirect(const std::string& file, int target) {
    const int opened = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ::dup2(opened, target);
    ::close(opened);
}

std::size_t linesIn(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

RunningService::RunningService(const std::function<void(std::string&)>& change) {
    // When root starts it, it goes on as daemon, who must get at the files.
    std::filesystem::permissions(directory_.path(), std::filesystem::perms::all);
    std::string text = R"({"user": "daemon", "group": "daemon", "settings": ")" + settings() +
                       R"(", "script": "true", "timeout": 60, "report": 86400})";
    if (change) {
        change(text);
    }
    configuration_ = directory_.write("configuration.json", text);
}

RunningService::~RunningService() {
    if (pid_ > 0 && running()) {
        ::kill(pid_, SIGKILL);
        wait();
    }
    endInput();
}

void RunningService::start(const std::function<void()>& inChild) {
    endInput();
    status_.reset();
    for (const char* name : {"out", "err"}) {
        std::filesystem::remove(directory_.file(name));
    }
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    input_ = ends[1];
    pid_ = ::fork();
    if (pid_ == 0) {
        ::signal(SIGPIPE, SIG_DFL);
        ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
        ::dup2(ends[0], STDIN_FILENO);
        redirect(directory_.file("out"), STDOUT_FILENO);
        redirect(directory_.file("err"), STDERR_FILENO);
        if (inChild) {
            inChild();
        }
        if (*PROGRAM_PREFIX != '\0') {
            ::execlp(PROGRAM_PREFIX, PROGRAM_PREFIX, SERVICE_PROGRAM, configuration_.c_str(),
                     nullptr);
        }
        ::execl(SERVICE_PROGRAM, SERVICE_PROGRAM, configuration_.c_str(), nullptr);
        ::_exit(126);
    }
    ::close(ends[0]);
}

void RunningService::send(const std::string& text) const {
    writeAll(input_, text);
}

void RunningService::trySend(const std::string& text) const {
    ::fcntl(input_, F_SETFL, O_NONBLOCK);
    EXPECT_GT(::write(input_, text.data(), text.size()), 0);
    ::fcntl(input_, F_SETFL, 0);
}

void RunningService::endInput() {
    if (input_ >= 0) {
        ::close(input_);
        input_ = -1;
    }
}

void RunningService::signal(int number) const {
    ::kill(pid_, number);
}

std::string RunningService::line(std::size_t count) const {
    std::string said;
    EXPECT_TRUE(helpers::waitUntil([&] {
        said = output();
        return linesIn(said) >= count;
    })) << "it said:\n"
        << said << errors();
    for (std::size_t i = 1; i < count; ++i) {
        said.erase(0, said.find('\n') + 1);
    }
    return said.substr(0, said.find('\n'));
}

std::string RunningService::ask(const std::string& request) const {
    const auto before = linesIn(output());
    send(request + "\n");
    return line(before + 1);
}

int RunningService::wait() {
    EXPECT_TRUE(helpers::waitUntil([this] { return !running(); })) << errors();
    return status_.value_or(-1);
}

bool RunningService::running() {
    int status = 0;
    if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) {
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    return !status_;
}

std::string RunningService::output() const {
    return helpers::contentOf(directory_.file("out"));
}

std::string RunningService::errors() const {
    return helpers::contentOf(directory_.file("err"));
}

std::function<void(std::string&)> replacing(const std::string& part, const std::string& by) {
    return [=](std::string& text) { text.replace(text.find(part), part.size(), by); };
}

std::function<void(std::string&)> running(const std::string& script, unsigned timeout) {
    return replacing(R"("true", "timeout": 60)",
                     '"' + script + R"(", "timeout": )" + std::to_string(timeout));
}

}  // namespace service_tests
