// SPDX-License-Identifier: MIT

// Starting a program, collecting its output, waiting for its end. The arguments of StartAndCollect
// are the memory that the service has touched before, in MiB (a plain fork copies its page tables),
// and the descriptors that it holds.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vorn/common/Thread.h>
#include <vorn/common/executable/Executable.h>
#include <vorn/common/executable/Script.h>

#ifdef VORN_PEER_BOOST_PROCESS
#include <boost/process.hpp>
#endif
#ifdef VORN_PEER_QT
#include <QProcess>
#endif
#ifdef VORN_PEER_POCO
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>
#endif
#ifdef VORN_PEER_GLIB
#include <glib.h>
#endif

namespace {

using vorn::common::executable::Executable;

const std::string kProgram = "/bin/echo";
const std::string kText = "collected";

/// The size of the service as a benchmark asks for it.
class Service {
  public:
    explicit Service(benchmark::State& state)
        : memory_(static_cast<std::size_t>(state.range(0)) << 20U, 'x'),
          descriptors_(static_cast<std::size_t>(state.range(1))) {
        benchmark::DoNotOptimize(memory_.data());
        for (int& fd : descriptors_) {
            fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        }
    }
    ~Service() {
        for (const int fd : descriptors_) {
            ::close(fd);
        }
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

  private:
    std::vector<char> memory_;
    std::vector<int> descriptors_;
};

std::string readAll(int fd) {
    std::string text;
    char buffer[65536];
    for (ssize_t count = 0; (count = ::read(fd, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

void checkText(benchmark::State& state, const std::string& text) {
    if (text != kText + "\n") {
        state.SkipWithError("wrong output");
    }
}

void startVorn(benchmark::State& state) {
    const Service service(state);
    for (auto _ : state) {
        Executable program({kProgram, kText}, {});
        program.execSync();
        checkText(state, *program.readFromStdOut());
    }
}

template <class Start>
void startWithPipe(benchmark::State& state, Start start) {
    const Service service(state);
    std::string program = kProgram;
    std::string text = kText;
    char* arguments[] = {program.data(), text.data(), nullptr};
    for (auto _ : state) {
        int ends[2];
        if (::pipe(ends) != 0) {
            state.SkipWithError("pipe");
            break;
        }
        const pid_t pid = start(arguments, ends);
        ::close(ends[1]);
        checkText(state, readAll(ends[0]));
        ::close(ends[0]);
        ::waitpid(pid, nullptr, 0);
    }
}

void startSpawn(benchmark::State& state) {
    startWithPipe(state, [](char** arguments, const int* ends) {
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
        ::posix_spawn_file_actions_addclose(&actions, ends[0]);
        pid_t pid = -1;
        char* none[] = {nullptr};
        ::posix_spawn(&pid, arguments[0], &actions, nullptr, arguments, none);
        ::posix_spawn_file_actions_destroy(&actions);
        return pid;
    });
}

void startFork(benchmark::State& state) {
    startWithPipe(state, [](char** arguments, const int* ends) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::dup2(ends[1], 1);
            char* none[] = {nullptr};
            ::execve(arguments[0], arguments, none);
            ::_exit(1);
        }
        return pid;
    });
}

#ifdef VORN_PEER_GLIB
void startGlib(benchmark::State& state) {
    const Service service(state);
    std::string program = kProgram;
    std::string text = kText;
    char* arguments[] = {program.data(), text.data(), nullptr};
    for (auto _ : state) {
        char* output = nullptr;
        char* errors = nullptr;
        g_spawn_sync(nullptr, arguments, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &output,
                     &errors, nullptr, nullptr);
        checkText(state, output != nullptr ? output : "");
        g_free(output);
        g_free(errors);
    }
}
#endif

#ifdef VORN_PEER_POCO
void startPoco(benchmark::State& state) {
    const Service service(state);
    for (auto _ : state) {
        Poco::Pipe out;
        const auto handle = Poco::Process::launch(kProgram, {kText}, nullptr, &out, nullptr);
        Poco::PipeInputStream stream(out);
        std::string text;
        Poco::StreamCopier::copyToString(stream, text);
        handle.wait();
        checkText(state, text);
    }
}
#endif

#ifdef VORN_PEER_BOOST_PROCESS
void startBoost(benchmark::State& state) {
    namespace process = boost::process;
    const Service service(state);
    for (auto _ : state) {
        process::ipstream stream;
        process::child child(kProgram, kText, process::std_out > stream);
        checkText(state, {std::istreambuf_iterator<char>(stream), {}});
        child.wait();
    }
}
#endif

const std::string kScript = "for n in 1 2 3; do [ $n = 3 ] && echo collected; done";

void scriptVorn(benchmark::State& state) {
    for (auto _ : state) {
        vorn::common::executable::Script script(kScript, {});
        script.execSync();
        checkText(state, *script.readFromStdOut());
    }
}

#ifdef VORN_PEER_BOOST_PROCESS
void scriptBoost(benchmark::State& state) {
    namespace process = boost::process;
    for (auto _ : state) {
        process::ipstream stream;
        process::child child("/bin/sh", "-c", kScript, process::std_out > stream);
        checkText(state, {std::istreambuf_iterator<char>(stream), {}});
        child.wait();
    }
}
#endif

#ifdef VORN_PEER_QT
void floodQt(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0)) << 20U;
    for (auto _ : state) {
        QProcess process;
        process.start("/usr/bin/head", {"-c", QString::number(size), "/dev/zero"});
        process.waitForFinished(-1);
        if (static_cast<std::size_t>(process.readAllStandardOutput().size()) != size) {
            state.SkipWithError("wrong size");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(size) *
                            static_cast<std::int64_t>(state.iterations()));
}
#endif

/// A program that writes the number of MiB given as argument.
void flood(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0)) << 20U;
    for (auto _ : state) {
        Executable program({"/usr/bin/head", "-c", std::to_string(size), "/dev/zero"}, {});
        program.execAsync({});
        if (program.readFromStdOut()->size() != size) {
            state.SkipWithError("wrong size");
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(size) *
                            static_cast<std::int64_t>(state.iterations()));
}

void startWaitThread(benchmark::State& state) {
    for (auto _ : state) {
        vorn::common::Thread thread;
        thread.start([](void*) {}, nullptr);
        thread.wait(vorn::common::Thread::kNoTimeout);
    }
}

void registerPeer(const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)
        ->Args({1, 0})
        ->Args({256, 0})
        ->Args({1024, 1000})
        ->UseRealTime();
}

const bool kRegistered = [] {
    registerPeer("StartAndCollect/vorn", startVorn);
    registerPeer("StartAndCollect/posix_spawn", startSpawn);
    registerPeer("StartAndCollect/fork", startFork);
#ifdef VORN_PEER_BOOST_PROCESS
    registerPeer("StartAndCollect/boost", startBoost);
#endif
#ifdef VORN_PEER_GLIB
    registerPeer("StartAndCollect/glib", startGlib);
#endif
#ifdef VORN_PEER_POCO
    registerPeer("StartAndCollect/poco", startPoco);
#endif
    benchmark::RegisterBenchmark("ShortScript/vorn", scriptVorn)->UseRealTime();
#ifdef VORN_PEER_BOOST_PROCESS
    benchmark::RegisterBenchmark("ShortScript/boost", scriptBoost)->UseRealTime();
#endif
    benchmark::RegisterBenchmark("ReadFlood/vorn", flood)->Arg(10)->UseRealTime();
#ifdef VORN_PEER_QT
    benchmark::RegisterBenchmark("ReadFlood/qt", floodQt)->Arg(10)->UseRealTime();
#endif
    benchmark::RegisterBenchmark("StartAndWaitThread/vorn", startWaitThread)->UseRealTime();
    return true;
}();

}  // namespace
