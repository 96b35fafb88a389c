// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <map>
#include <system_error>

#include <gtest/gtest.h>

#include <vorn/common/DynamicLibrary.h>

#include "helpers/TempDir.h"
#include "helpers/environment.h"
#include "helpers/expect_throw.h"
#include "helpers/faults/allocation.h"
#include "helpers/faults/calls.h"

namespace {

using namespace vorn::common;
using namespace std::string_literals;

/// "path|name=value|name=value;path", the arguments sorted by name.
std::string summary(const std::vector<DynamicLibraryConfig>& plugins) {
    std::string text;
    for (const auto& plugin : plugins) {
        text += (text.empty() ? "" : ";") + plugin.path;
        for (const auto& [name, value] : std::map(plugin.args.begin(), plugin.args.end())) {
            text += "|" + name + "=" + value;
        }
    }
    return text;
}

struct Row {
    std::string content;
    std::string expected;
};

TEST(LoadConfigFile, ReadsEveryFormOfTextLine) {
    const Row rows[] = {
        {"", ""},
        {"\n\n", ""},
        {"lib.so", "lib.so"},
        {"lib.so\n", "lib.so"},
        {"a\nb\nc", "a;b;c"},
        {"# comment\nlib.so", "lib.so"},
        {"#lib.so", ""},
        {"#", ""},
        {"# \"unclosed", ""},
        {" # a", "#|arg0=a"},
        {"lib.so # a", "lib.so|arg0=#|arg1=a"},
        {"   \nlib.so\n\t\n", "lib.so"},
        {" \t lib.so \t x\ty  ", "lib.so|arg0=x|arg1=y"},
        {"lib.so x\r\nother.so\r\n", "lib.so|arg0=x;other.so"},
        {"a\rb", "a|arg0=b"},
        {"a\vb\fc", "a\vb\fc"},
        {R"("/opt/my lib.so" word "two words")", "/opt/my lib.so|arg0=word|arg1=two words"},
        {R"("a b"c)", "a b|arg0=c"},
        {R"("a""b")", "a|arg0=b"},
        {R"(a"b c"d)", "a\"b|arg0=c\"d"},
        {R"(a b")", "a|arg0=b\""},
        {R"("")", ""},
        {R"(lib.so "" x)", "lib.so|arg0=|arg1=x"},
        {R"(lib.so "a\" b)", "lib.so|arg0=a\\|arg1=b"},
        {"lib.so a=b 'c d'", "lib.so|arg0=a=b|arg1='c|arg2=d'"},
        {"lib.so 0 1 2 3 4 5 6 7 8 9 10",
         "lib.so|arg0=0|arg1=1|arg10=10|arg2=2|arg3=3|arg4=4|arg5=5|arg6=6|arg7=7|arg8=8|arg9=9"},
        {"lib.so \xc3\xa9\xff", "lib.so|arg0=\xc3\xa9\xff"},
        {"li\0b a\0b"s, "li\0b|arg0=a\0b"s},
    };
    const helpers::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        EXPECT_EQ(summary(loadConfigFile(dir.write("plugins.conf", row.content))), row.expected);
    }
    EXPECT_EQ(loadConfigFile(dir.write("plugins.conf", "\"\"")).size(), 1u);
}

TEST(LoadConfigFile, NamesTheLineThatCannotBeSplit) {
    const std::pair<std::string, int> rows[] = {
        {"\"", 1},
        {"\"lib.so", 1},
        {"lib.so \"a b", 1},
        {"lib.so \"a\" \"", 1},
        {"lib.so \"\"\"", 1},
        {"lib.so\n\n# comment\nlib.so \"a\nb\"\n", 4},
        {"a\nb\n\"", 3},
    };
    const helpers::TempDir dir;
    for (const auto& [content, line] : rows) {
        SCOPED_TRACE(content);
        const auto path = dir.write("plugins.conf", content);
        EXPECT_THROW_TEXT(loadConfigFile(path), std::invalid_argument,
                          "Failed to parse line " + std::to_string(line) + ": Missing closing \"");
    }
}

