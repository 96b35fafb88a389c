// SPDX-License-Identifier: MIT
#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "posix/durable.h"

namespace vorn::common::internal {
namespace {

TEST(Durable, TheDirectoryOfAPath) {
    struct Row {
        std::string_view path;
        std::string_view directory;
    };
    for (const auto& row : {Row{"a", "."}, Row{"", "."}, Row{"/a", "/"}, Row{"/", "/"},
                            Row{"a/b", "a"}, Row{"/a/b", "/a"}, Row{"./a", "."}, Row{"../a", ".."},
                            Row{"/a/b/c.bak", "/a/b"}, Row{"a/", "a"}}) {
        EXPECT_EQ(directoryOf(row.path), row.directory) << row.path;
        // What the standard library says, where it has a word for it.
        const auto parent = std::filesystem::path(row.path).parent_path().string();
        EXPECT_EQ(parent.empty() ? "." : parent, row.directory) << row.path;
    }
    // Names of the same directory, spelt differently.
    EXPECT_EQ(directoryOf("a//b"), "a/");
    EXPECT_EQ(directoryOf("//a"), "/");
}

}  // namespace
}  // namespace vorn::common::internal
