// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

/// The texts that all implementations are given: what a gateway reads and writes.
namespace inputs {

template <class... Parts>
std::string joined(const Parts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

/// `make(0)`, `make(1)`, ... with commas between them.
template <class Make>
std::string list(int count, Make make) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += i == 0 ? "" : ",";
        text += make(i);
    }
    return text;
}

inline std::string repeated(const std::string& part, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

/// Commands, status and settings of 100 bytes to 4 KB.
inline std::vector<std::string> gatewayDocuments() {
    const std::string services = list(8, [](int i) {
        return joined(R"({"name":"service-)", i,
                      R"(","operating":"InService","health":"Ok","pid":)", 1200 + i,
                      R"(,"cpu":0.5,"restarts":0,"message":null})");
    });
    const std::string outlets = list(24, [](int i) {
        return joined(
            "\n    \"outlet", i, "\":\n    {\n      \"name\": \"outlet number ", i,
            "\",\n      \"enabled\": true,\n      \"low\": 0.500,\n      \"high\": 16.000,"
            "\n      \"delay\": 12\n    }");
    });
    return {
        R"({"command":"restart","target":"933d6c80-dea9-8c6b-d111-8b3b46a181f1","delay":30})",
        R"({"operating":"InService","health":"Ok","uptime":1234567,"load":[0.25,0.5,1.75]})",
        joined(R"({"version":3,"services":[)", services, R"(],"time":1.7000000002500000e+09})"),
        joined("{\n  \"version\": 2,\n  \"settings\":\n  {", outlets, "\n  }\n}"),
    };
}

/// Records of texts of 20 to 120 characters.
inline std::string textHeavy() {
    return joined("[",
                  list(200,
                       [](int i) {
                           return joined(
                               R"({"title":"The outlet number )", i,
                               R"(","description":"At the back of the cabinet, \"switched\" by )",
                               R"(the schedule; see the manual of the rack for the limits",)",
                               R"("maker":"A maker of outlets","place":"Building 7, floor 3, )",
                               R"(room 12, rack 4, position )", i, R"("})");
                       }),
                  "]");
}

inline std::string numberArrays() {
    return joined("[",
                  list(100,
                       [](int row) {
                           return joined("[",
                                         list(100,
                                              [row](int i) {
                                                  return std::to_string((row * 7919 + i * 104729) %
                                                                        100000 / 16.0);
                                              }),
                                         "]");
                       }),
                  "]");
}

inline std::string objectsInArrays() {
    return joined("[",
                  list(1000,
                       [](int i) {
                           return joined("{\"id\":", i, ",\"x\":", i % 17, ".25,\"y\":", i % 13,
                                         ".5,\"on\":true,\"tag\":\"t", i % 10, "\"}");
                       }),
                  "]");
}

/// 5 MB of measurements.
inline std::string telemetry() {
    return joined("[",
                  list(46000,
                       [](int i) {
                           return joined("{\"time\":", 1700000000 + i, ".250,\"device\":\"meter-",
                                         i % 32,
                                         "\",\"voltage\":", std::to_string(230 + i % 7 / 8.0),
                                         ",\"current\":", std::to_string(i % 160 / 16.0),
                                         ",\"flags\":[", i % 3, ",", i % 5, "]}");
                       }),
                  "]");
}

inline std::string wideObject(int members) {
    return joined("{", list(members, [](int i) { return joined("\"setting", i, "\":", i); }), "}");
}

/// A string value of 128 KB with an escape every few characters.
inline std::string escapedString() {
    return joined('"', repeated("a \\\"word\\\" and\\ta line\\n", 6000), '"');
}

inline std::string backslashRun() {
    return joined('"', std::string(131072, '\\'), '"');
}

/// 128 KB of prose with quotes and line feeds, to be escaped.
inline std::string textToEscape() {
    return repeated("line with a \"quoted\" word, and some plain text to its end\n", 2260);
}

}  // namespace inputs
