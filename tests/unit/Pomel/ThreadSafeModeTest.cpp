// Counted objects shared by two threads. In the plain mode counts would get lost here.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>

#include "Pomel/String.h"
#include "Qiv/Ptr.h"

namespace {

constexpr int kRounds = 200'000;

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

TEST(ThreadSafeMode, NoReferenceToAnObjectIsLost) {
  std::atomic<int> destroyed = 0;
  {
    const auto object = Qiv::make<Shared>(destroyed);
    onTwoThreads([&](int) {
      for (int i = 0; i < kRounds; ++i) {
        const Qiv::Ptr<Shared> copy = object;
        const Qiv::Ptr<Shared> copyOfCopy = copy;
      }
    });
    EXPECT_EQ(object->refs(), 1U);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(ThreadSafeMode, TheLastReferenceMayGoOnEitherThread) {
  std::atomic<int> destroyed = 0;
  constexpr int kObjects = 20'000;
  std::vector<Qiv::Ptr<Shared>> mine;
  mine.reserve(kObjects);
  for (int i = 0; i < kObjects; ++i) {
    mine.push_back(Qiv::make<Shared>(destroyed));
  }
  std::vector<Qiv::Ptr<Shared>> yours = mine;
  onTwoThreads([&](int thread) {
    for (auto& object : thread == 0 ? mine : yours) {
      object = nullptr;
    }
  });
  EXPECT_EQ(destroyed, kObjects);
}

TEST(ThreadSafeMode, AStringCopiedByTwoThreadsKeepsItsOctets) {
  const Pomel::String text("shared by two threads");
  onTwoThreads([&](int) {
    for (int i = 0; i < kRounds; ++i) {
      Pomel::String copy = text;
      ASSERT_EQ(copy.view().data(), text.view().data());
    }
  });
  EXPECT_EQ(text.view(), "shared by two threads");
}

}  // namespace
