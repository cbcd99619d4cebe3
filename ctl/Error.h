#pragma once

#include <stdexcept>

namespace Ctl {

/// What ends the program with one line on standard error and exit code 1. Its text may have
/// anything in it that others said.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Ctl
