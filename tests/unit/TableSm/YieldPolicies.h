#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <utility>

#include "Ubo/YieldPolicy.h"

/// Yields after every single item.
class AlwaysYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return true; }
};

/// Runs everything in one go.
class NeverYield final : public Ubo::YieldPolicy {
 public:
  void sliceBegins() override {}
  bool shouldYield() override { return false; }
};

/// Yields at random: once in `oneIn` questions on average.
class RandomYield final : public Ubo::YieldPolicy {
 public:
  RandomYield(std::uint64_t seed, unsigned oneIn) : random_(seed), oneIn_(oneIn) {}
  void sliceBegins() override {}
  bool shouldYield() override { return random_() % oneIn_ == 0; }

 private:
  std::mt19937_64 random_;
  unsigned oneIn_;
};

/// Yields from the n-th question of a slice on.
class YieldAfter final : public Ubo::YieldPolicy {
 public:
  explicit YieldAfter(unsigned questions) : questions_(questions), left_(questions) {}
  void sliceBegins() override { left_ = questions_; }
  bool shouldYield() override { return left_ == 0 || --left_ == 0; }

 private:
  unsigned questions_;
  unsigned left_;
};
