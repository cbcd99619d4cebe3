#pragma once

#include <random>

#include "Step.h"
#include "Ubo/YieldPolicy.h"

namespace Model {

/// A history's way to interrupt work.
class Policy final : public Ubo::YieldPolicy {
 public:
  Policy(Yield yield, std::uint64_t seed)
      : yield_(yield), random_(static_cast<std::uint32_t>(seed)) {}
  void sliceBegins() override {}
  bool shouldYield() override {
    return yield_ == Yield::kAlways || (yield_ == Yield::kAtRandom && random_() % 4 == 0);
  }

 private:
  Yield yield_;
  std::minstd_rand random_;
};

}  // namespace Model
