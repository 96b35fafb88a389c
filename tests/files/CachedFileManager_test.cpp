// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/allocation.h"
#include "helpers/wait_until.h"

namespace vorn::common::fs {
namespace {

using files::Other;
using files::Text;
using files::textOf;
using helpers::contentOf;
using helpers::TempDir;
using namespace std::chrono_literals;
using std::filesystem::perms;
using Options = CachedFileManager::Options;

static_assert(std::is_base_of_v<stream::StreamableHandler::Observer, CachedFileManager>);
static_assert(!std::is_copy_constructible_v<CachedFileManager>);

const Options optionsAtStartUp = CachedFileManager::kDefaultOptions;

Options lazily() {
    Options options;
    options.writeDelay = 1h;
    return options;
}

std::string contentIn(CachedFileManager& files, const std::type_info& type = typeid(Text)) {
    return textOf(files.getHandler(type).lock()).content;
}

void change(CachedFileManager& files, const std::string& content) {
    const auto locked = files.getHandler(typeid(Text)).lock();
    textOf(locked).content = content;
    locked.write();
}

TEST(CachedFileManagerOptions, Defaults) {
    for (const auto& options : {optionsAtStartUp, Options{}}) {
        EXPECT_FALSE(options.saveDefaults);
        EXPECT_EQ(options.openMode, std::ios_base::trunc);
        EXPECT_EQ(static_cast<int>(options.openMode), 32);
        EXPECT_EQ(static_cast<int>(options.permissions), 384);
        EXPECT_EQ(options.writeDelay, 500ms);
        EXPECT_EQ(options.fallbackPath, "");
        EXPECT_TRUE(options.useBackup);
    }
}

TEST(CachedFileManager, WritesAChangeAfterTheDelay) {
    const TempDir dir;
    const auto path = dir.file("a");
    CachedFileManager files;
    Options options;
    options.writeDelay = 30ms;
    files.add(std::make_unique<Text>(), path, options);
    EXPECT_FALSE(std::filesystem::exists(path)) << "absent until the first change";
    EXPECT_FALSE(std::filesystem::exists(path + ".bak"));
    const auto before = std::chrono::steady_clock::now();
    change(files, "one");
    ASSERT_TRUE(helpers::waitUntil([&] { return contentOf(path) == "text:one"; }));
    EXPECT_GE(std::chrono::steady_clock::now(), before + 30ms);
    EXPECT_EQ(std::filesystem::status(path).permissions(), perms{0600});
    change(files, "two");
    ASSERT_TRUE(helpers::waitUntil([&] { return contentOf(path) == "text:two"; }));
    // Where the names cannot be exchanged, the backup gets the version before a moment later.
    EXPECT_TRUE(helpers::waitUntil([&] { return contentOf(path + ".bak") == "text:one"; }));
}

TEST(CachedFileManager, AnAddThatFailsForLackOfMemoryHasWrittenNothing) {
    bool added = false;
    for (std::size_t allocation = 1; !added; ++allocation) {
        const TempDir dir;
        const auto path = dir.write("a", "text:stored");
        CachedFileManager files;
        auto object = std::make_unique<Text>();
        try {
            {
                const faults::NoMemory shortage(allocation, faults::NoMemory::Times::FromThereOn);
                files.add(std::move(object), path, lazily());
            }
            added = std::filesystem::exists(path + ".bak");
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(std::filesystem::exists(path + ".bak")) << allocation;
        }
        ASSERT_LT(allocation, 1000U);
    }
}

TEST(CachedFileManager, RewritesALoadedFileAtOnce) {
    const TempDir dir;
    const auto path = dir.write("a", "text:stored");
    std::filesystem::permissions(path, perms{0644});
    CachedFileManager files;
    files.add(std::make_unique<Text>(), path, lazily());
    EXPECT_EQ(contentIn(files), "stored");
    EXPECT_EQ(contentOf(path), "text:stored");
    EXPECT_EQ(contentOf(path + ".bak"), "text:stored") << "the previous file";
    EXPECT_EQ(std::filesystem::status(path).permissions(), perms{0600}) << "rewritten";
    EXPECT_EQ(std::filesystem::status(path + ".bak").permissions(), perms{0644});
}

TEST(CachedFileManager, WhereItLoadsFrom) {
    struct Row {
        std::string file;  ///< "-": missing
        std::string backup;
        std::string fallback;
        bool useBackup;
        bool saveDefaults;
        std::string object;
        std::string written;
    };
    for (const auto& row : {
             Row{"text:f", "text:b", "text:x", true, false, "f", "text:f"},
             Row{"-", "text:b", "text:x", true, false, "b", "text:b"},
             Row{"broken", "text:b", "text:x", true, false, "b", "text:b"},
             Row{"", "text:b", "text:x", true, false, "b", "text:b"},
             Row{"-", "text:b", "text:x", false, false, "x", "-"},
             Row{"-", "-", "text:x", true, false, "x", "-"},
             Row{"-", "-", "text:x", true, true, "x", "text:x"},
             Row{"broken", "broken", "text:x", true, false, "x", "broken"},
             Row{"-", "-", "-", true, false, "default", "-"},
             Row{"-", "-", "-", true, true, "default", "text:default"},
             Row{"-", "-", "broken", false, true, "default", "text:default"},
             Row{"text:f", "-", "-", false, false, "f", "text:f"},
         }) {
        const TempDir dir;
        const auto path = dir.file("a");
        for (const auto& [name, content] :
             {std::pair("a", row.file), std::pair("a.bak", row.backup),
              std::pair("fallback", row.fallback)}) {
            if (content != "-") {
                dir.write(name, content);
            }
        }
        CachedFileManager files;
        auto options = lazily();
        options.useBackup = row.useBackup;
        options.saveDefaults = row.saveDefaults;
        options.fallbackPath = dir.file("fallback");
        files.add(std::make_unique<Text>(), path, options);
        EXPECT_EQ(contentIn(files), row.object);
        EXPECT_EQ(std::filesystem::exists(path) ? contentOf(path) : "-", row.written);
        if (!row.useBackup) {
            EXPECT_EQ(std::filesystem::exists(path + ".bak") ? contentOf(path + ".bak") : "-",
                      row.backup)
                << "not touched";
        }
    }
}

TEST(CachedFileManager, OptionsReachTheFile) {
    const TempDir dir;
    const auto path = dir.write("a", "text:");
    auto options = lazily();
    options.openMode = std::ios_base::app;
    options.permissions = perms{0640};
    options.useBackup = false;
    CachedFileManager files;
    files.add(std::make_unique<Text>(), path, options);
    EXPECT_EQ(contentOf(path), "text:text:");
    EXPECT_EQ(std::filesystem::status(path).permissions(), perms{0640});
    EXPECT_FALSE(std::filesystem::exists(path + ".bak"));
}

TEST(CachedFileManager, OneObjectPerDynamicType) {
    const TempDir dir;
    CachedFileManager files;
    files.add(std::make_unique<Text>("text"), dir.file("a"));
    std::unique_ptr<stream::IStreamable> other = std::make_unique<Other<1>>("other");
    files.add(std::move(other), dir.file("b"));
    EXPECT_THROW_TEXT(files.add(std::make_unique<Text>(), dir.file("c")), std::invalid_argument,
                      "CachedFileManager::add - Error: attempt to add twice the same object type");
    EXPECT_EQ(contentIn(files), "text");
    EXPECT_EQ(contentIn(files, typeid(Other<1>)), "other");
}

TEST(CachedFileManager, RefusesNull) {
    CachedFileManager files;
    EXPECT_THROW(files.add(nullptr, "/tmp/never"), std::invalid_argument);
}

TEST(CachedFileManager, UnknownTypes) {
    CachedFileManager files;
    EXPECT_THROW_TEXT(files.getHandler(typeid(Text)), std::out_of_range, "_Map_base::at");
    EXPECT_THROW_TEXT(files.remove(typeid(Text)), std::out_of_range,
                      "CachedFileManager::remove - Error: object not found");
}

TEST(CachedFileManager, RemoveWritesWhatIsPending) {
    const TempDir dir;
    const auto path = dir.file("a");
    CachedFileManager files;
    files.add(std::make_unique<Text>(), path, lazily());
    change(files, "last words");
    EXPECT_FALSE(std::filesystem::exists(path));
    files.remove(typeid(Text));
    EXPECT_EQ(contentOf(path), "text:last words");
    EXPECT_THROW(static_cast<void>(files.getHandler(typeid(Text))), std::out_of_range);
    EXPECT_THROW(files.remove(typeid(Text)), std::out_of_range);
    files.add(std::make_unique<Text>(), path, lazily());
    EXPECT_EQ(contentIn(files), "last words");
}

TEST(CachedFileManager, DestructionWritesWhatIsPending) {
    const TempDir dir;
    {
        CachedFileManager files;
        files.add(std::make_unique<Text>(), dir.file("a"), lazily());
        change(files, "last words");
    }
    EXPECT_EQ(contentOf(dir.file("a")), "text:last words");
}

TEST(CachedFileManager, StopsAtOnceAlthoughItSleepsForAnHour) {
    const TempDir dir;
    const auto start = std::chrono::steady_clock::now();
    {
        CachedFileManager files;
        files.add(std::make_unique<Text>(), dir.file("a"), lazily());
        // The loop has been round: it has written what was due.
        change(files, "due");
        files.getHandler(typeid(Text)).lock().write(0ms);
        EXPECT_TRUE(helpers::waitUntil([&] { return contentOf(dir.file("a")) == "text:due"; }));
    }
    { const CachedFileManager neverUsed; }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10min);
}

TEST(CachedFileManager, HandlersHaveStableAddresses) {
    const TempDir dir;
    CachedFileManager files;
    files.add(std::make_unique<Text>(), dir.file("a"), lazily());
    const auto* handler = &files.getHandler(typeid(Text));
    files.add(std::make_unique<Other<1>>(), dir.file("b"), lazily());
    files.add(std::make_unique<Other<2>>(), dir.file("c"), lazily());
    files.remove(typeid(Other<1>));
    EXPECT_EQ(&files.getHandler(typeid(Text)), handler);
}

TEST(CachedFileManager, ADueObjectThatIsLockedIsTriedAgain) {
    const TempDir dir;
    CachedFileManager files;
    files.add(std::make_unique<Text>(), dir.file("a"));
    {
        const auto locked = files.getHandler(typeid(Text)).lock();
        locked.write(0ms);
        // Meanwhile the loop has passed the locked object by: it has written another one.
        files.add(std::make_unique<Other<1>>("passed"), dir.file("b"));
        files.getHandler(typeid(Other<1>)).lock().write(0ms);
        EXPECT_TRUE(helpers::waitUntil([&] { return contentOf(dir.file("b")) == "text:passed"; }));
        EXPECT_FALSE(std::filesystem::exists(dir.file("a")));
    }
    EXPECT_TRUE(helpers::waitUntil([&] { return contentOf(dir.file("a")) == "text:default"; }));
}

TEST(CachedFileManager, AnEarlierDeadlineWakesTheLoop) {
    const TempDir dir;
    CachedFileManager files;
    files.add(std::make_unique<Text>(), dir.file("a"), lazily());
    files.getHandler(typeid(Text)).lock().write(1h);
    files.getHandler(typeid(Text)).lock().write(1ms);
    EXPECT_TRUE(helpers::waitUntil([&] { return std::filesystem::exists(dir.file("a")); }));
}

TEST(CachedFileManager, WakesWithAndWithoutTheMutex) {
    CachedFileManager files;
    EXPECT_NO_THROW(files.wakeUpLoop({}));
    EXPECT_NO_THROW(files.onRunTimepointChange());
}

TEST(CachedFileManager, TheLoopEndsWhenAStopIsRequested) {
    CachedFileManager files;
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(files.loop(stop.get_token()), 0);
}

TEST(CachedFileManager, WhatIsNoStandardExceptionLeavesNothingBehind) {
    const TempDir dir;
    const auto path = dir.write("a", "text:stored");
    CachedFileManager files;
    auto object = std::make_unique<Text>();
    object->onDeserialize = [] { throw 42; };
    EXPECT_THROW(files.add(std::move(object), path), int);
    EXPECT_THROW(static_cast<void>(files.getHandler(typeid(Text))), std::out_of_range);
    files.add(std::make_unique<Text>(), path, lazily());
    EXPECT_EQ(contentIn(files), "stored");
}

TEST(CachedFileManager, TheTypeIsRefusedWhileItIsBeingRemoved) {
    const TempDir dir;
    CachedFileManager files;
    auto object = std::make_unique<Text>();
    std::string refused;
    object->onSerialize = [&] {
        // The manager's mutex is free while a removed object is written.
        try {
            files.add(std::make_unique<Text>(), dir.file("b"));
        } catch (const std::invalid_argument& error) {
            refused = error.what();
        }
        EXPECT_THROW(static_cast<void>(files.getHandler(typeid(Text))), std::out_of_range);
    };
    files.add(std::move(object), dir.file("a"), lazily());
    files.getHandler(typeid(Text)).lock().write(1h);
    files.remove(typeid(Text));
    EXPECT_EQ(refused, "CachedFileManager::add - Error: attempt to add twice the same object type");
    files.add(std::make_unique<Text>(), dir.file("a"), lazily());
}

TEST(CachedFileManager, RemoveWaitsForAHolderWhoStillWrites) {
    const TempDir dir;
    CachedFileManager files;
    files.add(std::make_unique<Text>(), dir.file("a"), lazily());
    std::thread remover;
    {
        const auto locked = files.getHandler(typeid(Text)).lock();
        remover = std::thread([&] { files.remove(typeid(Text)); });
        ASSERT_TRUE(helpers::waitUntil([&] {
            try {
                static_cast<void>(files.getHandler(typeid(Text)));
                return false;
            } catch (const std::out_of_range&) {
                return true;
            }
        }));
        textOf(locked).content = "held";
        locked.write();
    }
    remover.join();
    EXPECT_EQ(contentOf(dir.file("a")), "text:held");
}

// The next write, of another object, shows that the thread is still there.
TEST(CachedFileManager, WhateverSerializeThrowsOnTheManagersThreadTheOthersAreWritten) {
    const TempDir dir;
    CachedFileManager files;
    std::atomic<bool> thrown{false};
    auto bad = std::make_unique<Other<0>>("bad");
    bad->onSerialize = [&] {
        thrown = true;
        throw 42;
    };
    files.add(std::move(bad), dir.file("bad"));
    files.add(std::make_unique<Text>("good"), dir.file("good"));
    files.getHandler(typeid(Other<0>)).lock().write(std::chrono::milliseconds(0));
    ASSERT_TRUE(helpers::waitUntil([&] { return thrown.load(); }));
    files.getHandler(typeid(Text)).lock().write(std::chrono::milliseconds(0));
    EXPECT_TRUE(helpers::waitUntil([&] { return contentOf(dir.file("good")) == "text:good"; }));
    EXPECT_FALSE(std::filesystem::exists(dir.file("bad")));
}

// A trap that the header tells of: what could not be read for want of memory looks like a missing
// file.
TEST(CachedFileManager, DeliberatelyAGoodFileThatNoMemoryLetsInIsReplacedByTheNextWrite) {
    const TempDir dir;
    const auto path = dir.write("a", "text:precious");
    CachedFileManager files;
    auto object = std::make_unique<Text>();
    bool loaded = false;
    object->onDeserialize = [&] {
        loaded = true;
        throw std::bad_alloc();
    };
    files.add(std::move(object), path);
    EXPECT_TRUE(loaded);
    EXPECT_EQ(contentOf(path), "text:precious") << "not by adding";
    const auto locked = files.getHandler(typeid(Text)).lock();
    EXPECT_EQ(textOf(locked).content, "default");
    locked.write();
    locked.flush();
    EXPECT_EQ(contentOf(path), "text:default");
    EXPECT_EQ(contentOf(path + ".bak"), "text:precious");
}

}  // namespace
}  // namespace vorn::common::fs
