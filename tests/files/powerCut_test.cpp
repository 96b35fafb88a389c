// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <linux/fs.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>

#include "files/document.h"
#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"
#include "helpers/wait_until.h"

// A power cut loses what the kernel has not given to the device. Here the device is a file on a
// file system of its own, which can be frozen at any moment: from then on no write reaches the
// file. What it holds, mounted elsewhere, is what a machine would find at its next start.
namespace {

using faults::Call;
using files::Document;
using files::numberIn;
using helpers::contentOf;
using vorn::common::fs::CachedFileManager;
using vorn::common::stream::StreamableHandler;

constexpr std::size_t kImageSize = 8U << 20U;

bool command(const std::string& text) {
    return std::system((text + " >/dev/null 2>&1").c_str()) == 0;
}

/// The number of the last version whose flush has returned, as the writing process tells it.
std::atomic<long>& flushed() {
    static auto* const memory =
        new (::mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE,
                    MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<long>(0);
    return *memory;
}

/// Lets calls of the writer fail or leave something out.
using Sabotage = std::function<void(faults::Calls&)>;

pid_t startWriter(const std::string& path, const Sabotage& sabotage) {
    return helpers::startProcess([&]() -> int {
        faults::Calls calls;
        sabotage(calls);
        CachedFileManager manager;
        manager.add(std::make_unique<Document>(), path);
        auto& handler = manager.getHandler(typeid(Document));
        for (;;) {
            const auto locked = handler.lock();
            auto& document = static_cast<Document&>(locked.get());
            ++document.number;
            locked.write();
            locked.flush();
            flushed() = document.number;
        }
    });
}

void stop(pid_t process) {
    ::kill(process, SIGSTOP);
    int status = 0;
    while (::waitpid(process, &status, WUNTRACED) == -1 && errno == EINTR) {
    }
}

/// What the device holds at this instant.
std::optional<std::string> instantOf(int device) {
    // Before it is frozen: nothing that can fail stands between the two.
    std::string copy(kImageSize, '\0');
    if (::ioctl(device, FIFREEZE, 0) != 0) {
        return std::nullopt;
    }
    const auto read = ::pread(device, copy.data(), copy.size(), 0);
    ::ioctl(device, FITHAW, 0);
    return read == static_cast<ssize_t>(copy.size()) ? std::optional(copy) : std::nullopt;
}

/// "" or what a start after the cut would miss.
std::string lossAfterCut(const helpers::TempDir& dir, const std::string& device, long known) {
    const std::string image = dir.write("cut", device);
    const std::string place = dir.file("after");
    if (!command("mount -o loop " + image + " " + place)) {
        return "the file system cannot be mounted";
    }
    const std::string path = place + "/document";
    const auto stored = std::max(numberIn(contentOf(path)), numberIn(contentOf(path + ".bak")));
    long loaded = -1;
    {
        CachedFileManager manager;
        manager.add(std::make_unique<Document>(), path);
        loaded = static_cast<Document&>(manager.getHandler(typeid(Document)).lock().get()).number;
    }
    if (!command("umount " + place) || !command("e2fsck -fn " + image)) {
        return "the file system is damaged";
    }
    if (stored < known || loaded < known) {
        return "flushed " + std::to_string(known) + ", stored " +
               std::to_string(stored.value_or(-1)) + ", loaded " + std::to_string(loaded);
    }
    return "";
}

/// The file system that is written to, on a device that can be frozen. For a process that ends: it
/// has mounts of its own, and whatever happens, none is left.
class Machine {
  public:
    Machine(const helpers::TempDir& dir, const std::string& options) : dir_(dir) {
        const std::string host = dir.write("host", "");
        const std::string device = dir.file("under") + "/device";
        for (const char* const place : {"under", "before", "after"}) {
            ::mkdir(dir.file(place).c_str(), 0700);
        }
        works_ = ::unshare(CLONE_NEWNS) == 0 &&
                 ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                 ::truncate(host.c_str(), 3 * kImageSize) == 0 &&
                 command("mkfs.ext4 -q -O ^has_journal " + host) &&
                 command("mount -o loop " + host + " " + dir.file("under")) &&
                 std::ofstream(device).write(std::string(kImageSize, '\0').data(), kImageSize) &&
                 command("mkfs.ext4 -q " + device) &&
                 command("mount -o loop," + options + " " + device + " " + dir.file("before"));
        device_ = ::open(device.c_str(), O_RDONLY | O_CLOEXEC);
    }
    ~Machine() {
        ::close(device_);
        command("umount " + dir_.file("before"));
        command("umount " + dir_.file("under"));
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    [[nodiscard]] bool works() const { return works_; }

    /// "" or what a cut at a random moment of the writing has cost.
    std::string cut(std::mt19937& random, const Sabotage& sabotage) const {
        const long before = flushed();
        const pid_t writer = startWriter(dir_.file("before") + "/document", sabotage);
        const long wanted = before + std::uniform_int_distribution<long>(1, 20)(random);
        const bool written = helpers::waitUntil([&] { return flushed() >= wanted; });
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
        // Between two calls, where what is missing is not about to be written by the next one; or
        // in full flow, while the device is being written to.
        if (random() % 2 == 0) {
            stop(writer);
        }
        const long known = flushed();
        const auto instant = instantOf(device_);
        ::kill(writer, SIGKILL);
        helpers::waitForEnd(writer);
        return !written   ? "the writer does not go on"
               : !instant ? "the device cannot be frozen"
                          : lossAfterCut(dir_, *instant, known);
    }

  private:
    const helpers::TempDir& dir_;
    bool works_ = false;
    int device_ = -1;
};

struct Outcome {
    int cuts = 0;  ///< without a loss
    std::string loss;
    std::string skipped;
};

/// Cuts until something is lost, `cuts` times at most.
Outcome cutRepeatedly(int cuts, const std::string& options, const Sabotage& sabotage) {
    constexpr int kSkipped = 255;
    const helpers::TempDir dir = helpers::TempDir::inMemory();
    flushed() = 0;
    const auto result = helpers::runInChild([&](const auto& report) {
        const Machine machine(dir, options);
        if (!machine.works()) {
            report("no block device can be made from a file here");
            return kSkipped;
        }
        std::mt19937 random(20240229);
        files::documentSize = 20000;
        for (int cut = 0; cut < cuts; ++cut) {
            const auto loss = machine.cut(random, sabotage);
            if (!loss.empty()) {
                report(loss);
                return cut;
            }
        }
        return cuts;
    });
    if (result.exitCode == kSkipped) {
        return {0, "", result.report};
    }
    return {result.exitCode.value_or(-1), result.report, ""};
}

// As it is mounted by default, and without what the file system does by itself for those who do not
// synchronise.
constexpr const char* kDefault = "data=ordered";
constexpr const char* kBare = "data=writeback,noauto_da_alloc";

std::string reasonToSkip() {
    return !helpers::isRoot()  ? "needs to run as root"
           : helpers::kForeign ? "an emulator's machine has no block devices to mount"
                               : "";
}

TEST(PowerCut, WhatWasFlushedIsThereAfterIt) {
    if (const auto reason = reasonToSkip(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const int cuts = helpers::longForm() ? 100 : 5;
    for (const auto* const options : {kDefault, kBare}) {
        const auto outcome = cutRepeatedly(cuts, options, [](auto&) {});
        if (!outcome.skipped.empty()) {
            GTEST_SKIP() << outcome.skipped;
        }
        EXPECT_EQ(outcome.loss, "") << options;
        EXPECT_EQ(outcome.cuts, cuts) << options;
        std::cout << options << ": " << outcome.cuts << " cuts, " << flushed() << " versions"
                  << std::endl;
    }
}

// What the test above is worth.
TEST(PowerCut, FindsOutAWriterThatDoesNotSynchronise) {
    if (const auto reason = reasonToSkip(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const std::vector<std::pair<const char*, std::vector<Call>>> rows{
        {"contents", {Call::fdatasync}},
        {"names", {Call::fsync}},
        {"contents and names", {Call::fdatasync, Call::fsync}},
    };
    for (const auto& [what, calls] : rows) {
        const auto outcome = cutRepeatedly(100, kBare, [&leftOutCalls = calls](auto& watch) {
            for (const auto call : leftOutCalls) {
                watch.hook(call, [](auto& leftOut) {
                    leftOut.answer = 0;
                    return 0;
                });
            }
        });
        if (!outcome.skipped.empty()) {
            GTEST_SKIP() << outcome.skipped;
        }
        EXPECT_EQ(outcome.loss.rfind("flushed", 0), 0U) << what << ": " << outcome.loss;
        std::cout << what << ": cut " << outcome.cuts << ", " << outcome.loss << std::endl;
    }
}

}  // namespace
