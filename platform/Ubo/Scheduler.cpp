#include "Ubo/Scheduler.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace Ubo {

Task::Task(Scheduler& scheduler, Pomel::String name, int priority)
    : scheduler_(&scheduler), name_(std::move(name)), priority_(priority) {
  scheduler.tasks_.push_back(this);
}

Task::~Task() { scheduler_->forget(*this); }

void Task::scheduleTask() {
  if (!scheduled_ && !deleted_) {
    scheduled_ = true;
    scheduler_->enqueue(*this);
  }
}

void Task::taskDel() noexcept {
  deleted_ = true;
  if (scheduled_) {
    scheduled_ = false;
    const Scheduler::Ptr kept = scheduler_;  // The queue may hold the last reference to this task.
    kept->dequeue(*this);
  }
}

void Task::run() {
  struct Running {
    explicit Running(Task& task) noexcept : task_(task) { task_.running_ = true; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { task_.running_ = false; }  // Also when the work throws.
    Task& task_;
  };
  scheduled_ = false;
  const Running running(*this);
  work();
}

bool Task::taskShouldYield() const { return scheduler_->policy_->shouldYield(); }

Scheduler::Scheduler() : policy_(std::make_unique<DeadlinePolicy>(kSliceBudget)) {}

Scheduler::~Scheduler() = default;

void Scheduler::yieldPolicyIs(std::unique_ptr<YieldPolicy> policy) { policy_ = std::move(policy); }

void Scheduler::enqueue(Task& task) { queue_.emplace_back(&task); }

void Scheduler::dequeue(Task& task) noexcept {
  const auto isTask = [&](const Task::Ptr& queued) { return queued.get() == &task; };
  std::erase_if(queue_, isTask);
  std::erase_if(round_, isTask);
}

void Scheduler::forget(Task& task) noexcept { std::erase(tasks_, &task); }

bool Scheduler::runSlice() {
  if (round_.empty()) {
    round_ = std::exchange(queue_, {});
    std::ranges::stable_sort(round_, std::ranges::greater{},
                             [](const Task::Ptr& task) { return task->priority(); });
  }
  policy_->sliceBegins();
  while (!round_.empty()) {
    const Task::Ptr task = std::move(round_.front());  // Outlives a deletion by its own work.
    round_.pop_front();
    task->run();
    if (policy_->shouldYield()) {
      break;
    }
  }
  return hasWork();
}

void Scheduler::runAll() {
  while (runSlice()) {
  }
}

Scheduler::Ptr findOrCreateScheduler(std::string_view name) {
  // Leaked on purpose: tasks of static objects may outlive any order of destruction.
  static auto* const all = new std::map<std::string, Scheduler::Ptr, std::less<>>;
  auto at = all->find(name);
  if (at == all->end()) {
    at = all->emplace(std::string(name), Qiv::make<Scheduler>()).first;
  }
  return at->second;
}

}  // namespace Ubo
