#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

template <class Table>
class Pipeline : public TableSmTest<Table> {
 protected:
  void SetUp() override { this->start(); }
};
TYPED_TEST_SUITE(Pipeline, AllTables, TableNames);

TYPED_TEST(Pipeline, AProbeWithoutInterfaceGetsARowAtOnceWithIndexZero) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  EXPECT_THAT(this->rows(), ElementsAre(Pair(this->rowName("lab", "web", key, 0), 1.5F)));
  EXPECT_EQ(this->count(), 1U);
  EXPECT_TRUE(this->sm->localAttrStore()->intfToStatsBacklog().empty());
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init default"));
}

TYPED_TEST(Pipeline, ARowCarriesTheRecordItsClientItsHostAndItsInterfacesIndex) {
  this->ifIndexIs("eth1", 7);
  const auto key = this->key("eth1", 1);
  this->put("lab", "web", key, 1.5F);
  const auto* row = this->table(this->mib()).first();
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->indexShortName().view(), this->rowName("lab", "web", key, 7));
  EXPECT_EQ(row->client(), "lab");
  EXPECT_EQ(row->host(), "web");
  EXPECT_EQ(row->ifIndex(), 7U);
  EXPECT_TRUE(TestFixture::Facts::rowStats(*row) == TestFixture::Facts::stats(key, 1.5F));
}

TYPED_TEST(Pipeline, TheInterfaceOfTheEmptyNameMayHaveAnIndexLikeAnyOther) {
  this->ifIndexIs("", 3);
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  EXPECT_THAT(this->rows(), ElementsAre(Pair(this->rowName("lab", "web", key, 3), 1.5F)));
}

TYPED_TEST(Pipeline, AChangedRecordReplacesItsRowByADeletionAndAnInsertion) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  std::vector<bool> present;
  const Watcher<Snmp::String> watcher(this->table(this->mib()).changes(), [&](const auto& index) {
    present.push_back(this->table(this->mib()).find(index) != nullptr);
  });
  this->put("lab", "web", key, 2.5F);
  EXPECT_THAT(present, ElementsAre(false, true));
  EXPECT_THAT(this->rows(), ElementsAre(Pair(this->rowName("lab", "web", key, 0), 2.5F)));
}

TYPED_TEST(Pipeline, AnEventForAnUnchangedRecordLeavesItsRowAloneAndStillMovesTheCount) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  const auto* const row = this->table(this->mib()).first();
  const auto changeWord = this->table(this->mib()).changeWord();
  this->event("lab", "web", key);
  EXPECT_EQ(this->table(this->mib()).first(), row);
  EXPECT_EQ(this->table(this->mib()).changeWord(), changeWord);
  EXPECT_EQ(this->count(), 2U);
}

TYPED_TEST(Pipeline, InsertionUpdateAndRemovalLeaveACountOfOneAndTheVrfsObject) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->put("lab", "web", key, 2.5F, "blue");
  this->remove("lab", "web", key, "blue");
  EXPECT_EQ(this->count("blue"), 1U);
  ASSERT_TRUE(this->mib("blue"));
  EXPECT_THAT(this->rows("blue"), IsEmpty());
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue"));
}

TYPED_TEST(Pipeline, EveryVrfHasItsOwnRowsAndCount) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->put("lab", "web", key, 2.5F, "red");
  this->put("lab", "db", key, 3.5F, "red");
  EXPECT_THAT(this->rows("blue"), ElementsAre(Pair(this->rowName("lab", "web", key, 0), 1.5F)));
  EXPECT_THAT(this->rows("red"),
              UnorderedElementsAre(Pair(this->rowName("lab", "web", key, 0), 2.5F),
                                   Pair(this->rowName("lab", "db", key, 0), 3.5F)));
  EXPECT_EQ(this->count("blue"), 1U);
  EXPECT_EQ(this->count("red"), 2U);
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue", "init red"));
}

TYPED_TEST(Pipeline, AnEventReadsTheRecordAsItIsAndCarriesNothingItself) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->remove("lab", "web", key);
  EXPECT_THAT(this->rows(), IsEmpty());
  this->put("lab", "web", key, 1.5F);
  this->event("lab", "web", key);
  // The client's entity is gone, and with it everything under it.
  this->sm->hasNotificationActiveIs(false);
  this->clientDir->entityDel("lab");
  this->event("lab", "web", key);
  EXPECT_THAT(this->rows(), IsEmpty());
  EXPECT_EQ(this->count(), 1U);
}

