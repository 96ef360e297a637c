// What every benchmark that compares contenders needs: medians of runs that take turns, kept for a table at the end.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

// Reads the command line, behind what a comparison needs unless it says otherwise. False if it cannot be used.
inline bool comparisonInitialized(int argc, char** argv) {
  std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
                            "--benchmark_min_time=0.2", "--benchmark_report_aggregates_only=true"};
  std::vector<char*> arguments{argv[0]};
  for (std::string& argument : defaults) arguments.push_back(argument.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  return !benchmark::ReportUnrecognizedArguments(count, arguments.data());
}

// Prints what the console reporter prints, and keeps the medians of CPU time by name, "hit/floor/4".
class MedianReporter final : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string& args = run.run_name.args;
      if (run.aggregate_name != "median") continue;
      medians_[run.run_name.function_name + (args.empty() ? "" : "/" + args)] = run.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  // In ns; 0 for what did not run.
  double median(const std::string& name) const {
    const auto found = medians_.find(name);
    return found == medians_.end() ? 0.0 : found->second;
  }

 private:
  std::map<std::string, double> medians_;
};

}  // namespace bench
