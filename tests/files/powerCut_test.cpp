// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>

#include "files/document.h"
#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"
#include "helpers/wait_until.h"

// A power cut loses what the kernel has not given to the device. Here the device is a file: what it
// holds at an instant, mounted elsewhere, is what a machine would find at its next start.
namespace {

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

pid_t startWriter(const std::string& path) {
    return helpers::startProcess([&]() -> int {
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

/// By a call of its own: a sanitizer looks at every byte that it sees read, which takes longer than
/// the device rests.
bool readWhole(int file, std::string& copy) {
    copy.resize(kImageSize);
    return ::lseek(file, 0, SEEK_SET) == 0 &&
           ::syscall(SYS_read, file, copy.data(), copy.size()) == static_cast<long>(copy.size());
}

/// What the device held at one instant: that between two copies which are equal.
std::optional<std::string> instantOf(int device) {
    std::string first;
    std::string second;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (readWhole(device, first) && readWhole(device, second) && first == second) {
            return first;
        }
    }
    return std::nullopt;
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

TEST(PowerCut, WhatWasFlushedIsThereAfterIt) {
    VORN_REQUIRE_ROOT();
    if (helpers::kForeign) {
        GTEST_SKIP() << "an emulator's machine has no block devices to mount";
    }
    const int cuts = helpers::longForm() ? 100 : 5;
    const helpers::TempDir dir = helpers::TempDir::inMemory();
    // Mounts of its own: whatever happens, none is left.
    const auto result = helpers::runInChild([&](const auto& report) {
        const std::string image = dir.file("device");
        const std::string place = dir.file("before");
        std::ofstream(image).close();
        if (::truncate(image.c_str(), kImageSize) != 0 || ::mkdir(place.c_str(), 0700) != 0 ||
            ::mkdir(dir.file("after").c_str(), 0700) != 0) {
            return 1;
        }
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            !command("mkfs.ext4 -q " + image) || !command("mount -o loop " + image + " " + place)) {
            report("no block device can be made from a file here");
            return 77;
        }
        const int device = ::open(image.c_str(), O_RDONLY | O_CLOEXEC);
        std::mt19937 random(20240229);
        int code = 0;
        files::documentSize = 20000;
        for (int cut = 0; cut < cuts && code == 0; ++cut) {
            const long before = flushed();
            const pid_t writer = startWriter(place + "/document");
            const long wanted = before + std::uniform_int_distribution<long>(1, 20)(random);
            const bool written = helpers::waitUntil([&] { return flushed() >= wanted; });
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 1000));
            const long known = flushed();
            const auto instant = instantOf(device);
            ::kill(writer, SIGKILL);
            helpers::waitForEnd(writer);
            const std::string loss = !written   ? "the writer does not go on"
                                     : !instant ? "the device never rests"
                                                : lossAfterCut(dir, *instant, known);
            if (!loss.empty()) {
                report("cut " + std::to_string(cut) + ": " + loss);
                code = 1;
            }
        }
        report(std::to_string(flushed()) + " versions");
        command("umount " + place);
        return code;
    });
    if (result.exitCode == 77) {
        GTEST_SKIP() << result.report;
    }
    EXPECT_EQ(result.exitCode, 0) << result.report;
    std::cout << cuts << " cuts, " << result.report << '\n';
}

}  // namespace
