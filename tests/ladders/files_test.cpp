// SPDX-License-Identifier: MIT
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/TemporaryFile.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/settings/JsonSettings.h>

#include "files/interruptedOpens.h"
#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/TemporaryPlace.h"
#include "helpers/faults/calls.h"
#include "ladders/Ladder.h"

namespace {

using namespace std::chrono_literals;
using namespace vorn::common;
using namespace vorn::common::fs;
using faults::Threads;
using files::Text;
using files::textOf;
using helpers::contentOf;
using helpers::TempDir;
using helpers::TemporaryPlace;
using ladders::Answer;
using ladders::Row;
using ladders::Trial;

const std::string kOld = "text:the old content, which needs memory of its own";
const std::string kNew = "the new content, which needs memory of its own";

auto inOneMinute() {
    return std::chrono::steady_clock::now() + 1min;
}

void readingAFile(Trial& trial) {
    const TempDir dir;
    const std::filesystem::path path = dir.write("a", kOld);
    std::string text;
    trial.operate([&] { text = tools::readFile(path); });
    trial.require(trial.threw() || text == kOld, "reads \"" + text + "\"");
    trial.require(tools::readFile(path) == kOld, "the next use");
}

void readingLines(Trial& trial) {
    const TempDir dir;
    const auto path = dir.write("a", " line one, which needs memory of its own \n\nline two\n");
    std::vector<std::string> lines;
    const std::set<tools::ReadFileOptions> options{tools::ReadFileOptions::Trim,
                                                   tools::ReadFileOptions::SkipEmptyLines};
    trial.operate([&] { lines = tools::readFileLinesToArray(path, options); });
    // A file that cannot be opened or read gives an empty list.
    trial.require(lines.size() == 2 || (trial.struck() && lines.empty()), "a part of the lines");
    trial.require(tools::readFileLinesToArray(path, options).size() == 2, "the next use");
}

void listing(Trial& trial) {
    const TempDir dir;
    dir.write("a file whose name needs memory of its own", "");
    dir.write("b", "");
    const auto path = dir.path().string();
    std::vector<std::string> names;
    trial.operate([&] { names = tools::listFilesFromDirPath(path, true); });
    trial.require(names.size() == 2 || (trial.struck() && names.empty()), "a part of the files");
    trial.require(tools::listFilesFromDirPath(path, true).size() == 2, "the next use");
}

void copying(Trial& trial) {
    const TempDir dir;
    const auto from = dir.write("from", kOld);
    const auto to = dir.file("to");
    bool copied = false;
    trial.operate([&] { copied = tools::copyFile(from, to); });
    trial.require(!copied || contentOf(to) == kOld, "says it has copied");
    trial.require(contentOf(from) == kOld, "the source has changed");
    trial.require(tools::copyFile(from, to) && contentOf(to) == kOld, "the next use");
}

void deleting(Trial& trial) {
    const TempDir dir;
    const auto path = dir.write("a", kOld);
    bool deleted = false;
    trial.operate([&] { deleted = tools::deleteFile(path); });
    trial.require(deleted == !std::filesystem::exists(path), "says it has deleted");
    tools::deleteFile(path);
    trial.require(dir.entries() == 0, "the next use");
}

void removingAFolder(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("folder");
    std::filesystem::create_directories(path + "/inner");
    dir.write("folder/a", "");
    trial.operate([&] { tools::removeFolder(path); });
    tools::removeFolder(path);
    trial.require(dir.entries() == 0, "the next use");
}

void creating(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("a");
    trial.operate([&] { tools::createFile(path, kNew); });
    tools::createFile(path, kNew);
    trial.require(contentOf(path) == kNew, "the next use");
}

void swapping(Trial& trial) {
    const TempDir dir;
    const auto a = dir.write("a", kOld);
    const auto b = dir.write("b", kNew);
    trial.operate([&] { tools::swapFiles(a, b); });
    for (const auto& path : {a, b}) {
        const auto content = contentOf(path);
        trial.require(content == kOld || content == kNew, "a broken file");
    }
    trial.require(contentOf(a) == kOld || contentOf(b) == kOld, "the old content is lost");
    trial.require(dir.entries() == 2, "a side file is left");
    dir.write("a", kOld);
    dir.write("b", kNew);
    tools::swapFiles(a, b);
    trial.require(contentOf(a) == kNew && contentOf(b) == kOld, "the next use");
}

/// On a file system that cannot exchange two names, where files are copied instead.
std::function<void(Trial&)> withoutExchange(void (*run)(Trial&)) {
    return [run](Trial& trial) {
        faults::Calls calls(Threads::All);
        calls.fail(faults::Call::renameat2, EINVAL);
        run(trial);
    };
}

template <class Create>
std::function<void(Trial&)> makingATemporary(Create create) {
    return [create](Trial& trial) {
        const TempDir dir;
        const TemporaryPlace place(dir.path());
        trial.operate([&] { create(); });
        trial.require(dir.entries() == 0, "something is left");
        create();
        trial.require(dir.entries() == 0, "the next one is left");
    };
}

void makingTemporaries(Trial& trial) {
    const TempDir dir;
    const TemporaryPlace place(dir.path());
    // A directory is made below /tmp wherever the files are; what cannot be removed now is later.
    std::array<char, sizeof("/tmp/XXXXXX")> made{};
    faults::Calls calls(Threads::All);
    calls.hook(faults::Call::mkdtemp, [&](auto& call) {
        call.answer = reinterpret_cast<std::intptr_t>(::mkdtemp(const_cast<char*>(call.path)));
        std::strncpy(made.data(), call.path, made.size() - 1);
        return 0;
    });
    trial.operate([] {
        TemporaryFile file;
        static_cast<void>(file.checkIfExists());
        TemporaryDirectory directory;
        static_cast<void>(directory.permissions());
        directory.setPermissions(std::filesystem::perms::owner_all);
        static_cast<void>(directory.removeIfExists());
    });
    std::filesystem::remove(made.data());
    static_cast<void>(TemporaryFile().getPath());
    static_cast<void>(TemporaryDirectory().path());
    trial.require(trial.struck() || dir.entries() == 0, "something is left");
}

void makingATemporaryName(Trial& trial) {
    const TempDir dir;
    const TemporaryPlace place(dir.path());
    const std::string prefix = "a prefix that needs memory of its own";
    trial.operate([&] { static_cast<void>(tools::createTemporaryFile(prefix)); });
    trial.require(dir.entries() == (trial.threw() ? 0U : 1U), "a file is left");
    static_cast<void>(tools::createTemporaryFolder(prefix));
}

void locking(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("lock");
    FileMutex mutex(path);
    bool locked = false;
    trial.operate([&] {
        locked = mutex.try_lock();
        if (locked) {
            mutex.unlock();
            locked = false;
        }
    });
    if (trial.threw() && std::filesystem::exists(path)) {
        // The attempt succeeded, and the error came with the release.
        std::filesystem::remove(path);
    }
    trial.require(dir.entries() == 0 || trial.struck(), "the lock file is left");
    std::filesystem::remove(path);
    trial.require(mutex.try_lock(), "the next lock");
    mutex.unlock();
    trial.require(dir.entries() == 0, "the next lock file is left");
}

/// The attempt has to recognise its own file, by the times of files.
void lockingInterrupted(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("lock");
    faults::Calls calls(Threads::All);
    files::interruptAfterCreation(calls);
    FileMutex mutex(path);
    bool locked = false;
    trial.operate([&] { locked = mutex.try_lock(); });
    trial.require(locked || trial.struck(), "takes its own file for another's");
    if (locked) {
        mutex.unlock();
    }
    trial.require(!locked || trial.struck() || dir.entries() == 0, "the lock file is left");
    std::filesystem::remove(path);
    trial.require(mutex.try_lock(), "the next lock");
    mutex.unlock();
}

/// Without memory the lock file itself must go: there is no reason outside the process.
void lockingWithoutMemory(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("a lock file whose name needs memory of its own");
    trial.operate([&] {
        FileMutex mutex(path);
        const std::unique_lock lock(mutex);
    });
    trial.require(dir.entries() == 0, "the lock file is left");
    FileMutex mutex(path);
    trial.require(mutex.try_lock(), "the next lock");
    mutex.unlock();
}

void creatingALockedFile(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("a file whose name needs memory of its own");
    trial.operate([&] {
        LockedFile file(path, true, inOneMinute());
        file.stream().exceptions(std::ios_base::badbit);
        file.stream() << kNew << std::flush;
        file.remove();
    });
    std::filesystem::remove(path);
    // An unlink that failed leaves the lock file behind.
    trial.require(dir.entries() == 0 || (trial.struck() && !trial.threwBadAlloc()),
                  "the lock file is left");
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        std::filesystem::remove(entry.path());
    }
    LockedFile next(path, true, inOneMinute());
    trial.require(next.stream().is_open(), "the next use");
}

