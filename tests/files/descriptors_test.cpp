// SPDX-License-Identifier: MIT
#include <fcntl.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/FileMutex.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/fs/TemporaryDirectory.h>
#include <vorn/common/fs/TemporaryFile.h>
#include <vorn/common/fs/tools.h>
#include <vorn/common/stream/StreamAccessors.h>

#include "files/interruptedOpens.h"
#include "helpers/TempDir.h"
#include "helpers/faults/calls.h"

namespace vorn::common::fs {
namespace {

using faults::Call;
using helpers::TempDir;
using std::filesystem::perms;

void store(const std::string& path, const std::string& tmpPath) {
    stream::FileOutputStreamAccessor accessor(path, std::ios_base::trunc, perms{0600}, tmpPath);
    accessor.stream() << "text";
    accessor.commit();
}

struct Row {
    const char* name;
    std::function<void(const TempDir&)> run;
    unsigned widest;        ///< the permissions that a file or directory may be created with
    int exchangeError = 0;  ///< errno with which an exchange of names fails
    int renameError = 0;    ///< the same of a rename
};

std::vector<Row> rows() {
    return {
        // Reading.
        {"readFile", [](auto& dir) { static_cast<void>(tools::readFile(dir.write("a", "x"))); }, 0},
        {"readFileLinesToArray",
         [](auto& dir) { static_cast<void>(tools::readFileLinesToArray(dir.write("a", "x"), {})); },
         0},
        {"FileInputStreamAccessor",
         [](auto& dir) { const stream::FileInputStreamAccessor accessor(dir.write("a", "x")); }, 0},
        // Creating.
        {"createFile", [](auto& dir) { tools::createFile(dir.file("a"), "x"); }, 0666},
        {"createTemporaryFile",
         [](auto&) { tools::deleteFile(tools::createTemporaryFile("descriptors")); }, 0600},
        {"TemporaryFile", [](auto&) { const TemporaryFile file; }, 0600},
        {"TemporaryDirectory",
         [](auto& dir) { const TemporaryDirectory folder(dir.file("a"), perms{0710}); }, 0710},
        {"FileMutex",
         [](auto& dir) {
             FileMutex mutex(dir.file("a"));
             mutex.lock();
             mutex.unlock();
         },
         0600},
        {"FileMutex, created by an open that was interrupted",
         [](auto& dir) {
             FileMutex mutex(dir.file("a"));
             faults::Calls calls;
             files::interruptAfterCreation(calls);
             mutex.lock();
             mutex.unlock();
         },
         0600},
        {"LockedFile",
         [](auto& dir) {
             LockedFile::create(dir.file("a"), {std::ios::out, perms{0604}});
         },
         0604},
        // Storing.
        {"commit", [](auto& dir) { store(dir.file("a"), ""); }, 0600},
        {"commit, swapping", [](auto& dir) { store(dir.write("a", "old"), dir.write("b", "x")); },
         0600},
        {"commit, copying", [](auto& dir) { store(dir.write("a", "old"), dir.write("b", "x")); },
         0600, EINVAL},
        {"commit, copying in place",
         [](auto& dir) { store(dir.write("a", "old"), dir.write("b", "x")); }, 0600, EINVAL, EBUSY},
        {"swapFiles, copying",
         [](auto& dir) { tools::swapFiles(dir.write("a", "x"), dir.write("b", "y")); }, 0600,
         EINVAL},
    };
}

// As the calls are made, so that there is no moment at which it is otherwise.
TEST(Descriptors, AreCloseOnExecAndFilesNarrowFromTheirFirstMomentOn) {
    for (const auto& row : rows()) {
        const TempDir dir;
        int calls = 0;
        faults::Calls watch;
        watch.fail(Call::renameat2, row.exchangeError, 1, row.exchangeError == 0 ? 0 : 1000);
        watch.fail(Call::rename, row.renameError, 1, row.renameError == 0 ? 0 : 1000);
        watch.hook([&](auto& call) {
            // The test's own files are not made through these calls' 32-bit or 64-bit forms.
            if (call.call == Call::open || call.call == Call::openat ||
                call.call == Call::mkostemp) {
                ++calls;
                EXPECT_NE(call.flags & O_CLOEXEC, 0)
                    << row.name << ": " << call.call << ' ' << call.path;
            }
            if ((call.call == Call::open && (call.flags & O_CREAT) != 0) ||
                call.call == Call::mkdir) {
                ++calls;
                EXPECT_EQ(call.mode & ~row.widest, 0U)
                    << row.name << ": " << call.call << ' ' << call.path;
            }
            return 0;
        });
        row.run(dir);
        EXPECT_GT(calls, 0) << row.name;
    }
}

}  // namespace
}  // namespace vorn::common::fs