TYPED_TEST(Pipeline, AChangedIndexLeavesTheRowUnderItsOldKeyAndTracesTheFilter) {
  this->ifIndexIs("eth1", 7);
  const auto key = this->key("eth1", 1);
  this->put("lab", "web", key, 1.5F);
  const auto oldName = this->rowName("lab", "web", key, 7);
  const auto newName = this->rowName("lab", "web", key, 8);
  {
    const TraceRecorder trace({kTableSmUnit});
    this->ifIndexIs("eth1", 8);
    const std::string lower(TestFixture::Facts::kLower);
    const std::string title(TestFixture::Facts::kTitle);
    EXPECT_THAT(
        trace.texts(7),
        ElementsAre("7: ifMib" + title +
                        "Stream = from( ifMib.ifIndexByIntfId[] ): intfId=eth1 "
                        "ifIndexOpt=Optional( 8 )",
                    "6: filter( " + lower + "StatsInfoSetOpt ) failed, terminating pipeline"));
  }
  EXPECT_THAT(this->rows(), ElementsAre(Pair(oldName, 1.5F)));
  // The probe's next event goes by the new key; nothing leads back to the old one.
  this->put("lab", "web", key, 2.5F);
  EXPECT_THAT(this->rows(), UnorderedElementsAre(Pair(oldName, 1.5F), Pair(newName, 2.5F)));
}

TYPED_TEST(Pipeline, TwoRecordsOfOneNameShareARowAndTheLaterOneShows) {
  const auto key = this->key("", 1);
  this->put("la", "bweb", key, 1.5F);
  this->put("lab", "web", key, 2.5F);
  const auto name = this->rowName("lab", "web", key, 0);
  ASSERT_EQ(name, this->rowName("la", "bweb", key, 0));
  EXPECT_THAT(this->rows(), ElementsAre(Pair(name, 2.5F)));
  EXPECT_EQ(this->table(this->mib()).first()->client(), "lab");
}

TYPED_TEST(Pipeline, ANameOfMoreThanNinetyOctetsIsShortenedToOneKey) {
  const std::string host(120, 'h');
  const auto key = this->key("", 1);
  this->put("lab", host, key, 1.5F);
  this->put("lab", host + "2", key, 2.5F);
  ASSERT_EQ(this->rows().size(), 2U);
  for (const auto& [name, unused] : this->rows()) {
    EXPECT_EQ(name.size(), 90U);
  }
  this->remove("lab", host, key);
  this->remove("lab", host + "2", key);
  EXPECT_THAT(this->rows(), IsEmpty());
}

TYPED_TEST(Pipeline, AVrfNameTakenBySomethingElseIsAnErrorOfIcmpAndAFilterOfTheOthers) {
  this->conMonMibRoot->dirIs("blue");
  const auto key = this->key("", 1);
  const TraceRecorder trace({kTableSmUnit});
  if (TestFixture::Facts::kMissingMibThrows) {
    EXPECT_THROW(this->put("lab", "web", key, 1.5F, "blue"), std::bad_optional_access);
    EXPECT_EQ(trace.count("filter( conMonMibOpt ) failed, terminating pipeline"), 0U);
  } else {
    this->put("lab", "web", key, 1.5F, "blue");
    EXPECT_EQ(trace.count("filter( conMonMibOpt ) failed, terminating pipeline"), 1U);
  }
  EXPECT_EQ(this->count("blue"), 1U) << "the count is written before the object is asked for";
  EXPECT_THAT(FakeMibModule::calls(), IsEmpty());
}

TYPED_TEST(Pipeline, TheMachineGoesOnAfterAnErrorInAnEvent) {
  this->conMonMibRoot->dirIs("blue");
  const auto key = this->key("", 1);
  try {
    this->put("lab", "web", key, 1.5F, "blue");
  } catch (const std::bad_optional_access&) {
    EXPECT_TRUE(TestFixture::Facts::kMissingMibThrows);
  }
  this->put("lab", "web", key, 1.5F, "red");
  EXPECT_THAT(this->rows("red"), ElementsAre(Pair(this->rowName("lab", "web", key, 0), 1.5F)));
}

TYPED_TEST(Pipeline, EventsBeforeTheInitialScanIsDoneHaveNoEffectAndNoTrace) {
  const auto key = this->key("", 1);
  this->ifIndexIs("eth1", 7);
  this->sm = nullptr;
  this->statusDir("lab");
  this->put("lab", "web", key, 1.5F);
  this->sm = this->made();
  const TraceRecorder trace({kTableSmUnit, kSmTypesUnit});
  this->event("lab", "web", key);
  ((*this->sm).*TestFixture::Facts::kEventToIfMibStream)(Lintu::IntfId("eth1"), std::nullopt);
  ((*this->sm).*TestFixture::Facts::kEventToMaybeUpdateMib)(
      "lab", typename TestFixture::HostKey("web", "default"), key, Lintu::IntfId());
  EXPECT_THAT(trace.texts(), IsEmpty());
  EXPECT_THAT(this->rows(), IsEmpty());
  EXPECT_EQ(this->count(), 0U);
}

}  // namespace
