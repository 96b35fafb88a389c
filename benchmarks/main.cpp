// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

/// Of one implementation of one operation: the time of an iteration in each round, in nanoseconds.
using Rounds = std::vector<double>;

double medianOf(Rounds rounds) {
    const auto middle = rounds.begin() + static_cast<Rounds::difference_type>(rounds.size() / 2);
    std::nth_element(rounds.begin(), middle, rounds.end());
    return *middle;
}

double minimumOf(const Rounds& rounds) {
    return *std::min_element(rounds.begin(), rounds.end());
}

/// Benchmarks are named "<operation>/<implementation>[/<argument>]". After the ordinary table,
/// prints for every operation how long each peer takes as a multiple of "vorn"; the file named by
/// VORN_RATIOS gets the same, a line each, separated by tabs.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration) {
                continue;
            }
            const auto name = run.run_name.function_name;
            const auto slash = name.find('/');
            if (slash == std::string::npos) {
                continue;
            }
            auto operation = name.substr(0, slash);
            if (!run.run_name.args.empty()) {
                operation += "/" + run.run_name.args;
            }
            operations_[operation][name.substr(slash + 1)].push_back(
                run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9);
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::ofstream file;
        if (const char* path = std::getenv("VORN_RATIOS")) {
            file.open(path);
        }
        std::cout << "\nRatios (peer time / vorn time; above 1 means that vorn is faster)\n"
                  << "operation, peer: of the medians, of the minima, vorn's median in ns\n"
                  << std::fixed;
        for (const auto& [operation, implementations] : operations_) {
            const auto own = implementations.find("vorn");
            if (own != implementations.end()) {
                printRatios(file, operation, own->second, implementations);
            }
        }
    }

  private:
    static void printRatios(std::ostream& file, const std::string& operation, const Rounds& own,
                            const std::map<std::string, Rounds>& implementations) {
        for (const auto& [peer, rounds] : implementations) {
            if (&rounds == &own) {
                continue;
            }
            const double medians = medianOf(rounds) / medianOf(own);
            const double minima = minimumOf(rounds) / minimumOf(own);
            std::cout << "  " << std::left << std::setw(40) << operation << ' ' << std::setw(24)
                      << peer << std::right << std::setprecision(2) << std::setw(8) << medians
                      << std::setw(8) << minima << std::setprecision(0) << std::setw(12)
                      << medianOf(own) << '\n';
            file << operation << '\t' << peer << '\t' << medians << '\t' << minima << '\t'
                 << medianOf(own) << '\n';
        }
    }

    std::map<std::string, std::map<std::string, Rounds>> operations_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
