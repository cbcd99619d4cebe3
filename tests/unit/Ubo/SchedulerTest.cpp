#include "Ubo/Scheduler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Ubo {
namespace {

/// Yields as the function says, and counts the slices.
class ScriptedPolicy final : public YieldPolicy {
 public:
  explicit ScriptedPolicy(std::function<bool()> yield) : yield_(std::move(yield)) {}
  void sliceBegins() override { ++slices; }
  bool shouldYield() override { return yield_(); }
  int slices = 0;

 private:
  std::function<bool()> yield_;
};

/// Owns a task whose work is logged and then done.
class Worker {
 public:
  Worker(Scheduler& scheduler, std::vector<std::string>& log, std::string name, int priority = 0)
      : task(Qiv::make<MemberTask<&Worker::dispatch>>(*this, scheduler, name, priority)),
        log_(log),
        name_(std::move(name)) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    if (task) {
      task->taskDel();
    }
  }

  void dispatch() {
    log_.push_back(name_);
    if (work) {
      const auto todo = work;  // The worker may end in it.
      todo();
    }
  }

  Task::Ptr task;
  std::function<void()> work;

 private:
  std::vector<std::string>& log_;
  std::string name_;
};

class SchedulerTest : public testing::Test {
 protected:
  using Log = std::vector<std::string>;

  SchedulerTest() {
    policyIs([] { return false; });
  }

  ScriptedPolicy& policyIs(std::function<bool()> yield) {
    auto policy = std::make_unique<ScriptedPolicy>(std::move(yield));
    ScriptedPolicy& kept = *policy;
    scheduler_->yieldPolicyIs(std::move(policy));
    return kept;
  }
  std::unique_ptr<Worker> worker(std::string name, int priority = 0) {
    return std::make_unique<Worker>(*scheduler_, log_, std::move(name), priority);
  }
  static void queue(std::initializer_list<std::reference_wrapper<const Worker>> workers) {
    for (const Worker& queued : workers) {
      queued.task->scheduleTask();
    }
  }
  Log ran() { return std::exchange(log_, {}); }

  Log log_;
  Scheduler::Ptr scheduler_ = Qiv::make<Scheduler>();
};

TEST_F(SchedulerTest, NothingQueuedIsNoWork) {
  EXPECT_FALSE(scheduler_->hasWork());
  EXPECT_FALSE(scheduler_->runSlice());
  scheduler_->runAll();
}

TEST_F(SchedulerTest, ATaskIsBornIdleWithItsNameAndPriority) {
  const auto a = worker("a", 3);
  EXPECT_EQ(a->task->name(), "a");
  EXPECT_EQ(a->task->priority(), 3);
  EXPECT_FALSE(a->task->scheduled());
  EXPECT_FALSE(a->task->running());
  EXPECT_EQ(a->task->taskWorkCount(), 0U);
  EXPECT_EQ(a->task->taskWorkPending(), 0U);
  scheduler_->runAll();
  EXPECT_EQ(ran(), Log{});
}

TEST_F(SchedulerTest, TasksOfOnePriorityRunInTheOrderOfQueueing) {
  const auto a = worker("a");
  const auto b = worker("b");
  const auto c = worker("c");
  queue({*c, *a, *b});
  EXPECT_TRUE(scheduler_->hasWork());
  EXPECT_FALSE(scheduler_->runSlice());
  EXPECT_EQ(ran(), (Log{"c", "a", "b"}));
}

TEST_F(SchedulerTest, HigherPriorityRunsFirstWithinARound) {
  const auto low = worker("low", -1);
  const auto middle = worker("middle", 0);
  const auto middle2 = worker("middle2", 0);
  const auto high = worker("high", 7);
  queue({*low, *middle, *high, *middle2});
  scheduler_->runSlice();
  EXPECT_EQ(ran(), (Log{"high", "middle", "middle2", "low"}));
}

TEST_F(SchedulerTest, SchedulingTwiceIsSchedulingOnce) {
  const auto a = worker("a");
  a->task->scheduleTask();
  a->task->scheduleTask();
  EXPECT_TRUE(a->task->scheduled());
  scheduler_->runAll();
  EXPECT_EQ(ran(), Log{"a"});
  EXPECT_FALSE(a->task->scheduled());
  a->task->scheduleTask();
  scheduler_->runAll();
  EXPECT_EQ(ran(), Log{"a"});
}

TEST_F(SchedulerTest, ATaskThatQueuesItselfAgainWaitsForTheNextRoundAndStarvesNobody) {
  const auto greedy = worker("greedy", 9);
  const auto modest = worker("modest", 0);
  int runs = 0;
  greedy->work = [&] {
    EXPECT_TRUE(greedy->task->running());
    if (++runs < 3) {
      greedy->task->scheduleTask();
      greedy->task->scheduleTask();
    }
  };
  modest->work = [&] { EXPECT_FALSE(greedy->task->running()); };
  greedy->task->scheduleTask();
  modest->task->scheduleTask();
  EXPECT_TRUE(scheduler_->runSlice());
  EXPECT_EQ(ran(), (Log{"greedy", "modest"}));
  EXPECT_TRUE(scheduler_->runSlice());
  EXPECT_FALSE(scheduler_->runSlice());
  EXPECT_EQ(ran(), (Log{"greedy", "greedy"}));
}

