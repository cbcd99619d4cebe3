// Counted objects shared by two threads. In the plain mode counts would get lost here.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <thread>

#include "Pomel/String.h"
#include "Qiv/Ptr.h"

namespace {

[[maybe_unused]] const bool chosen = Pomel::threadSafePtrs = true;

struct Shared : Qiv::RefCounted {
  explicit Shared(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
  ~Shared() override { ++destroyed_; }
  std::atomic<int>& destroyed_;
};

/// Runs `work(thread)` on two threads that begin together.
template <class Work>
void onTwoThreads(Work work) {
  std::barrier begin(2);
  const auto run = [&](int thread) {
    begin.arrive_and_wait();
    work(thread);
  };
  std::thread other(run, 1);
  run(0);
  other.join();
}

/// Repeats `work()` on two threads until each has seen the other at work many times: otherwise the
/// one might be over before the other begins. Bounded, as a machine may have one core.
template <class Work>
void concurrently(Work work) {
  constexpr int kMeetings = 2000;
  constexpr int kMostTurns = 20'000;
  std::array<std::atomic<int>, 2> turns{};
  onTwoThreads([&](int thread) {
    std::atomic<int>& mine = turns[static_cast<std::size_t>(thread)];
    const std::atomic<int>& others = turns[static_cast<std::size_t>(1 - thread)];
    int seen = 0;
    for (int meetings = 0; meetings < kMeetings && mine < kMostTurns; ++mine) {
      for (int i = 0; i < 500; ++i) {
        work();
      }
      const int now = others;
      meetings += now != seen ? 1 : 0;
      seen = now;
    }
  });
}

TEST(ThreadSafeMode, NoReferenceToAnObjectIsLost) {
  std::atomic<int> destroyed = 0;
  {
    const auto object = Qiv::make<Shared>(destroyed);
    concurrently([&] {
      const Qiv::Ptr<Shared> copy = object;
      const Qiv::Ptr<Shared> copyOfCopy = copy;
    });
    EXPECT_EQ(object->refs(), 1U);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(ThreadSafeMode, TheLastReferenceMayGoOnEitherThread) {
  std::atomic<int> destroyed = 0;
  constexpr std::size_t kObjects = 20'000;
  std::vector<Qiv::Ptr<Shared>> mine;
  mine.reserve(kObjects);
  for (std::size_t i = 0; i < kObjects; ++i) {
    mine.push_back(Qiv::make<Shared>(destroyed));
  }
  std::vector<Qiv::Ptr<Shared>> yours = mine;
  std::barrier step(2);
  onTwoThreads([&](int thread) {
    auto& objects = thread == 0 ? mine : yours;
    for (std::size_t i = 0; i < kObjects; ++i) {
      if (i % 16 == 0) {
        step.arrive_and_wait();
      }
      objects[i] = nullptr;
    }
  });
  EXPECT_EQ(destroyed, static_cast<int>(kObjects));
}

TEST(ThreadSafeMode, AStringCopiedByTwoThreadsKeepsItsOctets) {
  const Pomel::String text("shared by two threads");
  std::atomic<int> strange = 0;
  concurrently([&] {
    const Pomel::String copy = text;
    if (copy.view().data() != text.view().data()) {
      ++strange;
    }
  });
  EXPECT_EQ(strange, 0);
  EXPECT_EQ(text.view(), "shared by two threads");
}

}  // namespace