void waitingForALockedFile(Trial& trial) {
    const TempDir dir;
    const auto path = dir.write("a file whose name needs memory of its own", kOld);
    std::string read;
    trial.operate([&] {
        LockedFile file(path, false, inOneMinute(), LockedFile::Options{.mode = std::ios_base::in});
        file.stream().exceptions(std::ios_base::badbit);
        std::getline(file.stream(), read);
    });
    trial.require(contentOf(path) == kOld, "the file has changed");
}

void readingJoinedLines(Trial& trial) {
    const TempDir dir;
    const auto path = dir.write("a", "line one, which needs memory of its own\nline two\n");
    const std::string separator = "a separator that needs memory of its own";
    const auto all = tools::readFileLinesToString(path, separator, {});
    std::string text;
    trial.operate([&] { text = tools::readFileLinesToString(path, separator, {}); });
    // A file that cannot be opened or read gives an empty list.
    trial.require(text == all || (trial.struck() && text.empty()), "a part of the lines");
    trial.require(tools::readFileLinesToString(path, separator, {}) == all, "the next use");
}

void makingATemporaryFolder(Trial& trial) {
    const TempDir dir;
    const TemporaryPlace place(dir.path());
    const std::string prefix = "a prefix that needs memory of its own";
    trial.operate([&] { static_cast<void>(tools::createTemporaryFolder(prefix)); });
    trial.require(dir.entries() == (trial.threw() ? 0U : 1U), "a folder is left, or none is there");
}

