#include "Qiv/Publisher.h"

#include <gtest/gtest.h>

#include "Qiv/Entity.h"
#include "Qiv/TypeInfo.h"

namespace Qiv {
namespace {

using Changes = Publisher<int>;

/// A subscriber with a name and perhaps a plan. Writes "NAME CHANGE" into the shared log, then
/// carries its plan out.
class Villain {
 public:
  using Plan = std::function<void(int)>;

  Villain(std::vector<std::string>& log, std::string name) : log_(log), name_(std::move(name)) {}
  Villain(std::vector<std::string>& log, std::string name, Changes& changes)
      : Villain(log, std::move(name)) {
    subscription_.subscribe(changes);
  }

  void plan(Plan plan) { plan_ = std::move(plan); }
  void join(Changes& changes) { subscription_.subscribe(changes); }
  void leave() { subscription_.unsubscribe(); }
  void activeIs(bool active, Changes& changes) { subscription_.activeIs(active, changes); }
  [[nodiscard]] bool joined() const { return subscription_.linked(); }

  void handle(const int& change) {
    log_.push_back(name_ + ' ' + std::to_string(change));
    if (plan_) {
      const Plan plan = plan_;  // The villain may die of it.
      plan(change);
    }
  }

 private:
  std::vector<std::string>& log_;
  std::string name_;
  Plan plan_;
  Subscription<&Villain::handle, int> subscription_{*this};
};

class PublisherTest : public testing::Test {
 protected:
  using Log = std::vector<std::string>;

  std::unique_ptr<Villain> joined(std::string name) {
    return std::make_unique<Villain>(log_, std::move(name), *changes_);
  }
  /// The log since the last call.
  Log told() { return std::exchange(log_, {}); }

  Log log_;
  std::unique_ptr<Changes> changes_ = std::make_unique<Changes>();
};

TEST_F(PublisherTest, NobodyIsToldWhereNobodyJoined) {
  EXPECT_FALSE(changes_->hasSubscribers());
  changes_->publish(1);
  EXPECT_EQ(told(), Log{});
}

TEST_F(PublisherTest, SubscribersAreToldInTheOrderInWhichTheyJoined) {
  const auto a = joined("a");
  const auto b = joined("b");
  const auto c = joined("c");
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"a 1", "b 1", "c 1"}));
  EXPECT_TRUE(changes_->hasSubscribers());
}

TEST_F(PublisherTest, EveryoneHasBeenToldWhenPublishReturns) {
  const auto a = joined("a");
  for (int change = 1; change <= 3; ++change) {
    changes_->publish(change);
    EXPECT_EQ(told(), Log{"a " + std::to_string(change)});
  }
}

TEST_F(PublisherTest, ASubscriptionEndsWithItsObject) {
  const auto a = joined("a");
  auto b = joined("b");
  b.reset();
  changes_->publish(1);
  EXPECT_EQ(told(), Log{"a 1"});
}

TEST_F(PublisherTest, JoiningAgainMovesToTheEnd) {
  const auto a = joined("a");
  const auto b = joined("b");
  a->join(*changes_);
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"b 1", "a 1"}));
}

TEST_F(PublisherTest, JoiningAnotherPublisherLeavesTheFirst) {
  Changes elsewhere;
  Villain a(log_, "a", *changes_);
  a.join(elsewhere);
  changes_->publish(1);
  EXPECT_EQ(told(), Log{});
  elsewhere.publish(2);
  EXPECT_EQ(told(), Log{"a 2"});
}

TEST_F(PublisherTest, BeingMadeActiveTwiceIsBeingMadeActiveOnce) {
  const auto a = joined("a");
  const auto b = joined("b");
  a->activeIs(true, *changes_);
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"a 1", "b 1"}));
  a->activeIs(false, *changes_);
  a->activeIs(false, *changes_);
  EXPECT_FALSE(a->joined());
  changes_->publish(2);
  EXPECT_EQ(told(), Log{"b 2"});
}

