#pragma once

#include <string>
#include <vector>

namespace Agent::Testing {

struct Outcome {
  int status = 0;  ///< Exit status; 128 + signal when one ended the program.
  std::string output;
  std::string errors;
};

/// Runs a program from the PATH to its end, bounded in time.
[[nodiscard]] Outcome run(const std::vector<std::string>& words);

}  // namespace Agent::Testing