TEST(LoadConfigFile, ReadsTheJsonFormat) {
    const Row rows[] = {
        {R"({"plugins":[]})", ""},
        {R"({"plugins":[{"path":"a.so"}]})", "a.so"},
        {R"( { "x" : 1, "plugins" : [ {"path":"a.so"}, {"args":{}, "path":"b.so"} ] } )",
         "a.so;b.so"},
        {R"({"plugins":[{"path":"\/a\"b"}]})", "/a\"b"},
        {R"({"plugins":[{"path":""}]})", ""},
        {R"({"plugins":[{"path":"a","args":{"a":{"b":1}}}]})", "a|a_b=1"},
        {R"({"plugins":[{"path":"a","args":{"a":{"b":{"c":true}},"a_b":2}}]})",
         "a|a_b=2|a_b_c=true"},
        {R"({"plugins":[{"path":"a","args":{"s":"x \"y\"","n":null,"w":word}}]})",
         R"(a|n=null|s="x \"y\""|w=word)"},
        {R"({"plugins":[{"path":"a","args":{"e":{},"f":[],"g":[ ]}}]})", "a|e={}|f=[]|g=[ ]"},
        {R"({"plugins":[{"path":"a","args":{"l":[1,2,3]}}]})", "a|l_=1"},
        {R"({"plugins":[{"path":"a","args":{"l":[{"x":1},{"x":2,"y":3}]}}]})", "a|l__x=1|l__y=3"},
        {R"({"plugins":[{"path":"a","args":{"l":[[1],[2]]}}]})", "a|l__=1"},
        {R"({"plugins":[{"path":"a","args":{"x":1,"x":2}}]})", "a|x=1"},
        {R"({"plugins":[{"path":"a","args":{"x_y":1,"x":{"y":2}}}]})", "a|x_y=1"},
        {R"({"plugins":[{"path":"a","path":"b"}]})", "a"},
        {R"({"plugins":[{"path":"a","args":[1,2]}]})", "a"},
        {R"({"plugins":[{"path":"a","args":"x"}]})", "a"},
        {R"({"plugins":[{"path":"a","args":null}]})", "a"},
        {R"({"plugins":[{"path":"a","args":{"a\"b":1}}]})", R"(a|a\"b=1)"},
    };
    const helpers::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        EXPECT_EQ(summary(loadConfigFile(dir.write("plugins.json", row.content))), row.expected);
    }
}

TEST(LoadConfigFile, ExplainsBadJson) {
    const std::string prefix = "Failed to load configuration file (json): ";
    const std::string noPath = "Invalid library configuration file: plugin's \"path\" is mandatory";
    const std::string noPlugins = prefix + "\"plugins\" is missing or not an array";
    const Row rows[] = {
        {"", prefix + "Empty value (\"\")"},
        {"{\"plugins\":[", prefix + "Empty value (\"\")"},
        {"{\"plugins\":[{\"path\":\"a\"}", prefix + "Missing end token"},
        {"{\"plugins\":[{\"path\":\"a}]}", prefix + "The string is missing the terminator \" (34)"},
        {"{} x", prefix + "Unexpected character 'x' found after value '{}'"},
        {"{'plugins':[]}", prefix + "Invalid token when looking for key"},
        {"{\"plugins\":[{\"path\":}]}", prefix + "Empty value (\"}]}\")"},
        {"{}", noPlugins},
        {"[]", noPlugins},
        {"null", noPlugins},
        {R"({"plugins":{}})", noPlugins},
        {R"({"plugins":"a"})", noPlugins},
        {R"({"plugins":null})", noPlugins},
        {R"({"plugins":[{}]})", noPath},
        {R"({"plugins":[{"Path":"a"}]})", noPath},
        {R"({"plugins":[{"path":"a"},{"args":{}}]})", noPath},
        {R"({"plugins":["a.so"]})", noPath},
        {R"({"plugins":[{"path":1}]})", prefix + "lwjson::deserializer \"path\" is not a string"},
        {R"({"plugins":[{"path":null}]})",
         prefix + "lwjson::deserializer \"path\" is not a string"},
        {R"({"plugins":[{"path":["a"]}]})",
         prefix + "lwjson::deserializer \"path\" is not a string"},
        {"{\"plugins\":" + std::string(100, '['), prefix + "Maximum nested objects limit reached"},
    };
    const helpers::TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        const auto path = dir.write("plugins.json", row.content);
        EXPECT_THROW_TEXT(loadConfigFile(path), std::invalid_argument, row.expected);
    }
}

