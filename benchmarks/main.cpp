#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

struct Measurement {
    std::string implementation;
    double nanoseconds;
};

/// Benchmarks are named "<operation>/<implementation>[/<argument>]". After the ordinary table,
/// prints for every operation how long each peer takes as a multiple of "vorn".
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
            const double perIteration =
                run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9;
            operations_[operation].push_back({name.substr(slash + 1), perIteration});
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\nRatios (peer time / vorn time; above 1 means that vorn is faster)\n");
        for (const auto& [operation, measurements] : operations_) {
            printRatios(operation, measurements);
        }
    }

  private:
    static void printRatios(const std::string& operation,
                            const std::vector<Measurement>& measurements) {
        double own = 0;
        for (const auto& measurement : measurements) {
            if (measurement.implementation == "vorn") {
                own = measurement.nanoseconds;
            }
        }
        for (const auto& measurement : measurements) {
            if (own > 0 && measurement.implementation != "vorn") {
                std::printf("  %-40s %-24s %8.2f\n", operation.c_str(),
                            measurement.implementation.c_str(), measurement.nanoseconds / own);
            }
        }
    }

    std::map<std::string, std::vector<Measurement>> operations_;
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
