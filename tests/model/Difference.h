#pragma once

#include <stdexcept>

namespace Model {

/// The store is not as the reference says.
class Difference : public std::runtime_error {
 public:
  using runtime_error::runtime_error;
};

inline void require(bool holds, const char* what) {
  if (!holds) {
    throw Difference(what);
  }
}

}  // namespace Model
