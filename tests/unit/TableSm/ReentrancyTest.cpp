#include "VillainWorld.h"

/// Subscribers that change the inputs.

namespace {

using testing::SizeIs;

template <class Table>
class Reentrancy : public testing::Test, public VillainWorld<Table> {};
TYPED_TEST_SUITE(Reentrancy, AllTables, TableNames);

TYPED_TEST(Reentrancy, TheRecordChangesWhenItsRowAppears) {
  this->start();
  const auto key = this->key("", 1);
  this->atRowChange(1, [&] { this->put("lab", "web", key, 2.5F); });
  this->put("lab", "web", key, 1.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_EQ(this->count(), 2U);
}

TYPED_TEST(Reentrancy, TheRecordChangesBetweenTheTwoHalvesOfItsRowsReplacement) {
  this->start();
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->atRowChange(1, [&] { this->put("lab", "web", key, 3.5F); });
  this->put("lab", "web", key, 2.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_EQ(this->count(), 3U);
}

TYPED_TEST(Reentrancy, TheRecordGoesBetweenTheTwoHalvesOfItsRowsReplacement) {
  this->start();
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->atRowChange(1, [&] { this->remove("lab", "web", key); });
  this->put("lab", "web", key, 2.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_TRUE(this->rows().empty());
  EXPECT_EQ(this->count(), 1U);
}

TYPED_TEST(Reentrancy, AnotherRecordTakesTheRowsNameBetweenTheTwoHalvesOfItsReplacement) {
  this->start();
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->atRowChange(1, [&] { this->put("la", "bweb", key, 7.5F); });
  this->put("lab", "web", key, 2.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_THAT(this->rows(),
              testing::ElementsAre(testing::Pair(this->rowName("lab", "web", key, 0), 2.5F)));
}

TYPED_TEST(Reentrancy, TheRecordGoesWhenItIsCounted) {
  this->start();
  const auto key = this->key("", 1);
  this->atCountChange(1, [&] { this->remove("lab", "web", key); });
  this->put("lab", "web", key, 1.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_TRUE(this->rows().empty());
  EXPECT_EQ(this->count(), 0U);
}

TYPED_TEST(Reentrancy, TheRecordComesBackWhenItsRemovalIsCounted) {
  this->start();
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->atCountChange(1, [&] { this->put("lab", "web", key, 2.5F); });
  this->remove("lab", "web", key);
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_THAT(this->rows(), SizeIs(1));
  EXPECT_EQ(this->count(), 1U);
}

TYPED_TEST(Reentrancy, TheHostGoesWhenOneOfItsRowsAppears) {
  this->start();
  this->putFive("web");
  this->atRowChange(1, [&] { this->removeHost("web"); });
  this->put("lab", "web", this->key("", 6), 1.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_TRUE(this->rows().empty());
  EXPECT_FALSE(this->sm->clientDirSm()->child("lab")->child(
      typename TestFixture::HostKey("web", "default")));
}

TYPED_TEST(Reentrancy, TheClientGoesWhenOneOfItsRowsAppears) {
  this->start();
  this->putFive("web");
  this->putFive("db");
  this->atRowChange(1, [&] { this->clientDir->entityDel("lab"); });
  this->put("lab", "web", this->key("", 6), 1.5F);
  EXPECT_TRUE(this->struck());
  EXPECT_TRUE(this->rows().empty());
  EXPECT_FALSE(this->sm->clientDirSm()->child("lab"));
}

TYPED_TEST(Reentrancy, TheHostOrClientGoesInTheMiddleOfTheSecondPass) {
  for (const bool wholeClient : {false, true}) {
    for (const bool yields : {false, true}) {
      for (unsigned at = 1; at <= 10; ++at) {
        SCOPED_TRACE(std::to_string(at) + (wholeClient ? " client" : " host") +
                     (yields ? " yielding" : ""));
        VillainWorld<TypeParam> world;
        world.putFive("web");
        world.putFive("db");
        world.put("field", "web", world.key("", 1), 1.5F);
        world.coverRemovals();
        if (yields) {
          world.template policyIs<AlwaysYield>();
        }
        world.atRowChange(at, [&] {
          if (wholeClient) {
            world.clientDir->entityDel("lab");
          } else {
            world.removeHost("web");
          }
        });
        world.sm =
            world.made(yields ? TestFixture::Mode::kAsynchronous : TestFixture::Mode::kSynchronous);
        world.scheduler->runAll();
        EXPECT_TRUE(world.struck());
        EXPECT_TRUE(world.sm->ready());
        EXPECT_EQ(world.allRows(), world.projection());
      }
    }
  }
}

TYPED_TEST(Reentrancy, AHostThatARemovedHostsRowsBringBackIsScanned) {
  this->start();
  this->putFive("web");
  this->atRowChange(2, [&] { this->putFive("web"); });
  this->removeHost("web");
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_THAT(this->rows(), SizeIs(5));
}

TYPED_TEST(Reentrancy, AClientThatARemovedClientsRowsBringBackIsScanned) {
  this->start();
  this->putFive("web");
  this->putFive("db");
  this->atRowChange(2, [&] { this->putFive("web"); });
  this->clientDir->entityDel("lab");
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_THAT(this->rows(), SizeIs(5));
}

TYPED_TEST(Reentrancy, ARemovedRecordEmptiedWhileItsRowsGoIsDeletedOnceAllTheSame) {
  this->start();
  this->putFive("web");
  const auto detached = this->hostStatus("lab", "web");
  this->atRowChange(2, [&] {
    for (unsigned n = 1; n <= 5; ++n) {
      ((*detached).*TestFixture::Facts::kStatsDel)(this->key("", n));
    }
  });
  this->removeHost("web");
  EXPECT_TRUE(this->struck());
  EXPECT_TRUE(this->rows().empty());
  EXPECT_EQ(this->count(), 0U);
}

TYPED_TEST(Reentrancy, AWaitingProbeGoesWhileItsInterfacesBacklogIsReplayed) {
  this->start();
  this->put("lab", "db", this->key("", 9), 1.5F);  // Covers the removal of an uncounted probe.
  this->putFive("web", "eth1");
  const auto order = this->backlog("eth1");
  this->atRowChange(1, [&] { this->remove("lab", "web", order[3].statsKey()); });
  const TraceRecorder trace({kTableSmUnit});
  this->ifIndexIs("eth1", 7);
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_THAT(this->rows(), SizeIs(5));
  EXPECT_EQ(this->count(), 4U) << "one, and four, and minus one";
  std::size_t flattened = 0;
  for (const auto& line : trace.lines()) {
    flattened += line.text.starts_with("Flattening element: ") ? 1U : 0U;
  }
  EXPECT_EQ(flattened, 4U);
}

TYPED_TEST(Reentrancy, ProbesArriveWhileTheirInterfacesBacklogIsReplayed) {
  this->start();
  this->putFive("web", "eth1");
  this->atRowChange(2, [&] {
    this->put("lab", "web", this->key("eth1", 6), 1.5F);
    this->put("lab", "web", this->key("eth1", 1), 2.5F);
    this->put("lab", "web", this->key("eth2", 7), 1.5F);
    this->ifIndexIs("eth2", 8);
  });
  this->ifIndexIs("eth1", 7);
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_THAT(this->rows(), SizeIs(7));
  EXPECT_TRUE(this->sm->localAttrStore()->intfToStatsBacklog().empty());
}

TYPED_TEST(Reentrancy, ProbesOfAVrfArriveWhileItsObjectIsMade) {
  this->start();
  this->atVrfChange(1, [&] {
    this->put("lab", "db", this->key("", 1), 1.5F, "blue");
    this->put("lab", "db", this->key("", 2), 1.5F, "blue");
  });
  this->put("lab", "web", this->key("", 1), 1.5F, "blue");
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_EQ(this->count("blue"), 3U);
}

TYPED_TEST(Reentrancy, AVrfComesBackWhileItsObjectGoes) {
  this->start();
  this->put("lab", "web", this->key("", 1), 1.5F, "blue");
  this->atVrfChange(1, [&] { this->put("lab", "db", this->key("", 2), 2.5F, "blue"); });
  this->remove("lab", "web", this->key("", 1), "blue");
  EXPECT_TRUE(this->struck());
  EXPECT_EQ(this->allRows(), this->projection());
  EXPECT_EQ(this->count("blue"), 1U);
}

TYPED_TEST(Reentrancy, NotificationsAreSwitchedOffAndOnInTheMiddleOfTheSecondPass) {
  for (unsigned at = 1; at <= 10; ++at) {
    SCOPED_TRACE(at);
    VillainWorld<TypeParam> world;
    world.putFive("web");
    world.putFive("db");
    world.template policyIs<AlwaysYield>();
    world.atRowChange(at, [&] {
      world.sm->hasNotificationActiveIs(false);
      world.sm->hasNotificationActiveIs(true);
      world.sm->hasNotificationActiveIs(true);
    });
    world.sm = world.made();
    world.scheduler->runAll();
    EXPECT_TRUE(world.struck());
    EXPECT_TRUE(world.sm->ready());
    EXPECT_EQ(world.allRows(), world.projection());
    EXPECT_EQ(world.count(), 10U);
  }
}

}  // namespace
