// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <filesystem>
#include <new>

#include <gtest/gtest.h>

#include "SettingsFile.h"
#include "helpers/TempDir.h"
#include "helpers/expect_throw.h"

namespace gateway {

namespace {

using helpers::contentOf;

/// A text of at most five bytes; "memory" cannot be loaded for lack of it.
class Note : public vorn::common::stream::IStreamable {
  public:
    std::string text = "default";

    void serialize(std::ostream& out) const override { out << text; }
    bool deserialize(std::istream& in) override {
        std::string read;
        in >> read;
        if (read == "memory") {
            throw std::bad_alloc();
        }
        if (read.size() > 5) {
            throw std::runtime_error("it is too long");
        }
        text = read.empty() ? text : read;
        return !read.empty();
    }
};

std::string loaded(const std::string& path, std::string& trouble) {
    Note note;
    trouble = loadKept(note, path);
    return note.text;
}

const std::string kDocument =
    R"({"version": "VERSION", "settings": {"heartbeat": 55, "jobLimit": 2}})";

std::string document(const std::string& version) {
    std::string text = kDocument;
    return text.replace(text.find("VERSION"), 7, version);
}

}  // namespace

TEST(LoadKept, TakesTheFileThenTheBackupThenTheDefaults) {
    const helpers::TempDir directory;
    const std::string path = directory.file("s");
    std::string trouble;
    EXPECT_EQ(loaded(path, trouble), "default");
    EXPECT_EQ(trouble, "");
    directory.write("s.bak", "old");
    EXPECT_EQ(loaded(path, trouble), "old");
    EXPECT_EQ(trouble, "");
    directory.write("s", "new");
    EXPECT_EQ(loaded(path, trouble), "new");
    EXPECT_EQ(trouble, "");
}

TEST(LoadKept, WhatDoesNotLoadIsKeptAside) {
    const helpers::TempDir directory;
    const std::string path = directory.file("s");
    std::string trouble;
    directory.write("s", "too-long");
    directory.write("s.bak", "longer-still");
    EXPECT_EQ(loaded(path, trouble), "default");
    EXPECT_NE(trouble.find("it is too long, kept as \"" + path + ".unreadable\""),
              std::string::npos)
        << trouble;
    EXPECT_EQ(contentOf(path + ".unreadable"), "too-long");
    EXPECT_EQ(contentOf(path + ".bak.unreadable"), "longer-still");
    EXPECT_FALSE(std::filesystem::exists(path));
    directory.write("s", "again-too-long");
    directory.write("s.bak", "good");
    EXPECT_EQ(loaded(path, trouble), "good");
    EXPECT_EQ(contentOf(path + ".unreadable"), "too-long");
    EXPECT_EQ(contentOf(path + ".unreadable.2"), "again-too-long");
}

TEST(LoadKept, WhatIsLargerThanAnySettingsIsKeptAside) {
    const helpers::TempDir directory;
    std::string trouble;
    directory.write("s", std::string((1U << 20U) + 9000, 'x'));
    directory.write("s.bak", "old");
    EXPECT_EQ(loaded(directory.file("s"), trouble), "old");
    EXPECT_NE(trouble.find("it is too long"), std::string::npos) << trouble;
    EXPECT_TRUE(std::filesystem::exists(directory.file("s.unreadable")));
}

TEST(LoadKept, WhatNobodyCouldLookAtIsAnErrorAndStays) {
    const helpers::TempDir directory;
    const std::string path = directory.write("s", "memory");
    Note note;
    EXPECT_THROW(static_cast<void>(loadKept(note, path)), std::bad_alloc);
    EXPECT_EQ(contentOf(path), "memory");
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_THROW_TEXT(loadKept(note, path), std::runtime_error,
                      "\"" + path + "\" is no regular file");
    EXPECT_TRUE(std::filesystem::is_directory(path));
    std::filesystem::remove(path);
    std::filesystem::create_symlink(directory.write("other", "text"), path);
    EXPECT_THROW(static_cast<void>(loadKept(note, path)), std::runtime_error);
    std::filesystem::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_THROW(static_cast<void>(loadKept(note, path)), std::runtime_error);
    EXPECT_EQ(note.text, "default");
}

TEST(StoreKept, ReplacesTheFileAndKeepsTheOneBefore) {
    const helpers::TempDir directory;
    const std::string path = directory.file("s");
    storeKept(path, "1");
    EXPECT_EQ(contentOf(path), "1");
    EXPECT_FALSE(std::filesystem::exists(path + ".bak"));
    storeKept(path, "2");
    EXPECT_EQ(contentOf(path), "2");
    EXPECT_EQ(contentOf(path + ".bak"), "1");
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST(StoreKept, AFailureLeavesBothAsTheyWere) {
    const helpers::TempDir directory;
    const std::string path = directory.file("s");
    storeKept(path, "1");
    storeKept(path, "2");
    std::filesystem::create_directories(path + ".new/x");  // nothing can be made there
    EXPECT_THROW(storeKept(path, "3"), std::runtime_error);
    std::filesystem::remove_all(path + ".new");
    EXPECT_EQ(contentOf(path), "2");
    EXPECT_EQ(contentOf(path + ".bak"), "1");
    std::filesystem::remove(path + ".bak");
    std::filesystem::create_directory(path + ".bak");
    EXPECT_THROW(storeKept(path, "3"), std::runtime_error);
    EXPECT_EQ(contentOf(path), "2");
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    EXPECT_THROW(storeKept(directory.file("none/s"), "3"), std::runtime_error);
}

TEST(Settings, AnotherVersionIsNotKnown) {
    const helpers::TempDir directory;
    const std::string path = directory.write("s", document("2"));
    directory.write("s.bak", document("1"));
    Settings settings;
    const std::string trouble = loadKept(settings, path);
    EXPECT_NE(trouble.find("version \"2\" is not known"), std::string::npos) << trouble;
    EXPECT_EQ(settings.adjustable.heartbeat, 55U);
    EXPECT_EQ(contentOf(path + ".unreadable"), document("2"));
    for (const char* wrong :
         {R"({"version": "1", "settings": 7})", R"({"version": "1"})", "{}", ""}) {
        Settings other;
        directory.write("s", wrong);
        EXPECT_NE(loadKept(other, path), "") << wrong;
        EXPECT_EQ(other.adjustable.heartbeat, 55U) << wrong;
    }
}

TEST(Settings, NamesWhatMakesNoSense) {
    const helpers::TempDir directory;
    Settings settings;
    EXPECT_EQ(loadKept(settings, directory.write("s", R"({"version": "1", "settings":
        {"heartbeat": 0, "jobLimit": 3, "starts": -1, "secret": 7, "boundClients": [{}]}})")),
              "");
    EXPECT_EQ(settings.misread, "heartbeat starts secret boundClients");
    EXPECT_EQ(settings.adjustable.heartbeat, 10U);
    EXPECT_EQ(settings.adjustable.jobLimit, 3U);
}

}  // namespace gateway
