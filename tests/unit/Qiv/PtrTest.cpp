#include "Qiv/Ptr.h"

#include <gtest/gtest.h>

#include <utility>

namespace Qiv {
namespace {

class Counted : public RefCounted {
 public:
  explicit Counted(int& alive) : alive_(alive) { ++alive_; }
  ~Counted() override { --alive_; }

 private:
  int& alive_;
};
class Special final : public Counted {
 public:
  using Counted::Counted;
};
class Other final : public RefCounted {};

TEST(Ptr, TheObjectGoesWithItsLastPointer) {
  int alive = 0;
  {
    Ptr<Counted> first = make<Counted>(alive);
    EXPECT_EQ(first->refs(), 1U);
    {
      const Ptr<Counted> second = first;
      EXPECT_EQ(first->refs(), 2U);
      first = nullptr;
      EXPECT_EQ(alive, 1);
      EXPECT_EQ(second->refs(), 1U);
    }
    EXPECT_EQ(alive, 0);
  }
  EXPECT_EQ(alive, 0);
}

TEST(Ptr, MovingTakesTheReferenceAlong) {
  int alive = 0;
  Ptr<Counted> from = make<Counted>(alive);
  const Ptr<Counted> to = std::move(from);
  EXPECT_EQ(from, nullptr);  // NOLINT(bugprone-use-after-move): the contract.
  EXPECT_EQ(to->refs(), 1U);
}

TEST(Ptr, AssignmentToItselfKeepsTheObject) {
  int alive = 0;
  Ptr<Counted> pointer = make<Counted>(alive);
  const Ptr<Counted>& alias = pointer;
  pointer = alias;
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(pointer->refs(), 1U);
}

TEST(Ptr, DefaultAndNullAreFalseAndEqual) {
  const Ptr<Counted> none;
  const Ptr<Counted> null = nullptr;
  EXPECT_FALSE(none);
  EXPECT_EQ(none, null);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_EQ(Ptr<Counted>(static_cast<Counted*>(nullptr)), nullptr);
}

TEST(Ptr, EqualityIsIdentity) {
  int alive = 0;
  const Ptr<Counted> one = make<Counted>(alive);
  const Ptr<Counted> same = one;
  const Ptr<Counted> another = make<Counted>(alive);
  EXPECT_EQ(one, same);
  EXPECT_NE(one, another);
  EXPECT_TRUE((one < another) != (another < one));
}

TEST(Ptr, ConvertsToItsBaseByCopyAndByMove) {
  int alive = 0;
  Ptr<Special> special = make<Special>(alive);
  const Ptr<Counted> copy = special;
  EXPECT_EQ(copy, special);
  EXPECT_EQ(special->refs(), 2U);
  const Ptr<Counted> moved = std::move(special);
  EXPECT_EQ(moved->refs(), 2U);
  EXPECT_EQ(special, nullptr);  // NOLINT(bugprone-use-after-move): the contract.
}

TEST(Ptr, CastsToWhatTheObjectIsAndToNullOtherwise) {
  int alive = 0;
  const Ptr<RefCounted> object = make<Special>(alive);
  EXPECT_EQ(ptrCast<Special>(object), object);
  EXPECT_EQ(ptrCast<Other>(object), nullptr);
  EXPECT_EQ(ptrCast<Special>(Ptr<RefCounted>()), nullptr);
  EXPECT_EQ(object->refs(), 1U);
}

TEST(Ptr, ADetachedReferenceIsKeptUntilItIsAdopted) {
  int alive = 0;
  Ptr<Counted> pointer = make<Counted>(alive);
  Counted* detached = pointer.detach();
  EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(Ptr<Counted>::adopt(detached)->refs(), 1U);
  EXPECT_EQ(alive, 0);
}

// An object that hands itself out while it dies, as an entity does whose collections publish their
// deletions from its destructor.
class Farewell final : public RefCounted {
 public:
  explicit Farewell(int& destroyed) : destroyed_(destroyed) {}
  ~Farewell() override {
    ++destroyed_;
    for (int guest = 0; guest < 3; ++guest) {
      const Ptr<Farewell> self(this);
      const Ptr<Farewell> again = self;
      EXPECT_GE(again->refs(), 2U);
    }
  }

 private:
  int& destroyed_;
};

TEST(Ptr, PointersTakenDuringTheDestructorDestroyNothingTwice) {
  int destroyed = 0;
  { const Ptr<Farewell> object = make<Farewell>(destroyed); }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace Qiv
