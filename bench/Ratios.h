#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// CPU seconds of this thread: what the machine's other work cannot move.
[[nodiscard]] inline double threadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// For a ratio that is told but has no target.
inline constexpr double kNoBound = std::numeric_limits<double>::infinity();

/// A figure as a ratio to a baseline of the same run.
struct Ratio {
  std::string figure;
  std::string baseline;
  double atMost;
};

/// Prints what benchmark prints, keeps the medians, and prints the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        medians_[run.run_name.function_name] = run.GetAdjustedRealTime();
      }
    }
  }

  /// True when every ratio is within its bound; a figure that was filtered out is not judged.
  [[nodiscard]] bool printRatios(const std::vector<Ratio>& ratios) const {
    bool within = true;
    for (const Ratio& ratio : ratios) {
      const auto figure = medians_.find(ratio.figure);
      const auto baseline = medians_.find(ratio.baseline);
      if (figure == medians_.end() || baseline == medians_.end()) {
        continue;
      }
      const double value = figure->second / baseline->second;
      within = within && value <= ratio.atMost;
      std::printf("%-18s / %-12s = %6.2f", ratio.figure.c_str(), ratio.baseline.c_str(), value);
      if (ratio.atMost == kNoBound) {
        std::printf("\n");
      } else {
        std::printf("  (at most %.2f: %s)\n", ratio.atMost,
                    value <= ratio.atMost ? "met" : "MISSED");
      }
    }
    return within;
  }

 private:
  std::map<std::string, double> medians_;
};

}  // namespace bench