TEST_F(PublisherTest, TheLatecomerWaitsForTheNextRound) {
  const auto host = joined("host");
  Villain latecomer(log_, "latecomer");
  host->plan([&](int) {
    if (!latecomer.joined()) {
      latecomer.join(*changes_);
    }
  });
  changes_->publish(1);
  EXPECT_EQ(told(), Log{"host 1"});
  changes_->publish(2);
  EXPECT_EQ(told(), (Log{"host 2", "latecomer 2"}));
}

TEST_F(PublisherTest, TheQuitterLeavesInItsOwnCall) {
  const auto a = joined("a");
  const auto quitter = joined("quitter");
  const auto c = joined("c");
  quitter->plan([&](int) { quitter->leave(); });
  changes_->publish(1);
  changes_->publish(2);
  EXPECT_EQ(told(), (Log{"a 1", "quitter 1", "c 1", "a 2", "c 2"}));
}

TEST_F(PublisherTest, TheKamikazeIsDestroyedInItsOwnCall) {
  const auto a = joined("a");
  auto kamikaze = joined("kamikaze");
  const auto c = joined("c");
  kamikaze->plan([&](int) { kamikaze.reset(); });
  changes_->publish(1);
  changes_->publish(2);
  EXPECT_EQ(told(), (Log{"a 1", "kamikaze 1", "c 1", "a 2", "c 2"}));
}

TEST_F(PublisherTest, TheAssassinsVictimsAheadAreNeverCalled) {
  const auto assassin = joined("assassin");
  auto next = joined("next");
  auto afterNext = joined("afterNext");
  const auto witness = joined("witness");
  assassin->plan([&](int) {
    next.reset();
    afterNext.reset();
  });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"assassin 1", "witness 1"}));
}

TEST_F(PublisherTest, TheAssassinMayTakeTheLastOne) {
  const auto assassin = joined("assassin");
  auto last = joined("last");
  assassin->plan([&](int) { last.reset(); });
  changes_->publish(1);
  EXPECT_EQ(told(), Log{"assassin 1"});
}

TEST_F(PublisherTest, TheBackstabbersVictimBehindWasCalledOnce) {
  auto victim = joined("victim");
  const auto backstabber = joined("backstabber");
  const auto witness = joined("witness");
  backstabber->plan([&](int) { victim.reset(); });
  changes_->publish(1);
  changes_->publish(2);
  EXPECT_EQ(told(), (Log{"victim 1", "backstabber 1", "witness 1", "backstabber 2", "witness 2"}));
}

TEST_F(PublisherTest, TheTurncoatWhoLeavesAndJoinsAgainIsNotCalledTwice) {
  const auto turncoat = joined("turncoat");
  const auto b = joined("b");
  turncoat->plan([&](int) {
    turncoat->leave();
    turncoat->join(*changes_);
  });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"turncoat 1", "b 1"}));
  changes_->publish(2);
  EXPECT_EQ(told(), (Log{"b 2", "turncoat 2"}));
}

TEST_F(PublisherTest, WhoeverIsMadeToRejoinBeforeItsCallWaitsForTheNextRound) {
  const auto puppeteer = joined("puppeteer");
  const auto puppet = joined("puppet");
  puppeteer->plan([&](int change) {
    if (change == 1) {
      puppet->join(*changes_);
    }
  });
  changes_->publish(1);
  EXPECT_EQ(told(), Log{"puppeteer 1"});
  changes_->publish(2);
  EXPECT_EQ(told(), (Log{"puppeteer 2", "puppet 2"}));
}

TEST_F(PublisherTest, TheArsonistEndsTheRoundWithThePublisher) {
  const auto a = joined("a");
  const auto arsonist = joined("arsonist");
  const auto c = joined("c");
  arsonist->plan([&](int) { changes_.reset(); });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"a 1", "arsonist 1"}));
  EXPECT_FALSE(a->joined());
  EXPECT_FALSE(c->joined());
}

TEST_F(PublisherTest, TheArsonistOfANestedRoundEndsTheOuterOneToo) {
  const auto echo = joined("echo");
  const auto arsonist = joined("arsonist");
  echo->plan([&](int change) {
    if (change == 1) {
      changes_->publish(2);
    }
  });
  arsonist->plan([&](int) { changes_.reset(); });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"echo 1", "echo 2", "arsonist 2"}));
}

