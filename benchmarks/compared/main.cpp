// SPDX-License-Identifier: MIT
// usage: compared [ROUNDS]
// Runs each task with both, in alternating rounds, and prints for each the median of the rounds'
// ratios (peer's time / ours), the lower and the upper quartile, separated by tabs.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <vector>

#include <vorn/common/fs/TemporaryDirectory.h>

#include "tasks.h"

namespace {

using Task = std::string (*)(const std::string& input);
using Seconds = std::chrono::duration<double>;

struct Row {
    const char* name;
    Task vorn;
    Task peer;
    std::string input;
    /// A character of the result in which they may differ.
    std::size_t free = std::string::npos;
};

std::string resultOf(Task task, const Row& row) {
    std::string result = task(row.input);
    return row.free < result.size() ? result.erase(row.free, 1) : result;
}

Seconds timeOf(Task task, const std::string& input, int calls) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        task(input);
    }
    return std::chrono::steady_clock::now() - begin;
}

/// So many calls that a round of the library takes 20 ms.
int callsOf(const Row& row) {
    int calls = 1;
    while (calls < 1 << 20 && timeOf(row.vorn, row.input, calls) < std::chrono::milliseconds(20)) {
        calls *= 2;
    }
    return calls;
}

bool compare(const Row& row, int rounds) {
    const std::string ours = resultOf(row.vorn, row);
    if (const std::string theirs = resultOf(row.peer, row); ours != theirs) {
        std::cerr << row.name << ": \"" << ours << "\" is not \"" << theirs << "\"\n";
        return false;
    }
    const int calls = callsOf(row);
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const bool first = round % 2 == 0;
        const Seconds one = timeOf(first ? row.vorn : row.peer, row.input, calls);
        const Seconds other = timeOf(first ? row.peer : row.vorn, row.input, calls);
        ratios.push_back(first ? other / one : one / other);
    }
    std::sort(ratios.begin(), ratios.end());
    std::cout << row.name << std::fixed << std::setprecision(2);
    for (const std::size_t quarter : {2U, 1U, 3U}) {
        std::cout << '\t' << ratios[(ratios.size() - 1) * quarter / 4];
    }
    std::cout << std::endl;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::stoi(argv[1]) : 21;
    const ::vorn::common::fs::TemporaryDirectory disk;
    const ::vorn::common::fs::TemporaryDirectory memory("/dev/shm/vorn-compared-" +
                                                        std::to_string(::getpid()));
    std::string bytes;
    for (int i = 0; i < 1024; ++i) {
        bytes += static_cast<char>(i * 7);
    }
    namespace ours = compared::vorn;
    namespace theirs = compared::peer;
    const std::vector<Row> rows = {
        {"read_settings", ours::readSettings, theirs::readSettings,
         R"({"name": "outlet \"A\"", "timeout": 30, "limits": {"low": 0.5, "high": 16},)"
         R"( "tags": ["power", "cabinet 3"]})"},
        {"write_report", ours::writeReport, theirs::writeReport, "outlet \"A\""},
        {"name_device", ours::nameDevice, theirs::nameDevice, "pump 1", 19},
        {"encode_binary", ours::encodeBinary, theirs::encodeBinary, bytes},
        {"convert_time", ours::convertTime, theirs::convertTime, "2026-11-21T12:00:00.250Z"},
        {"repeat_every_period", ours::repeatEveryPeriod, theirs::repeatEveryPeriod, "5"},
        {"send_messages", ours::sendMessages, theirs::sendMessages, "1000"},
        {"run_script", ours::runScript, theirs::runScript, "echo hello; exit 3"},
        {"store_file", ours::storeFile, theirs::storeFile, disk.path() + "/settings.json"},
        {"lock_device", ours::lockDevice, theirs::lockDevice, memory.path() + "/modem.lck"},
    };
    bool good = true;
    for (const Row& row : rows) {
        good = compare(row, rounds) && good;
    }
    return good ? 0 : 1;
}
