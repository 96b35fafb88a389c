// SPDX-License-Identifier: MIT
#include <dlfcn.h>

#include <new>
#include <optional>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <vorn/common/DynamicLibrary.h>

#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/expect_throw.h"
#include "modules.h"

namespace {

using namespace vorn::common;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr const char* kNoEntryPoint = "No function found with name \"loadLibrary\"";

TEST(DynamicLibrary, CallsTheEntryPointAndOwnsItsObject) {
    static_assert(!std::is_copy_constructible_v<DynamicLibrary>);
    static_assert(!std::is_copy_assignable_v<DynamicLibrary>);
    const modules::Events events;
    const auto path = modules::path("good");
    {
        DynamicLibrary library(path, {{"speed", "9600"}, {"port", "a b"}});
        EXPECT_EQ(library.path(), path);
        ASSERT_NE(library.object(), nullptr);
        const auto cipher = library.object()->getCipher("reversing");
        ASSERT_TRUE(cipher.has_value());
        EXPECT_EQ(cipher->encrypt("abc"), "cba");
        EXPECT_TRUE(modules::isLoaded(path));
    }
    EXPECT_EQ(events.text(), "loaded port=a b speed=9600\nobject deleted\nlibrary closed\n");
    EXPECT_FALSE(modules::isLoaded(path));
}

TEST(DynamicLibrary, UnloadsOnRequest) {
    const modules::Events events;
    DynamicLibrary library(modules::path("good"), {});
    library.unloadLibrary();
    EXPECT_EQ(library.object(), nullptr);
    EXPECT_EQ(library.path(), modules::path("good"));
    EXPECT_FALSE(modules::isLoaded(library.path()));
    library.unloadLibrary();
    library.loadLibrary(library.path(), {});
    EXPECT_NE(library.object(), nullptr);
    EXPECT_EQ(events.text(), "loaded\nobject deleted\nlibrary closed\nloaded\n");
}

TEST(DynamicLibrary, ThePathMayLieInTheLibraryThatGoes) {
    const helpers::TempDir dir;
    const auto second = modules::copy(dir, "good", "second.so");
    const auto child = helpers::runInChild([&](const auto& report) {
        DynamicLibrary library(modules::path("good"), {});
        void* const handle = ::dlopen(library.path().c_str(), RTLD_LAZY | RTLD_NOLOAD);
        void* const inside = ::dlsym(handle, "pathInside");
        ::dlclose(handle);
        const std::string& path = *new (inside) std::string(second);
        library.loadLibrary(path, {});
        report(library.path());
        return 0;
    });
    EXPECT_EQ(child.signal, 0);
    EXPECT_EQ(child.report, second);
}

TEST(DynamicLibrary, LoadingAgainUnloadsFirst) {
    const modules::Events events;
    const helpers::TempDir dir;
    const auto second = modules::copy(dir, "good", "second.so");
    DynamicLibrary library(modules::path("good"), {{"n", "1"}});
    library.loadLibrary(second, {{"n", "2"}});
    EXPECT_EQ(library.path(), second);
    EXPECT_EQ(events.text(), "loaded n=1\nobject deleted\nlibrary closed\nloaded n=2\n");
    EXPECT_FALSE(modules::isLoaded(modules::path("good")));
}

TEST(DynamicLibrary, AFailedLoadLeavesNothingLoaded) {
    DynamicLibrary library(modules::path("good"), {});
    EXPECT_THROW(library.loadLibrary(modules::path("failing"), {}), std::invalid_argument);
    EXPECT_EQ(library.object(), nullptr);
    EXPECT_FALSE(modules::isLoaded(modules::path("good")));
    EXPECT_FALSE(modules::isLoaded(modules::path("failing")));
}

TEST(DynamicLibrary, TellsWhyALibraryCannotBeOpened) {
    const helpers::TempDir dir;
    for (const auto& path :
         {dir.file("missing.so"), dir.write("text.so", "no library"), dir.path().string()}) {
        ASSERT_EQ(::dlopen(path.c_str(), RTLD_LAZY), nullptr);
        const std::string reason = ::dlerror();
        EXPECT_THROW_TEXT(DynamicLibrary(path, {}), std::invalid_argument,
                          "Error loading " + path + " library : " + reason);
    }
}

TEST(DynamicLibrary, TellsThatThereIsNoEntryPoint) {
    const auto path = modules::path("without_entry_point");
    void* const handle = ::dlopen(path.c_str(), RTLD_LAZY);
    ASSERT_NE(handle, nullptr);
    ASSERT_EQ(::dlsym(handle, "loadLibrary"), nullptr);
    const std::string reason = ::dlerror();
    ::dlclose(handle);

    CaptureStderr();
    EXPECT_THROW_TEXT(DynamicLibrary(path, {}), std::invalid_argument, kNoEntryPoint);
    EXPECT_EQ(GetCapturedStderr(), reason + "\n");
    EXPECT_FALSE(modules::isLoaded(path));
}

TEST(DynamicLibrary, ABareNameIsSearchedForByTheLoader) {
    CaptureStderr();
    EXPECT_THROW_TEXT(DynamicLibrary("libm.so.6", {}), std::invalid_argument, kNoEntryPoint);
    GetCapturedStderr();
}

TEST(DynamicLibrary, FunctionsAreBoundWhenTheyAreFirstCalled) {
    if (::getenv("LD_BIND_NOW") != nullptr) {
        GTEST_SKIP() << "LD_BIND_NOW makes the loader bind everything at once";
    }
    const modules::Events events;
    const DynamicLibrary library(modules::path("unresolved"), {});
    EXPECT_NE(library.object(), nullptr);
    EXPECT_EQ(events.text(), "loaded\n");
}

TEST(DynamicLibrary, ItsSymbolsAreNoneOfTheProgram) {
    const DynamicLibrary library(modules::path("good"), {});
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "loadLibrary"), nullptr);
}

struct FailureRow {
    const char* mode;
    const char* text;
    const char* events;
};

/// The exception and the text may be the library's own: both are dealt with before it is closed.
TEST(DynamicLibrary, AFailingEntryPointGivesItsTextAndClosesTheLibrary) {
    const FailureRow rows[] = {
        {"null", "the plug-in has a reason that is longer than a short string holds",
         "library closed\n"},
        {"null without text", "", "library closed\n"},
        {"standard exception", "a standard exception", "library closed\n"},
        {"own exception", "a text in the library's own memory",
         "exception deleted\nlibrary closed\n"},
        {"no exception", "unknown exception", "exception deleted\nlibrary closed\n"},
        {"number", "unknown exception", "library closed\n"},
    };
    const auto path = modules::path("failing");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        const modules::Events events;
        EXPECT_THROW_TEXT(DynamicLibrary(path, {{"mode", row.mode}}), std::invalid_argument,
                          row.text);
        EXPECT_EQ(events.text(), row.events);
        EXPECT_FALSE(modules::isLoaded(path));
    }
}

TEST(DynamicLibrary, IsSharedByLoadDynamicLibrary) {
    const auto path = modules::path("good");
    std::shared_ptr<DynamicLibrary> library = loadDynamicLibrary(path, {{"a", "b"}});
    EXPECT_EQ(library.use_count(), 1);
    auto second = library;
    library.reset();
    EXPECT_TRUE(modules::isLoaded(path));
    second.reset();
    EXPECT_FALSE(modules::isLoaded(path));
    EXPECT_THROW_TEXT(loadDynamicLibrary(modules::path("failing"), {{"mode", "number"}}),
                      std::invalid_argument, "unknown exception");
}

}  // namespace
