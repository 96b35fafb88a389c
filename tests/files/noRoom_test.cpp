// SPDX-License-Identifier: MIT
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/TemporaryFile.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/settings/JsonSettings.h>
#include <vorn/common/stream/StreamAccessors.h>
#include <vorn/common/stream/StreamableHandler.h>

#include "files/devices.h"
#include "files/streamables.h"
#include "helpers/faults/calls.h"
#include "helpers/wait_until.h"

namespace vorn::common::fs {
namespace {

using files::at;
using files::attempt;
using files::Contents;
using files::kPart;
using files::kPlace;
using files::kRemoved;
using files::Lack;
using files::Operation;
using files::outcomeOf;
using files::Result;
using std::filesystem::perms;
using Clock = std::chrono::steady_clock;

constexpr auto kTruncate = std::ios_base::out | std::ios_base::trunc;

class Values : public settings::JsonSettings {
  public:
    explicit Values(std::string initial = "none") : value(std::move(initial)) {}

    bool loadSettings(const std::string&, const lwjson::Deserializer& settings) override {
        value = settings["value"].as<std::string>();
        return true;
    }

    std::pair<std::string, lwjson::Serializer> saveSettings() const override {
        lwjson::Serializer settings;
        settings.appendKey("value");
        settings.addValue(value);
        settings.finalize();
        ++saves;
        return {"1", settings};
    }

    std::string value;
    mutable std::atomic<int> saves{0};
};

std::string stored(const std::string& value) {
    std::ostringstream out;
    Values(value).serialize(out);
    return out.str();
}

const std::string kNewValue(20000, 'n');
const std::string kNew = stored(kNewValue);
const std::string kOld = stored("old");
const std::string kOlder = stored("older");
const Contents kBefore{{"file", kOld}, {"file.bak", kOlder}};

/// A result that changes nothing.
Result refused(const std::string& outcome) {
    return {outcome, {}, {}};
}
Result leaves(const Contents& changes, const Contents& laterChanges = {}) {
    return {"", changes, laterChanges};
}

const std::string kOtherwise = "otherwise";

void expect(bool condition) {
    if (!condition) {
        throw std::runtime_error(kOtherwise);
    }
}

files::Attempt commits(const std::string& path, const std::string& temporary) {
    return [=] {
        return outcomeOf([&] {
            stream::FileOutputStreamAccessor accessor(path, kTruncate, perms{0600}, temporary);
            accessor.stream() << kNew;
            accessor.commit();
        });
    };
}

files::Attempt swaps(const std::string& oldFile, const std::string& newFile, int error = 0) {
    return [=] {
        faults::Calls calls;
        calls.fail(faults::Call::renameat2, error);
        return outcomeOf([&] { tools::swapFiles(oldFile, newFile); });
    };
}

files::Attempt writesLocked(const std::string& path) {
    return [=] {
        return outcomeOf([&] {
            auto file = LockedFile::tryCreateUntil(path, Clock::now(), {kTruncate, perms{0600}});
            file.stream() << kNew << std::flush;
            expect(file.stream().good());
        });
    };
}

/// A handler that lasts from one attempt to the next.
class Handled {
  public:
    Handled(const std::string& path, const std::string& temporary)
        : handler_(std::make_unique<Values>(kNewValue),
                   stream::make_ofstreamBuilder(path, std::ios_base::trunc, perms{0600}, temporary),
                   observer_, std::chrono::hours(1)) {}

    void flush() {
        const auto locked = handler_.lock();
        locked.write();
        locked.flush();
    }

