#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

template <class Table>
class Backlog : public TableSmTest<Table> {
 protected:
  void SetUp() override { this->start(); }

  auto info(std::string_view client, std::string_view host, const typename Backlog::Key& key,
            std::string_view vrf = "default") {
    return typename Backlog::Info(client, typename Backlog::HostKey(host, vrf), key);
  }
};
TYPED_TEST_SUITE(Backlog, AllTables, TableNames);

TYPED_TEST(Backlog, AProbeOnAnInterfaceWithoutIndexWaitsAndCountsForNothing) {
  const auto key = this->key("eth1", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  EXPECT_THAT(this->backlog("eth1"), ElementsAre(this->info("lab", "web", key, "blue")));
  EXPECT_EQ(this->count("blue"), 0U);
  EXPECT_FALSE(this->mib("blue"));
  EXPECT_THAT(FakeMibModule::calls(), IsEmpty());
}

TYPED_TEST(Backlog, TheInterfacesIndexTurnsWaitingProbesIntoRows) {
  const auto first = this->key("eth1", 1);
  const auto second = this->key("eth1", 2);
  const auto other = this->key("eth2", 3);
  this->put("lab", "web", first, 1.5F);
  this->put("lab", "db", second, 2.5F, "blue");
  this->put("lab", "db", other, 3.5F);
  this->ifIndexIs("eth1", 7);
  EXPECT_THAT(this->rows(), ElementsAre(Pair(this->rowName("lab", "web", first, 7), 1.5F)));
  EXPECT_THAT(this->rows("blue"), ElementsAre(Pair(this->rowName("lab", "db", second, 7), 2.5F)));
  EXPECT_EQ(this->count(), 1U);
  EXPECT_EQ(this->count("blue"), 1U);
  EXPECT_FALSE(this->sm->localAttrStore()->intfToStatsBacklog().contains(Lintu::IntfId("eth1")));
  EXPECT_THAT(this->backlog("eth2"), SizeIs(1)) << "another interface's probes wait on";
}

TYPED_TEST(Backlog, EachWaitingProbeIsReplayedOnceHoweverOftenItsRecordChanged) {
  for (unsigned n = 1; n <= 20; ++n) {
    this->put("lab", "web", this->key("eth1", n), 1.5F);
    this->put("lab", "web", this->key("eth1", n), 2.5F);
  }
  EXPECT_THAT(this->backlog("eth1"), SizeIs(20));
  const TraceRecorder trace({kTableSmUnit});
  this->ifIndexIs("eth1", 7);
  EXPECT_THAT(this->rows(), SizeIs(20));
  EXPECT_EQ(this->count(), 20U);
  const std::string lower(TestFixture::Facts::kLower);
  EXPECT_EQ(trace.count(" foreach( ( *" + lower + "StatsInfoSetOpt )." + lower +
                        "StatsInfoSet ) flattening 20 elements"),
            1U);
}

TYPED_TEST(Backlog, ARemovedProbeStopsWaitingAndItsInterfaceLeavesWithTheLastOne) {
  const auto first = this->key("eth1", 1);
  const auto second = this->key("eth1", 2);
  this->put("lab", "web", first, 1.5F);
  this->put("lab", "web", second, 1.5F);
  this->remove("lab", "web", first);
  EXPECT_THAT(this->backlog("eth1"), ElementsAre(this->info("lab", "web", second)));
  this->remove("lab", "web", second);
  EXPECT_TRUE(this->sm->localAttrStore()->intfToStatsBacklog().empty());
  this->ifIndexIs("eth1", 7);
  EXPECT_THAT(this->rows(), IsEmpty());
}

TYPED_TEST(Backlog, ARemovedHostAndARemovedClientStopWaiting) {
  this->put("lab", "web", this->key("eth1", 1), 1.5F);
  this->put("lab", "db", this->key("eth1", 2), 1.5F);
  this->put("field", "web", this->key("eth1", 3), 1.5F);
  this->statusDir("lab")->hostStatusDel(typename TestFixture::HostKey("web", "default"));
  EXPECT_THAT(this->backlog("eth1"), SizeIs(2));
  this->clientDir->entityDel("lab");
  EXPECT_THAT(this->backlog("eth1"), SizeIs(1));
  this->clientDir->entityDel("field");
  EXPECT_TRUE(this->sm->localAttrStore()->intfToStatsBacklog().empty());
}

TYPED_TEST(Backlog, AnIndexForAnInterfaceThatNobodyWaitsForEndsWithAFilterLine) {
  const TraceRecorder trace({kTableSmUnit});
  this->ifIndexIs("eth1", 7);
  const std::string filter = "filter( " + std::string(TestFixture::Facts::kLower) +
                             "StatsInfoSetOpt ) failed, terminating pipeline";
  EXPECT_EQ(trace.texts().back(), "6: " + filter);
  EXPECT_THAT(this->rows(), IsEmpty());
}

TYPED_TEST(Backlog, ProbesOfOneHostOnSeveralInterfacesWaitEachForItsOwn) {
  const auto first = this->key("eth1", 1);
  const auto second = this->key("eth2", 1);
  this->put("lab", "web", first, 1.5F);
  this->put("lab", "web", second, 2.5F);
  this->ifIndexIs("eth2", 8);
  EXPECT_THAT(this->rows(), ElementsAre(Pair(this->rowName("lab", "web", second, 8), 2.5F)));
  this->ifIndexIs("eth1", 7);
  EXPECT_THAT(this->rows(),
              UnorderedElementsAre(Pair(this->rowName("lab", "web", first, 7), 1.5F),
                                   Pair(this->rowName("lab", "web", second, 8), 2.5F)));
}

TYPED_TEST(Backlog, AWaitingProbesRemovalInAVrfWithCountedRowsLeavesTheCountAlone) {
  this->put("lab", "web", this->key("", 1), 1.5F, "blue");
  this->put("lab", "web", this->key("eth1", 2), 1.5F, "blue");
  this->remove("lab", "web", this->key("eth1", 2), "blue");
  EXPECT_EQ(this->count("blue"), 1U);
  EXPECT_THAT(this->rows("blue"), SizeIs(1));
}

}  // namespace