/// The former file stays where it cannot be removed; the next is never touched by a failure.
void changingPath(Trial& trial) {
    const TempDir dir;
    const auto first = dir.write("a file whose name needs memory of its own", "");
    const auto next = dir.write("another file whose name needs memory of its own", "");
    {
        TemporaryFile file(first, true);
        trial.operate([&] { file.setPath(next, true); });
        trial.require(std::filesystem::exists(next), "the next file is gone");
        trial.require(trial.threw() || !std::filesystem::exists(first), "the former file is left");
        if (trial.threw()) {
            file.setPath(next, true);
        }
    }
    std::filesystem::remove(first);
    trial.require(dir.entries() == 0, "something is left");
}

void takingAFile(Trial& trial) {
    const TempDir dir;
    const auto path = dir.write("a file whose name needs memory of its own", "");
    trial.operate([&] {
        TemporaryFile file(path, true);
        file.release();
    });
    trial.require(dir.entries() == 1, "removed what it does not own");
}

void makingADirectory(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("a directory whose name needs memory of its own");
    trial.operate([&] {
        TemporaryDirectory directory(path);
        directory.release();
    });
    trial.require(std::filesystem::exists(path) == !trial.threw(), "is left although it threw");
    std::filesystem::remove(path);
    const TemporaryDirectory next(path);
    trial.require(std::filesystem::exists(path), "the next use");
}

/// All ways to open a file that is there.
void openingLockedFiles(Trial& trial) {
    const TempDir dir;
    const auto path = dir.write("a file whose name needs memory of its own", kOld);
    const auto open = [&] {
        static_cast<void>(LockedFile::create(path));
        static_cast<void>(LockedFile::tryCreateUntil(path, inOneMinute()));
        static_cast<void>(LockedFile::wait(path));
        static_cast<void>(LockedFile::waitUntil(path, inOneMinute()));
    };
    trial.operate(open);
    trial.require(contentOf(path) == kOld, "the file has changed");
    trial.require(dir.entries() == 1, "a lock file is left");
    open();
}

CachedFileManager::Options atOnce() {
    CachedFileManager::Options options;
    options.writeDelay = 0ms;
    options.saveDefaults = true;
    return options;
}

struct Stored {
    TempDir dir;
    std::string path = dir.write("document", kOld);
    std::string backup = dir.write("document.bak", "text:the backup");

    [[nodiscard]] bool isWhole() const {
        const auto content = contentOf(path);
        const auto former = contentOf(backup);
        const auto whole = [](const std::string& text) {
            return text == kOld || text == "text:" + kNew || text == "text:the backup" ||
                   text == "text:last";
        };
        return whole(content) || whole(former);
    }
};

