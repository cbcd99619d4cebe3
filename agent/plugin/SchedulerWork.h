#pragma once

#include "Ubo/Scheduler.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// The scheduler's slices as the event loop takes them. The scheduler has its own yield policy,
/// with the same budget.
class SchedulerWork final : public Work {
 public:
  explicit SchedulerWork(Ubo::Scheduler::Ptr scheduler) : scheduler_(std::move(scheduler)) {}
  bool hasWork() override { return scheduler_->hasWork(); }
  void work(Ubo::YieldPolicy& /*yield*/) override { scheduler_->runSlice(); }

 private:
  Ubo::Scheduler::Ptr scheduler_;
};

}  // namespace Agent