TEST_F(PublisherTest, TheEchoIsHeardInFullBeforeTheRoundGoesOn) {
  const auto echo = joined("echo");
  const auto b = joined("b");
  echo->plan([&](int change) {
    if (change < 3) {
      changes_->publish(change + 1);
    }
  });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"echo 1", "echo 2", "echo 3", "b 3", "b 2", "b 1"}));
}

TEST_F(PublisherTest, OneWhoJoinedBetweenTwoNestedRoundsHearsTheInnerOneOnly) {
  const auto host = joined("host");
  Villain latecomer(log_, "latecomer");
  host->plan([&](int change) {
    if (change == 1) {
      latecomer.join(*changes_);
      changes_->publish(2);
    }
  });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"host 1", "host 2", "latecomer 2"}));
}

TEST_F(PublisherTest, OneWhoLeavesInTheInnerRoundIsGoneFromTheOuterOne) {
  const auto echo = joined("echo");
  const auto quitter = joined("quitter");
  const auto c = joined("c");
  echo->plan([&](int change) {
    if (change == 1) {
      changes_->publish(2);
    }
  });
  quitter->plan([&](int) { quitter->leave(); });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"echo 1", "echo 2", "quitter 2", "c 2", "c 1"}));
}

TEST_F(PublisherTest, RoundsOfTwoPublishersDoNotMix) {
  Changes other;
  const auto a = joined("a");
  const auto c = joined("c");
  Villain b(log_, "b", other);
  a->plan([&](int) { other.publish(10); });
  b.plan([&](int) { c->leave(); });
  changes_->publish(1);
  EXPECT_EQ(told(), (Log{"a 1", "b 10"}));
}

TEST_F(PublisherTest, AThrowingReactorLeavesThePublisherUsable) {
  const auto thrower = joined("thrower");
  const auto b = joined("b");
  thrower->plan([&](int change) {
    if (change == 1) {
      throw std::runtime_error("reactor");
    }
  });
  EXPECT_THROW(changes_->publish(1), std::runtime_error);
  auto c = joined("c");
  changes_->publish(2);
  c.reset();
  EXPECT_EQ(told(), (Log{"thrower 1", "thrower 2", "b 2", "c 2"}));
}

TEST_F(PublisherTest, APublisherThatDiesFirstLeavesItsSubscribersFree) {
  const auto a = joined("a");
  changes_ = std::make_unique<Changes>();
  EXPECT_FALSE(a->joined());
  a->join(*changes_);
  changes_->publish(1);
  EXPECT_EQ(told(), Log{"a 1"});
}

TEST(Publisher, IsOneWordWide) { EXPECT_EQ(sizeof(Changes), sizeof(void*)); }

TEST(Publisher, AnEntityMayBeDestroyedByOneWhoIsToldOfItsChange) {
  class Kingdom final : public Entity {
   public:
    explicit Kingdom(bool& fallen) : fallen_(fallen) {}
    ~Kingdom() override { fallen_ = true; }
    [[nodiscard]] const TypeInfo& typeInfo() const override {
      static const TypeInfo type{"Kingdom", nullptr, {}};
      return type;
    }

   private:
    bool& fallen_;
  };
  struct Regicide {
    void handle(const std::string_view& attribute) {
      heard = attribute;
      kingdom = nullptr;
    }
    Ptr<Kingdom> kingdom;
    std::string heard;
    Subscription<&Regicide::handle, std::string_view> subscription{*this, kingdom->changes()};
  };

  bool fallen = false;
  Regicide first{.kingdom = make<Kingdom>(fallen), .heard = {}};
  struct Heir {
    void handle(const std::string_view&) { called = true; }
    bool called = false;
  } heir;
  Subscription<&Heir::handle, std::string_view> heirs{heir, first.kingdom->changes()};

  first.kingdom->changes().publish("crown");
  EXPECT_TRUE(fallen);
  EXPECT_EQ(first.heard, "crown");
  EXPECT_FALSE(heir.called);
  EXPECT_FALSE(heirs.linked());
}

}  // namespace
}  // namespace Qiv
