#pragma once

#include <chrono>
#include <cstdint>

namespace Model {

struct Plan {
  std::uint64_t worlds = 200;
  std::uint64_t seed = 1;  ///< Of the first world; the others count on from it.
  unsigned jobs = 1;       ///< Processes side by side.
  std::chrono::seconds limit{3600};
};

/// Runs the worlds in processes of their own, so that one that ends its process is a failure like
/// any other, and prints figures, or the first failure shrunk. True when all worlds ran without a
/// difference; running out of time is a failure.
[[nodiscard]] bool runAll(const Plan& plan);

/// Prints the history of one world and runs it in this process, for a debugger.
[[nodiscard]] bool runOne(std::uint64_t seed);

}  // namespace Model