void loading(Trial& trial) {
    const Stored stored;
    auto object = std::make_unique<Text>("default");
    const auto options = atOnce();
    trial.operate([&] {
        CachedFileManager manager;
        manager.add(std::move(object), stored.path, CachedFileManager::kDefaultOptions);
    });
    // What could not be read for want of memory counts as not loaded: then the backup is taken.
    trial.require(contentOf(stored.path) == kOld || contentOf(stored.backup) == kOld,
                  "the file is lost");
    CachedFileManager next;
    next.add(std::make_unique<Text>("default"), stored.path);
    trial.require(textOf(next.getHandler(typeid(Text)).lock()).content != "default",
                  "the next start loads nothing");
}

void changing(Trial& trial) {
    const Stored stored;
    CachedFileManager manager;
    manager.add(std::make_unique<Text>("default"), stored.path, atOnce());
    trial.operate([&] {
        const auto locked = manager.getHandler(typeid(Text)).lock();
        textOf(locked).content = kNew;
        locked.write();
        locked.flush();
    });
    trial.require(stored.isWhole(), "file and backup are lost");
    const auto locked = manager.getHandler(typeid(Text)).lock();
    textOf(locked).content = "last";
    locked.write();
    locked.flush();
    trial.require(contentOf(stored.path) == "text:last", "the next write");
}

/// By the manager's thread, which has nobody to tell.
void changingLater(Trial& trial) {
    const Stored stored;
    {
        CachedFileManager manager;
        manager.add(std::make_unique<Text>("default"), stored.path, atOnce());
        trial.operate([&] {
            {
                const auto locked = manager.getHandler(typeid(Text)).lock();
                textOf(locked).content = kNew;
                locked.write(0ms);
            }
            manager.remove(typeid(Text));
        });
    }
    trial.require(stored.isWhole(), "file and backup are lost");
    CachedFileManager next;
    next.add(std::make_unique<Text>("default"), stored.path, atOnce());
    const auto locked = next.getHandler(typeid(Text)).lock();
    textOf(locked).content = "last";
    locked.write();
    locked.flush();
    trial.require(contentOf(stored.path) == "text:last", "the next write");
}

/// Without a manager. A failed write is dropped, and the object stays.
void handling(Trial& trial) {
    const Stored stored;
    files::CountingObserver observer;
    auto object = std::make_unique<Text>("default");
    trial.operate([&] {
        stream::StreamableHandler handler(
            std::move(object),
            stream::make_ofstreamBuilder(stored.path, std::ios_base::trunc,
                                         std::filesystem::perms::owner_all, stored.backup),
            observer, 0ms);
        static_cast<void>(handler.load(stream::make_ifstreamBuilder(stored.path)));
        stream::StreamableHandler moved(std::move(handler));
        {
            const auto locked = moved.lock();
            textOf(locked).content = kNew;
            locked.write();
        }
        static_cast<void>(moved.run());
    });
    trial.require(stored.isWhole(), "file and backup are lost");
}

class Settings : public settings::JsonSettings {
  public:
    std::string name = "a name that needs memory of its own";

  protected:
    bool loadSettings(const std::string&, const lwjson::Deserializer& settings) override {
        name = settings["name"].as<std::string>();
        return true;
    }
    std::pair<std::string, lwjson::Serializer> saveSettings() const override {
        lwjson::Serializer writer;
        writer.appendKey("name");
        writer.addValue(name);
        writer.finalize();
        return {"1.0", writer};
    }
};

/// A text that could not be written completely replaces nothing.
void writingSettings(Trial& trial) {
    const TempDir dir;
    const auto path = dir.file("settings");
    const auto backup = dir.file("settings.bak");
    auto builder = stream::make_ofstreamBuilder(path, std::ios_base::trunc,
                                                std::filesystem::perms::owner_all, backup);
    {
        const auto accessor = builder();
        Settings().serialize(accessor->stream());
        accessor->commit();
    }
    const auto before = contentOf(path);
    Settings settings;
    settings.name = "another name that needs memory of its own";
    trial.operate([&] {
        const auto accessor = builder();
        if (accessor == nullptr) {
            throw std::bad_alloc();
        }
        accessor->stream().exceptions(std::ios_base::badbit);
        settings.serialize(accessor->stream());
        accessor->commit();
    });
    const auto content = contentOf(path);
    Settings read;
    std::istringstream in(content);
    trial.require(content == before || read.deserialize(in), "a broken file: " + content);
}

