#include "VillainWorld.h"

/// Subscribers that end the state machine.

namespace {

using testing::SizeIs;

template <class Table>
class ReentrantEnd : public testing::Test, public VillainWorld<Table> {};
TYPED_TEST_SUITE(ReentrantEnd, AllTables, TableNames);

TYPED_TEST(ReentrantEnd, TheMachineEndsInTheMiddleOfAnEvent) {
  for (unsigned at = 1; at <= 2; ++at) {
    VillainWorld<TypeParam> world;
    world.start();
    world.put("lab", "web", world.key("", 1), 1.5F);
    world.atRowChange(at, [&] { world.end(); });
    world.put("lab", "web", world.key("", 1), 2.5F);
    EXPECT_TRUE(world.struck());
    EXPECT_EQ(world.allRows(), world.projection());
    EXPECT_FALSE(world.clientDir->entityPtr().changes().hasSubscribers());
  }
}

TYPED_TEST(ReentrantEnd, TheMachineEndsInTheMiddleOfARemovalOfMany) {
  for (unsigned at = 1; at <= 10; ++at) {
    VillainWorld<TypeParam> world;
    world.start();
    world.putFive("web");
    world.putFive("db");
    world.atRowChange(at, [&] { world.end(); });
    world.clientDir->entityDel("lab");
    EXPECT_TRUE(world.struck());
    EXPECT_TRUE(world.rows().empty()) << "an event in progress runs to its end";
  }
}

TYPED_TEST(ReentrantEnd, TheMachineEndsWhileABacklogIsReplayed) {
  for (unsigned at = 1; at <= 5; ++at) {
    VillainWorld<TypeParam> world;
    world.start();
    world.putFive("web", "eth1");
    world.atRowChange(at, [&] { world.end(); });
    world.ifIndexIs("eth1", 7);
    EXPECT_TRUE(world.struck());
    EXPECT_EQ(world.allRows(), world.projection());
  }
}

TYPED_TEST(ReentrantEnd, TheMachineEndsWhileAClientThatAppearedIsScanned) {
  for (unsigned at = 1; at <= 4; ++at) {
    VillainWorld<TypeParam> world;
    world.start();
    auto records = Qiv::make<ConnectivityMonitor::StatusDir>("lab");
    for (const char* host : {"web", "db"}) {
      const auto record = records->hostStatusIs(typename TestFixture::HostKey(host, "default"));
      for (unsigned n = 1; n <= 2; ++n) {
        ((*record).*
         TestFixture::Facts::kStatsIs)(TestFixture::Facts::stats(world.key("", n), 1.5F));
      }
    }
    world.atRowChange(at, [&] { world.end(); });
    world.clientDir->entityIs("lab", records);
    EXPECT_TRUE(world.struck());
    EXPECT_THAT(world.rows(), SizeIs(at)) << "a scan that is switched off stops";
  }
}

TYPED_TEST(ReentrantEnd, TheMachineEndsInTheMiddleOfItsStart) {
  for (const bool yields : {false, true}) {
    for (unsigned at = 1; at <= 10; ++at) {
      VillainWorld<TypeParam> world;
      if (yields) {
        world.template policyIs<AlwaysYield>();
      }
      world.ifIndexIs("eth1", 7);
      world.putFive("web");
      world.putFive("db", "eth1");
      world.atRowChange(at, [&] { world.end(); });
      world.sm = world.made();
      world.scheduler->runAll();
      EXPECT_TRUE(world.struck());
      EXPECT_THAT(world.rows(), SizeIs(at));
      EXPECT_TRUE(world.tasks().empty());
    }
  }
}

TYPED_TEST(ReentrantEnd, TheMachineEndsInTheMiddleOfItsReconciliation) {
  for (const bool yields : {false, true}) {
    for (unsigned at = 1; at <= 5; ++at) {
      VillainWorld<TypeParam> world;
      world.putFive("web");
      world.put("lab", "db", world.key("", 1), 1.5F);
      world.start();
      world.sm = nullptr;
      world.removeHost("web");
      if (yields) {
        world.template policyIs<AlwaysYield>();
      }
      world.atRowChange(at, [&] { world.end(); });
      world.sm = world.made();
      world.scheduler->runAll();
      EXPECT_TRUE(world.struck());
      EXPECT_TRUE(world.tasks().empty());
    }
  }
}

TYPED_TEST(ReentrantEnd, AMachineThatIsOnlyReleasedRunsItsSliceToTheEnd) {
  for (unsigned at = 1; at <= 10; ++at) {
    VillainWorld<TypeParam> world;
    world.ifIndexIs("eth1", 7);
    world.putFive("web");
    world.putFive("db", "eth1");
    world.atRowChange(at, [&] { world.sm = nullptr; });
    world.sm = world.made();
    world.scheduler->runAll();
    EXPECT_TRUE(world.struck());
    EXPECT_EQ(world.allRows(), world.projection());
    EXPECT_TRUE(world.tasks().empty());
  }
}

TYPED_TEST(ReentrantEnd, TheMachineEndsWhenItTellsThatItIsReady) {
  for (unsigned at = 1; at <= 4; ++at) {
    this->sm = this->made();
    unsigned told = 0;
    const Watcher<std::string_view> watcher(this->sm->outputState()->changes(),
                                            [&](const std::string_view&) {
                                              if (++told == at) {
                                                this->sm = nullptr;
                                              }
                                            });
    this->scheduler->runAll();
    EXPECT_FALSE(this->sm);
    EXPECT_TRUE(this->tasks().empty());
  }
}

}  // namespace