TEST(LoadConfigFile, TheTextBehindTheLastDotSelectsTheFormat) {
    const std::string json = R"({"plugins":[]})";
    const std::pair<const char*, bool> rows[] = {
        {"a.json", true},   {"json", false},    {"a.conf.json", true}, {".json", true},
        {"a.JSON", false},  {"a.json5", false}, {"a.jso", false},      {"a.json.conf", false},
        {"a.json ", false}, {"a.", false},      {"plain", false},      {"a.conf", false},
    };
    const helpers::TempDir dir;
    for (const auto& [name, isJson] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(loadConfigFile(dir.write(name, json)).empty(), isJson);
    }
}

TEST(LoadConfigFile, APathWithoutADotIsItsOwnExtension) {
    const helpers::TempDir dir;
    dir.write("json", R"({"plugins":[]})");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    const auto plugins = loadConfigFile("json");
    std::filesystem::current_path(before);
    EXPECT_TRUE(plugins.empty());
}

TEST(LoadConfigFile, AFileThatCannotBeReadGivesItsErrno) {
    const helpers::TempDir dir;
    std::filesystem::create_directory(dir.file("directory.json"));
    std::filesystem::create_directory(dir.file("directory.conf"));
    const std::pair<std::string, int> rows[] = {
        {"missing.json", ENOENT},
        {"missing.conf", ENOENT},
        {"directory.json", EISDIR},
        {"directory.conf", EISDIR},
    };
    for (const auto& [name, errorNumber] : rows) {
        SCOPED_TRACE(name);
        try {
            static_cast<void>(loadConfigFile(dir.file(name)));
            FAIL() << "read";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc(errorNumber));
            const std::string prefix = name.ends_with("json")
                                           ? "Failed to load configuration file (json): "
                                           : "Failed to load configuration file: ";
            EXPECT_EQ(error.what(), prefix + std::strerror(errorNumber));
        }
    }
}

TEST(LoadConfigFile, InterruptedReadsAreRepeated) {
    const helpers::TempDir dir;
    const auto path = dir.write("plugins.conf", "lib.so argument");
    faults::Calls calls;
    calls.hook(faults::Call::read, faults::interruptEveryOther);
    EXPECT_EQ(summary(loadConfigFile(path)), "lib.so|arg0=argument");
    EXPECT_GT(calls.count(faults::Call::read), 1);
}

TEST(LoadConfigFile, NoChildInheritsTheFileAndNoTerminalBecomesTheServices) {
    const helpers::TempDir dir;
    for (const auto* const name : {"plugins.json", "plugins.conf"}) {
        const auto path = dir.write(name, R"({"plugins":[]})");
        faults::Calls calls;
        calls.hook(faults::Call::open, [](auto& call) {
            EXPECT_EQ(call.flags & (O_CLOEXEC | O_NOCTTY), O_CLOEXEC | O_NOCTTY) << call.path;
            return 0;
        });
        static_cast<void>(loadConfigFile(path));
        EXPECT_EQ(calls.count(faults::Call::open), 1);
    }
}

TEST(LoadConfigFile, AMemberMoreBelowALongNameCostsNoNameMore) {
    const helpers::TempDir dir;
    const auto allocationsFor = [&dir](int members) {
        std::string elements = "[1]";
        for (int i = 1; i < members; ++i) {
            elements += ",[1]";
        }
        const auto path =
            dir.write("plugins.json", R"({"plugins":[{"path":"a","args":{")" +
                                          std::string(1000, 'k') + "\":[" + elements + "]}}]}");
        const std::size_t before = faults::allocations();
        EXPECT_EQ(loadConfigFile(path).front().args.size(), 1U);
        return faults::allocations() - before;
    };
    // The document itself takes an allocation for each inner array; two names would double that.
    EXPECT_LT(allocationsFor(2000) - allocationsFor(1000), 1500U);
}

TEST(LoadConfigFile, LongFilesAreReadWhole) {
    std::string content;
    for (int line = 0; line < 5000; ++line) {
        content += "lib" + std::to_string(line) + ".so argument\n";
    }
    const helpers::TempDir dir;
    const auto plugins = loadConfigFile(dir.write("plugins.conf", content));
    ASSERT_EQ(plugins.size(), 5000u);
    EXPECT_EQ(plugins.back().path, "lib4999.so");
    EXPECT_EQ(plugins.back().args.at("arg0"), "argument");
}

}  // namespace