void readingSettings(Trial& trial) {
    std::ostringstream out;
    Settings settings;
    settings.serialize(out);
    std::istringstream in(out.str());
    settings.name = "before";
    bool loaded = false;
    trial.operate([&] { loaded = settings.deserialize(in); });
    trial.require(trial.threw() || loaded || trial.struck(), "is not loaded");
    std::istringstream again(out.str());
    trial.require(settings.deserialize(again), "the next use");
}

using FsError = std::filesystem::filesystem_error;

Row makingFiles(const Row& row) {
    return row.mayThrow<std::runtime_error>("Failed to create temporary file: ")
        .mayThrow<FsError>("filesystem error: temp_directory_path: ");
}

std::vector<Row> rows() {
    const auto readFile = Row{"readFile", readingAFile}
                              .mayThrow<std::invalid_argument>("Could not open file: ")
                              .mayThrow<std::runtime_error>("Could not determine file size: ")
                              .mayThrow<std::system_error>("Could not read file: ");
    const auto lockedFile = [](const char* name, auto run) {
        return Row{name, run}
            .mayThrow<std::ios_base::failure>("Unable to open file ")
            .mayThrow<std::ios_base::failure>("basic_");  // the caller's stream
    };
    return {
        readFile,
        {"readFileLinesToArray", readingLines},
        {"listFilesFromDirPath", listing},
        {"copyFile", copying, Answer::Hides},
        {"deleteFile", deleting, Answer::Hides},
        Row{"removeFolder", removingAFolder}.mayThrow<FsError>("filesystem error: cannot remove"),
        {"createFile", creating},
        {"swapFiles", swapping},
        {"swapFiles without exchange", withoutExchange(swapping)},
        makingFiles({"createTemporaryFile", makingATemporaryName}),
        {"FileMutex: lock and unlock", locking},
        lockedFile("LockedFile: create and remove", creatingALockedFile)
            .mayThrow<FsError>("filesystem error: cannot remove"),
        lockedFile("LockedFile: wait", waitingForALockedFile),
        Row{"CachedFileManager: load", loading, Answer::Hides}.mayThrow<std::system_error>(""),
        {"CachedFileManager: write", changing, Answer::Hides},
        {"CachedFileManager: write without exchange", withoutExchange(changing), Answer::Hides},
        {"CachedFileManager: write later", changingLater, Answer::Hides, Threads::All},
        {"JsonSettings: write", writingSettings, Answer::Hides},
    };
}

TEST(FilesLadder, Allocations) {
    auto all = rows();
    all.push_back({"readFileLinesToString", readingJoinedLines});
    all.push_back(makingFiles({"createTemporaryFolder", makingATemporaryFolder}));
    all.push_back({"TemporaryFile(path)", takingAFile});
    all.push_back({"TemporaryFile::setPath", changingPath});
    all.push_back({"TemporaryDirectory(path)", makingADirectory});
    all.push_back({"LockedFile: create, wait", openingLockedFiles});
    all.push_back({"StreamableHandler", handling, Answer::Hides});
    all.push_back({"FileMutex: lock, unlock and end", lockingWithoutMemory});
    all.push_back({"JsonSettings: read", readingSettings, Answer::Hides});
    all.push_back({"TemporaryFile", makingATemporary([] { const TemporaryFile file; })});
    // Its end, which hides what the removal lacks, is part of the operation.
    all.push_back({"TemporaryDirectory",
                   makingATemporary([] { const TemporaryDirectory directory; }), Answer::Hides});
    ladders::climbAllocations(all);
}

TEST(FilesLadder, Calls) {
    auto all = rows();
    all.push_back({"FileMutex: an interrupted attempt", lockingInterrupted});
    // Where the removal is refused something stays: then only descriptors and memory are looked at.
    all.push_back(makingFiles({"TemporaryFile and TemporaryDirectory", makingTemporaries})
                      .mayThrow<FsError>("filesystem error: Temporary file does not exists: ")
                      .mayThrow<FsError>("filesystem error: cannot ")
                      .mayThrow<FsError>("filesystem error: status: ")
                      .mayThrow<std::system_error>(""));
    ladders::climbCalls(all);
}

}  // namespace
