#pragma once

#include <stdexcept>

namespace Agent {

/// Why the agent cannot start, as one line for the one who started it.
class StartError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Agent
