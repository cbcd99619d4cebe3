#pragma once

#include <chrono>
#include <functional>

namespace Ubo {

/// Decides when a slice has had its share. Injected, so that tests can yield always, never or at
/// random.
class YieldPolicy {
 public:
  virtual ~YieldPolicy() = default;
  /// A slice begins.
  virtual void sliceBegins() = 0;
  /// Asked after every item of work in the slice.
  [[nodiscard]] virtual bool shouldYield() = 0;
};

/// Yields once `budget` has passed since the slice began.
class DeadlinePolicy final : public YieldPolicy {
 public:
  using Clock = std::chrono::steady_clock;
  using Now = std::function<Clock::time_point()>;

  explicit DeadlinePolicy(Clock::duration budget, Now now = &Clock::now)
      : budget_(budget), now_(std::move(now)) {}

  void sliceBegins() override { deadline_ = now_() + budget_; }
  bool shouldYield() override { return now_() >= deadline_; }

 private:
  Clock::duration budget_;
  Now now_;
  Clock::time_point deadline_{};
};

/// The default budget of one slice: short against an SNMP manager's time-out and against what a
/// person notices.
inline constexpr std::chrono::milliseconds kSliceBudget{2};

}  // namespace Ubo