TEST_F(SchedulerTest, WhatIsQueuedDuringARoundWaitsEvenIfItsPriorityIsHigher) {
  const auto first = worker("first");
  const auto second = worker("second");
  const auto urgent = worker("urgent", 100);
  first->work = [&] { urgent->task->scheduleTask(); };
  first->task->scheduleTask();
  second->task->scheduleTask();
  scheduler_->runSlice();
  EXPECT_EQ(ran(), (Log{"first", "second"}));
  scheduler_->runSlice();
  EXPECT_EQ(ran(), Log{"urgent"});
}

TEST_F(SchedulerTest, AYieldingPolicyCutsTheRoundIntoSlicesOfOneTask) {
  policyIs([] { return true; });
  const auto a = worker("a");
  const auto b = worker("b");
  a->work = [&] { EXPECT_TRUE(a->task->taskShouldYield()); };
  a->task->scheduleTask();
  b->task->scheduleTask();
  EXPECT_TRUE(scheduler_->runSlice());
  EXPECT_EQ(ran(), Log{"a"});
  a->task->scheduleTask();  // Next round: behind b, which is of this one.
  EXPECT_TRUE(scheduler_->runSlice());
  EXPECT_EQ(ran(), Log{"b"});
  EXPECT_FALSE(scheduler_->runSlice());
  EXPECT_EQ(ran(), Log{"a"});
}

TEST_F(SchedulerTest, ARoundGoesOnWhileThePolicyDoesNotYield) {
  ScriptedPolicy& policy = policyIs([] { return false; });
  const auto a = worker("a");
  a->work = [&] { EXPECT_FALSE(a->task->taskShouldYield()); };
  const auto b = worker("b");
  a->task->scheduleTask();
  b->task->scheduleTask();
  EXPECT_FALSE(scheduler_->runSlice());
  EXPECT_EQ(ran(), (Log{"a", "b"}));
  EXPECT_EQ(policy.slices, 1);
}

TEST_F(SchedulerTest, ADeadlineEndsTheSliceBetweenTwoTasks) {
  using namespace std::chrono_literals;
  DeadlinePolicy::Clock::time_point now{};
  scheduler_->yieldPolicyIs(std::make_unique<DeadlinePolicy>(2ms, [&] { return now; }));
  const auto quick = worker("quick");
  const auto slow = worker("slow");
  const auto last = worker("last");
  quick->work = [&] { now += 1ms; };
  slow->work = [&] { now += 10ms; };
  queue({*quick, *slow, *last});
  EXPECT_TRUE(scheduler_->runSlice());
  EXPECT_EQ(ran(), (Log{"quick", "slow"}));
  EXPECT_FALSE(scheduler_->runSlice());
  EXPECT_EQ(ran(), Log{"last"});
}

TEST_F(SchedulerTest, WhateverThePolicyEveryQueuedRunIsRunOnceAndNoTaskTwiceInARound) {
  std::random_device device;
  const unsigned seed = device();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  policyIs([&] { return random() % 2 == 0; });

  constexpr std::size_t kTasks = 8;
  std::vector<std::unique_ptr<Worker>> workers;
  std::vector<int> wanted(kTasks, 0);  // Runs still to come of each.
  int runs = 0;
  int planned = 0;
  for (std::size_t i = 0; i < kTasks; ++i) {
    wanted[i] = static_cast<int>(random() % 20) + 1;
    planned += wanted[i];
    workers.push_back(worker(std::to_string(i), static_cast<int>(random() % 3)));
    workers[i]->work = [&, i] {
      ++runs;
      if (--wanted[i] > 0) {
        workers[i]->task->scheduleTask();
      }
    };
    workers[i]->task->scheduleTask();
  }
  scheduler_->runAll();
  EXPECT_EQ(runs, planned);
  EXPECT_EQ(wanted, std::vector<int>(kTasks, 0));
  // A task that had a run left ran in every round: so the last occurrences are of the neediest, and
  // between two runs of one task, every other task with runs left ran exactly once.
  const Log log = ran();
  std::vector<int> counts(kTasks, 0);
  for (const std::string& name : log) {
    const int round = ++counts[std::stoul(name)];
    for (std::size_t other = 0; other < kTasks; ++other) {
      const auto total = std::ranges::count(log, std::to_string(other));
      EXPECT_GE(counts[other], std::min<std::ptrdiff_t>(round - 1, total));
    }
  }
}

TEST_F(SchedulerTest, ADeletedTaskIsNeverRunNorQueuedAgain) {
  const auto a = worker("a");
  a->task->taskDel();
  a->task->scheduleTask();
  EXPECT_FALSE(a->task->scheduled());
  EXPECT_FALSE(scheduler_->hasWork());
  scheduler_->runAll();
  EXPECT_EQ(ran(), Log{});
}