  private:
    files::CountingObserver observer_;
    stream::StreamableHandler handler_;
};

std::function<files::Attempt()> flushes(const std::string& path, const std::string& temporary) {
    return [=] {
        const auto handled = std::make_shared<Handled>(path, temporary);
        return [handled] { return outcomeOf([&] { handled->flush(); }); };
    };
}

CachedFileManager::Options soon() {
    CachedFileManager::Options options;
    options.writeDelay = std::chrono::milliseconds(1);
    return options;
}

/// By the manager's thread.
std::function<files::Attempt()> isWrittenLazily(const std::string& path) {
    return [path] {
        const auto manager = std::make_shared<CachedFileManager>();
        manager->add(std::make_unique<Values>(kNewValue), path, soon());
        return [manager]() -> std::string {
            auto& handler = manager->getHandler(typeid(Values));
            const Values* values = nullptr;
            int before = 0;
            {
                const auto locked = handler.lock();
                values = &static_cast<const Values&>(locked.get());
                before = values->saves;
                locked.write();
            }
            const bool written = helpers::waitUntil([&] { return values->saves > before; });
            // Until the write that has begun is over.
            static_cast<void>(handler.lock());
            return written ? "" : "not written";
        };
    };
}

/// What is there is loaded, and written again at once.
std::string loads(const std::string& path) {
    CachedFileManager manager;
    manager.add(std::make_unique<Values>(), path);
    return static_cast<Values&>(manager.getHandler(typeid(Values)).lock().get()).value;
}

const std::string kFull = "No space left on device";
const std::string kReadOnly = "Read-only file system";
const std::string kNoDescriptor = "Too many open files";

std::string noFile(const std::string& reason) {
    return "Failed to create temporary file: " + reason;
}
std::string noFolder(const std::string& reason) {
    return "Failed to create temporary directory: " + reason;
}

std::vector<Operation> reading() {
    return {
        {"readFile",
         attempt([] { return outcomeOf([] { expect(tools::readFile(at("file")) == kOld); }); }),
         {},
         {},
         {refused("Could not open file: " + at("file"))}},
        {"readFileLinesToArray",
         attempt([] { return std::to_string(tools::readFileLinesToArray(at("file"), {}).size()); }),
         refused("7"),
         {},
         {refused("0")}},
        {"listFilesFromDirPath",
         attempt(
             [] { return tools::listFilesFromDirPath(kPlace, false).empty() ? "nothing" : ""; }),
         {},
         {},
         {refused("nothing")}},
        {"FileInputStreamAccessor",
         attempt([] {
             stream::FileInputStreamAccessor accessor(at("file"));
             Values values;
             return accessor.stream().good() && values.deserialize(accessor.stream()) ? values.value
                                                                                      : "not good";
         }),
         refused("old"),
         {},
         {refused("not good")}},
        {"CachedFileManager::add",
         attempt([] { return loads(at("file")); }),
         {"old", {{"file.bak", kOld}}, {}},
         {{Lack::Writing, refused("old")}},
         {refused("none")}},
    };
}

std::vector<Operation> storing() {
    const Contents stored{{"new", kNew}};
    const Contents exchanged{{"file", kNew}, {"file.bak", kOld}};
    // Nothing could be opened for writing, and the exchange follows all the same.
    const auto exchangedAlone =
        leaves({{"file", kOlder}, {"file.bak", kOld}}, {{"file.bak", kOlder}});
    return {
        {"commit, in place, a new file",
         attempt(commits(at("new"), "")),
         leaves(stored),
         {{Lack::Blocks, leaves({{"new", kPart}})},
          {Lack::Inodes, leaves({})},
          {Lack::Writing, leaves({})}},
         {leaves({})}},
        {"commit, in place",
         attempt(commits(at("file"), "")),
         leaves({{"file", kNew}}),
         {{Lack::Blocks, leaves({{"file", kPart}})}, {Lack::Writing, leaves({})}},
         {leaves({})}},
        {"commit, exchanging",
         attempt(commits(at("file"), at("file.bak"))),
         leaves(exchanged),
         {{Lack::Blocks, leaves({{"file", kPart}, {"file.bak", kOld}}, {{"file.bak", kPart}})},
          {Lack::Writing, refused(noFile(kReadOnly))}},
         {exchangedAlone}},
        {"commit, exchanging for the first time",
         attempt(commits(at("file"), at("new"))),
         leaves({{"file", kNew}, {"new", kOld}}),
         {{Lack::Blocks, leaves({{"file", kPart}, {"new", kOld}}, {{"new", kPart}})},
          {Lack::Inodes, leaves({})},
          {Lack::Writing, leaves({})}},
         {leaves({})}},
        {"flush, in place",
         flushes(at("new"), ""),
         leaves(stored),
         {{Lack::Blocks, leaves({{"new", kPart}})},
          {Lack::Inodes, leaves({})},
          {Lack::Writing, leaves({})}},
         {leaves({})}},
        {"flush, exchanging",
         flushes(at("file"), at("file.bak")),
         leaves(exchanged),
         {{Lack::Blocks, leaves({{"file", kPart}, {"file.bak", kOld}}, {{"file.bak", kPart}})},
          {Lack::Writing, leaves({})}},
         {exchangedAlone}},
        {"settings, written lazily",
         isWrittenLazily(at("new")),
         leaves({{"new", kNew}, {"new.bak", kPart}}),
         {{Lack::Blocks, leaves({{"new", kPart}, {"new.bak", kPart}})},
          {Lack::Inodes, leaves({})},
          {Lack::AllInodesButOne, leaves({{"new.bak", kNew}})},
          {Lack::Writing, leaves({})}},
         {leaves({})}},
        {"createFile",
         attempt([] {
             auto file = tools::createFile(at("new"), kNew);
             file.close();
             return file ? "" : "failed";
         }),
         leaves(stored),
         {{Lack::Blocks, {"failed", {{"new", kPart}}, {}}},
          {Lack::Inodes, refused("failed")},
          {Lack::Writing, refused("failed")}},
         {refused("failed")}},
        {"copyFile",
         attempt([] { return tools::copyFile(at("file"), at("new")) ? "" : "failed"; }),
         leaves({{"new", kOld}}),
         {{Lack::Blocks, {"failed", {{"new", kPart}}, {}}},
          {Lack::Inodes, refused("failed")},
          {Lack::Writing, refused("failed")}},
         {refused("failed"), refused("failed")}},
    };
}

std::vector<Operation> swapping() {
    const Contents swapped{{"file", kOlder}, {"file.bak", kOld}};
    return {
        {"swapFiles",
         attempt(swaps(at("file"), at("file.bak"))),
         leaves(swapped),
         {{Lack::Writing, refused(noFile(kReadOnly))}},
         {}},
        {"swapFiles, to a new file",
         attempt(swaps(at("file"), at("new"))),
         leaves({{"file", kPart}, {"new", kOld}}),
         {{Lack::Inodes, refused(noFile(kFull))}, {Lack::Writing, refused(noFile(kReadOnly))}},
         {leaves({})}},
        {"swapFiles, by copying",
         attempt(swaps(at("file"), at("file.bak"), EINVAL)),
         leaves(swapped),
         {{Lack::Blocks, refused("")},
          {Lack::Inodes, refused(noFile(kFull))},
          {Lack::AllInodesButOne, refused(noFile(kFull))},
          {Lack::Writing, refused(noFile(kReadOnly))}},
         {leaves({}), refused(noFile(kNoDescriptor)), refused(noFile(kNoDescriptor))}},
    };
}

std::vector<Operation> locking() {
    const auto isLocked = [](const char* name) { return "File " + at(name) + " is locked"; };
    return {
        {"FileMutex::try_lock",
         attempt([] {
             FileMutex mutex(at("lock"));
             const std::unique_lock lock(mutex, std::try_to_lock);
             return lock ? "" : "taken";
         }),
         {},
         {{Lack::Inodes, refused("taken")}, {Lack::Writing, refused("taken")}},
         {refused("taken")}},
        {"FileMutex::try_lock_until",
         attempt([] {
             FileMutex mutex(at("lock"));
             const std::unique_lock lock(mutex, Clock::now());
             return lock ? "" : "taken";
         }),
         {},
         {{Lack::Inodes, refused("taken")}, {Lack::Writing, refused("taken")}},
         {refused("taken")}},
        {"LockedFile, a new file",
         attempt(writesLocked(at("new"))),
         leaves({{"new", kNew}}),
         {{Lack::Blocks, {kOtherwise, {{"new", kPart}}, {}}},
          {Lack::Inodes, refused(isLocked("new"))},
          {Lack::AllInodesButOne, refused("Unable to open file " + at("new"))},
          {Lack::Writing, refused(isLocked("new"))}},
         {refused(isLocked("new")), refused("Unable to open file " + at("new"))}},
        {"LockedFile, reading",
         attempt([] {
             return outcomeOf([] {
                 auto file = LockedFile::waitUntil(at("file"), Clock::now(), std::ios_base::in);
                 Values values;
                 expect(values.deserialize(file.stream()) && values.value == "old");
             });
         }),
         {},
         {{Lack::Inodes, refused(isLocked("file"))}, {Lack::Writing, refused(isLocked("file"))}},
         {refused(isLocked("file")), refused("Unable to open file " + at("file"))}},
    };
}

/// Not by its destructor, which needs a descriptor to look into it.
void discard(TemporaryDirectory directory) {
    const auto path = directory.path();
    directory.release();
    expect(std::filesystem::remove(path));
}

std::vector<Operation> temporary() {
    return {
        {"TemporaryFile",
         attempt([] { return outcomeOf([] { const TemporaryFile file; }); }),
         {},
         {{Lack::Inodes, refused(noFile(kFull))}, {Lack::Writing, refused(noFile(kReadOnly))}},
         {refused(noFile(kNoDescriptor))}},
        {"TemporaryFile, removed",
         attempt([] {
             return outcomeOf([] {
                 TemporaryFile file(at("file"));
                 file.removeIfExists();
             });
         }),
         leaves({{"file", kRemoved}}),
         {{Lack::Writing, refused(kReadOnly)}},
         {}},
        {"deleteFile",
         attempt([] { return tools::deleteFile(at("file")) ? "" : "failed"; }),
         leaves({{"file", kRemoved}}),
         {{Lack::Writing, refused("failed")}},
         {}},
        {"TemporaryDirectory",
         attempt([] { return outcomeOf([] { discard(TemporaryDirectory()); }); }),
         {},
         {{Lack::Inodes, refused(kFull)}, {Lack::Writing, refused(kReadOnly)}},
         {}},
        {"TemporaryDirectory, named",
         attempt([] { return outcomeOf([] { discard(TemporaryDirectory(at("new"))); }); }),
         {},
         {{Lack::Inodes, refused(kFull)}, {Lack::Writing, refused(kReadOnly)}},
         {}},
        {"TemporaryDirectory, removed",
         [] {
             const auto directory = std::make_shared<TemporaryDirectory>(at("new"));
             tools::createFile(directory->path() + "/inside", "");
             return [directory] { return outcomeOf([&] { directory->removeIfExists(); }); };
         },
         leaves({{"new", kRemoved}}),
         {{Lack::Writing, refused(kReadOnly)}},
         {refused(kNoDescriptor)}},
        {"createTemporaryFolder",
         attempt([] {
             return outcomeOf([] {
                 const auto path = tools::createTemporaryFolder("folder");
                 expect(std::filesystem::remove(path));
             });
         }),
         {},
         {{Lack::Inodes, refused(noFolder(kFull))}, {Lack::Writing, refused(noFolder(kReadOnly))}},
         {}},
    };
}

std::vector<Operation> allOperations() {
    std::vector<Operation> all;
    for (auto part : {reading(), storing(), swapping(), locking(), temporary()}) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

void expectWithout(Lack lack) {
    files::expectWithout(lack, kBefore, kNew, allOperations());
}

TEST(NoRoom, OfBlocks) {
    expectWithout(Lack::Blocks);
}

TEST(NoRoom, OfInodes) {
    expectWithout(Lack::Inodes);
}

TEST(NoRoom, OfInodesButForOneFile) {
    expectWithout(Lack::AllInodesButOne);
}

TEST(NoRoom, OnAReadOnlyDevice) {
    expectWithout(Lack::Writing);
}

TEST(NoRoom, OfDescriptors) {
    files::expectWithFewDescriptors(kBefore, kNew, allOperations());
}

}  // namespace
}  // namespace vorn::common::fs
