#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "Pomel/String.h"
#include "Qiv/Ptr.h"
#include "Ubo/YieldPolicy.h"

namespace Ubo {

class Scheduler;

/// Named work that runs in slices on the event thread. Invariants: a task is queued at most once;
/// after taskDel() its work is never called again.
class Task : public Qiv::RefCounted {
 public:
  using Ptr = Qiv::Ptr<Task>;

  [[nodiscard]] const Pomel::String& name() const noexcept { return name_; }
  /// Higher runs first within a round.
  [[nodiscard]] int priority() const noexcept { return priority_; }
  [[nodiscard]] bool scheduled() const noexcept { return scheduled_; }
  /// Whether the task's work is on the stack now.
  [[nodiscard]] bool running() const noexcept { return running_; }

  /// Queues the task for the next round; idempotent. Legal, like taskDel(), inside its own work.
  void scheduleTask();
  /// Ends the task for good; a queued run is dropped.
  void taskDel() noexcept;
  /// Whether the running work should hand the thread back. To be asked after every item.
  [[nodiscard]] bool taskShouldYield() const;

  /// Progress report: items done, added up over the task's life.
  void taskWorkCountInc(std::uint64_t items) noexcept { workCount_ += items; }
  /// Progress report: items in sight of the running work.
  void taskWorkPendingIs(std::uint64_t items) noexcept { workPending_ = items; }
  [[nodiscard]] std::uint64_t taskWorkCount() const noexcept { return workCount_; }
  [[nodiscard]] std::uint64_t taskWorkPending() const noexcept { return workPending_; }

 protected:
  Task(Scheduler& scheduler, Pomel::String name, int priority);
  ~Task() override;

 private:
  friend class Scheduler;
  void run();
  virtual void work() = 0;

  Qiv::Ptr<Scheduler> scheduler_;
  Pomel::String name_;
  int priority_;
  bool scheduled_ = false;
  bool running_ = false;
  bool deleted_ = false;
  std::uint64_t workCount_ = 0;
  std::uint64_t workPending_ = 0;
};

/// A task whose work is a member function of its owner: `MemberTask<&IfMibSm::task0Dispatch>`.
/// The owner deletes the task before it goes.
template <auto Work>
class MemberTask;
template <class Owner, void (Owner::*Work)()>
class MemberTask<Work> final : public Task {
 public:
  MemberTask(Owner& owner, Scheduler& scheduler, Pomel::String name, int priority)
      : Task(scheduler, std::move(name), priority), owner_(owner) {}

 private:
  void work() override { (owner_.*Work)(); }
  Owner& owner_;
};

/// Runs tasks in rounds: a round is what was queued when it began, highest priority first, then in
/// the order of queueing; what is queued meanwhile waits for the next round, so that a task that
/// queues itself again starves nobody. A round may take several slices.
class Scheduler : public Qiv::RefCounted {
 public:
  using Ptr = Qiv::Ptr<Scheduler>;

  Scheduler();
  ~Scheduler() override;

  void yieldPolicyIs(std::unique_ptr<YieldPolicy> policy);
  /// Runs tasks of the current round until the policy says yield or the round ends; at least one.
  /// True when work is left. What a task's work throws passes through; the task counts as run, and
  /// the rest of the round goes on in the next slice.
  bool runSlice();
  /// Runs slices until nothing is queued.
  void runAll();
  [[nodiscard]] bool hasWork() const noexcept { return !queue_.empty() || !round_.empty(); }
  /// Tasks that exist now, in order of creation.
  [[nodiscard]] const std::vector<Task*>& tasks() const noexcept { return tasks_; }

 private:
  friend class Task;
  void enqueue(Task& task);
  void dequeue(Task& task) noexcept;
  void forget(Task& task) noexcept;

  std::unique_ptr<YieldPolicy> policy_;
  std::deque<Task::Ptr> queue_;
  std::deque<Task::Ptr> round_;
  std::vector<Task*> tasks_;
};

/// The scheduler called `name`, made at its first mention and shared from then on.
[[nodiscard]] Scheduler::Ptr findOrCreateScheduler(std::string_view name);

/// The name under which host and plug-ins meet.
inline constexpr std::string_view kDefaultScheduler = "default";

}  // namespace Ubo