TEST_F(SchedulerTest, DeletionDropsAQueuedRun) {
  const auto a = worker("a");
  const auto b = worker("b");
  a->task->scheduleTask();
  b->task->scheduleTask();
  a->task->taskDel();
  EXPECT_FALSE(a->task->scheduled());
  scheduler_->runAll();
  EXPECT_EQ(ran(), Log{"b"});
  a->task->taskDel();
}

TEST_F(SchedulerTest, ATaskDeletedWhileItWasTheOnlyOneQueuedLeavesNoWork) {
  auto a = worker("a");
  a->task->scheduleTask();
  a.reset();
  EXPECT_FALSE(scheduler_->hasWork());
  EXPECT_TRUE(scheduler_->tasks().empty());
}

TEST_F(SchedulerTest, ATaskMayDeleteItselfAndItsOwnerInItsOwnWork) {
  auto a = worker("a");
  const auto b = worker("b");
  a->work = [&] {
    a->task->scheduleTask();
    a->task->taskDel();
    a.reset();
  };
  a->task->scheduleTask();
  b->task->scheduleTask();
  scheduler_->runAll();
  EXPECT_EQ(ran(), (Log{"a", "b"}));
  EXPECT_EQ(scheduler_->tasks(), std::vector<Task*>{b->task.get()});
}

TEST_F(SchedulerTest, ATaskMayDeleteAnotherThatIsQueuedInTheSameRound) {
  const auto assassin = worker("assassin");
  auto victim = worker("victim");
  const auto witness = worker("witness");
  assassin->work = [&] { victim.reset(); };
  queue({*assassin, *victim, *witness});
  scheduler_->runAll();
  EXPECT_EQ(ran(), (Log{"assassin", "witness"}));
}

TEST_F(SchedulerTest, TheLastReferenceMayBeTheQueues) {
  auto a = worker("a");
  Task* const task = a->task.get();
  task->scheduleTask();
  a->task = nullptr;
  EXPECT_EQ(task->refs(), 1U);
  task->taskDel();  // Frees it.
  EXPECT_FALSE(scheduler_->hasWork());
  EXPECT_TRUE(scheduler_->tasks().empty());
}

TEST_F(SchedulerTest, ASchedulerLivesAsLongAsOneOfItsTasks) {
  const auto a = worker("a");
  const Scheduler* const scheduler = scheduler_.get();
  EXPECT_EQ(scheduler->refs(), 2U);
  scheduler_ = nullptr;
  a->task->scheduleTask();
  EXPECT_TRUE(scheduler->hasWork());
}

TEST_F(SchedulerTest, AThrowingTaskCountsAsRunAndTheRestOfTheRoundGoesOn) {
  const auto a = worker("a");
  const auto thrower = worker("thrower");
  const auto c = worker("c");
  thrower->work = [&] { throw std::runtime_error("work"); };
  queue({*a, *thrower, *c});
  EXPECT_THROW(scheduler_->runSlice(), std::runtime_error);
  EXPECT_EQ(ran(), (Log{"a", "thrower"}));
  EXPECT_FALSE(thrower->task->running());
  EXPECT_FALSE(thrower->task->scheduled());
  EXPECT_TRUE(scheduler_->hasWork());
  EXPECT_FALSE(scheduler_->runSlice());
  EXPECT_EQ(ran(), Log{"c"});
  thrower->work = nullptr;
  thrower->task->scheduleTask();
  scheduler_->runAll();
  EXPECT_EQ(ran(), Log{"thrower"});
}

TEST_F(SchedulerTest, WorkCountsAddUpAndPendingIsTheLatestReport) {
  const auto a = worker("a");
  a->task->taskWorkCountInc(5);
  a->task->taskWorkCountInc(7);
  a->task->taskWorkPendingIs(100);
  a->task->taskWorkPendingIs(88);
  EXPECT_EQ(a->task->taskWorkCount(), 12U);
  EXPECT_EQ(a->task->taskWorkPending(), 88U);
}

TEST_F(SchedulerTest, TasksAreListedInTheOrderOfTheirMaking) {
  const auto a = worker("a");
  auto b = worker("b");
  const auto c = worker("c");
  EXPECT_EQ(scheduler_->tasks(), (std::vector<Task*>{a->task.get(), b->task.get(), c->task.get()}));
  b.reset();
  EXPECT_EQ(scheduler_->tasks(), (std::vector<Task*>{a->task.get(), c->task.get()}));
}

TEST(SharedScheduler, OneNameIsOneScheduler) {
  const Scheduler::Ptr shared = findOrCreateScheduler(kDefaultScheduler);
  EXPECT_EQ(findOrCreateScheduler("default"), shared);
  EXPECT_NE(findOrCreateScheduler("another"), shared);
}

}  // namespace
}  // namespace Ubo
