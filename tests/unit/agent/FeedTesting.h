#pragma once

#include <chrono>

#include "Ubo/YieldPolicy.h"
#include "agent/feed/ClientRegistry.h"

namespace Agent::Testing {

class NeverYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return false; }
};

class AlwaysYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return true; }
};

/// A clock that stands still until it is moved.
class FakeClock {
 public:
  [[nodiscard]] Now now() {
    return [this] { return at_; };
  }
  void advance(std::chrono::milliseconds by) { at_ += by; }
  [[nodiscard]] Clock::time_point at() const { return at_; }

 private:
  Clock::time_point at_{std::chrono::hours(1)};
};

}  // namespace Agent::Testing
