// SPDX-License-Identifier: MIT
#include <cerrno>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/tools.h>

#include "files/devices.h"
#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/environment.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs {
namespace {

using files::Text;
using files::textOf;
using helpers::contentOf;
using helpers::TempDir;

std::string compare(const std::string& what, const std::string& value,
                    const std::string& expected) {
    return value == expected ? "" : what + " holds " + std::to_string(value.size()) + " bytes; ";
}

#define VORN_ON_DEVICE(place, options, body)                       \
    do {                                                           \
        const auto result = files::onDevice(place, options, body); \
        if (result.exitCode == files::kNoDevice) {                 \
            GTEST_SKIP() << result.report;                         \
        }                                                          \
        EXPECT_EQ(result.exitCode, 0);                             \
        EXPECT_EQ(result.report, "");                              \
    } while (false)

CachedFileManager::Options withDefaults() {
    CachedFileManager::Options options;
    options.saveDefaults = true;
    return options;
}

void storeText(CachedFileManager& files, const std::string& content) {
    const auto locked = files.getHandler(typeid(Text)).lock();
    textOf(locked).content = content;
    locked.write();
    locked.flush();
}

TEST(FullDevice, OneFailedWriteKeepsTheVersionBefore) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    VORN_ON_DEVICE(dir.path(), "size=64k", [&] {
        const auto path = dir.file("settings");
        {
            CachedFileManager files;
            files.add(std::make_unique<Text>("good"), path, withDefaults());
            storeText(files, std::string(200000, 'x'));
        }
        return compare("backup", contentOf(path + ".bak"), "text:good") +
               (contentOf(path).size() < 200000 ? "" : "the device was not full");
    });
}

TEST(FullDevice, AFailedWriteCanBeRepairedByASmallerOne) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    VORN_ON_DEVICE(dir.path(), "size=64k", [&] {
        const auto path = dir.file("settings");
        CachedFileManager files;
        files.add(std::make_unique<Text>("good"), path, withDefaults());
        storeText(files, std::string(200000, 'x'));
        storeText(files, "small again");
        return compare("file", contentOf(path), "text:small again");
    });
}

// A copy of the former version fits only once more: written aside it does not, in place it does.
TEST(FullDevice, WhereOnlyTwoVersionsFitTheWriteSucceedsInPlace) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    VORN_ON_DEVICE(dir.path(), "size=64k", [&] {
        const auto path = dir.file("settings");
        const std::string first(25000, '1');
        const std::string second(25000, '2');
        const std::string third(25000, '3');
        CachedFileManager files;
        files.add(std::make_unique<Text>(first), path, withDefaults());
        storeText(files, second);
        storeText(files, third);
        return compare("file", contentOf(path), "text:" + third) +
               compare("backup", contentOf(path + ".bak"), "text:" + second);
    });
}

TEST(FullDevice, AFailedCopyOverwritesNothing) {
    VORN_REQUIRE_ROOT();
    const TempDir dir;
    VORN_ON_DEVICE(dir.path(), "size=64k", [&] {
        const std::string content(40000, 'c');
        const auto a = dir.write("a", content);
        const auto b = dir.write("b", "small");
        faults::Calls calls;
        calls.fail(faults::Call::renameat2, EINVAL);
        tools::swapFiles(a, b);
        return compare("a", contentOf(a), content) + compare("b", contentOf(b), "small");
    });
}

}  // namespace
}  // namespace vorn::common::fs
