#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

template <class Table>
class Lifecycle : public TableSmTest<Table> {
 protected:
  void putSome() {
    this->ifIndexIs("eth1", 7);
    this->put("lab", "web", this->key("", 1), 1.5F);
    this->put("lab", "web", this->key("eth1", 2), 1.5F);
    this->put("lab", "db", this->key("eth2", 3), 1.5F);
    this->put("field", "web", this->key("", 1), 1.5F, "blue");
  }
};
TYPED_TEST_SUITE(Lifecycle, AllTables, TableNames);

TYPED_TEST(Lifecycle, ASynchronousMachineIsReadyAndIdleWhenTheFactoryReturns) {
  this->putSome();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made(TestFixture::Mode::kSynchronous);
  EXPECT_TRUE(this->sm->synchronous());
  EXPECT_TRUE(this->sm->initialScanDone());
  EXPECT_TRUE(this->sm->ready());
  EXPECT_TRUE(this->sm->idle());
  EXPECT_THAT(this->rows(), SizeIs(2));
  EXPECT_THAT(this->rows("blue"), SizeIs(1));
  EXPECT_THAT(this->backlog("eth2"), SizeIs(1));
  EXPECT_FALSE(this->scheduler->hasWork());
  EXPECT_THAT(this->tasks(), IsEmpty());
}

TYPED_TEST(Lifecycle, ASynchronousMachineDeletesStaleRowsBeforeTheFactoryReturns) {
  this->putSome();
  this->start();
  this->sm = nullptr;
  this->statusDir("lab")->hostStatusDel(typename TestFixture::HostKey("web", "default"));
  this->put("lab", "db", this->key("", 4), 1.5F);
  this->clientDir->entityDel("field");
  this->template policyIs<AlwaysYield>();
  this->sm = this->made(TestFixture::Mode::kSynchronous);
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(),
              ElementsAre(testing::Key(this->rowName("lab", "db", this->key("", 4), 0))));
  EXPECT_THAT(this->counts->vrfRefCount().find("blue"), testing::IsNull());
}

TYPED_TEST(Lifecycle, AnAsynchronousMachineIsReadyWhenTheSchedulerHasRunAllItsTasks) {
  this->putSome();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->sm->hasNotificationActiveIs(true);
  unsigned slices = 0;
  while (this->scheduler->hasWork()) {
    EXPECT_FALSE(this->sm->ready());
    EXPECT_FALSE(this->sm->idle());
    this->scheduler->runSlice();
    ++slices;
  }
  EXPECT_TRUE(this->sm->ready());
  EXPECT_TRUE(this->sm->idle());
  EXPECT_GT(slices, 4U);
  EXPECT_THAT(this->tasks(), IsEmpty());
}

TYPED_TEST(Lifecycle, TheScanMayBeDoneAndTheMachineStillNotIdle) {
  this->putSome();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  while (!this->sm->inputSmScanState()->idle()) {
    this->scheduler->runSlice();
  }
  EXPECT_FALSE(this->sm->ready());
  EXPECT_FALSE(this->sm->idle());
}

TYPED_TEST(Lifecycle, TheModeByteChoosesAndItsDefaultIsAsynchronous) {
  EXPECT_FALSE(this->made(TestFixture::Mode::kDefault)->synchronous());
  EXPECT_FALSE(this->made(TestFixture::Mode::kAsynchronous)->synchronous());
  EXPECT_TRUE(this->made(TestFixture::Mode::kSynchronous)->synchronous());
}

TYPED_TEST(Lifecycle, WithoutASchedulerOfItsOwnAMachineUsesTheSharedOne) {
  this->sm = TestFixture::Facts::kFactory(this->clientDir, this->conMonMibRoot, this->ifMib,
                                          this->counts, {});
  const auto shared = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  EXPECT_EQ(this->sm->taskScheduler(), shared);
  EXPECT_THAT(shared->tasks(), SizeIs(4));
  shared->runAll();
  EXPECT_TRUE(this->sm->ready());
}

TYPED_TEST(Lifecycle, ItsEndLeavesRowsAndCountsAsTheyAre) {
  this->putSome();
  this->start();
  const auto rows = this->rows();
  const auto changeWord = this->table(this->mib()).changeWord();
  this->sm = nullptr;
  EXPECT_EQ(this->rows(), rows);
  EXPECT_EQ(this->table(this->mib()).changeWord(), changeWord);
  EXPECT_EQ(this->count(), 2U);
  EXPECT_EQ(this->count("blue"), 1U);
  EXPECT_THAT(FakeMibModule::calls(), SizeIs(2));
}

TYPED_TEST(Lifecycle, ItsEndAtAnyPointOfItsStartLeavesNoTaskAndNoListener) {
  this->putSome();
  this->template policyIs<AlwaysYield>();
  for (unsigned slices = 0; slices < 25; ++slices) {
    SCOPED_TRACE(slices);
    this->conMonMibRoot = Qiv::make<Qiv::Dir>("conMonMib");
    this->counts = ConnectivityMonitorSnmp::vrfRefCountFactory();
    this->sm = this->made();
    for (unsigned slice = 0; slice < slices; ++slice) {
      this->scheduler->runSlice();
    }
    this->sm = nullptr;
    EXPECT_THAT(this->tasks(), IsEmpty());
    EXPECT_FALSE(this->scheduler->hasWork());
    EXPECT_FALSE(this->clientDir->entityPtr().changes().hasSubscribers());
    EXPECT_FALSE(this->ifMib->ifIndexByIntfId().changes().hasSubscribers());
    EXPECT_FALSE(this->statusDir("lab")->hostStatus().changes().hasSubscribers());
    const auto record = this->hostStatus("lab", "web");
    EXPECT_FALSE(((*record).*TestFixture::Facts::kStatsMap)().changes().hasSubscribers());
    EXPECT_EQ(record->refs(), 2U) << "the store's and this test's";
  }
}

TYPED_TEST(Lifecycle, ReadinessIsTheConjunctionOfTheThreeOutputsAndIsPublished) {
  this->putSome();
  this->sm = this->made();
  std::vector<std::string> told;
  const Watcher<std::string_view> watcher(
      this->sm->outputState()->changes(),
      [&](const std::string_view& name) { told.emplace_back(name); });
  this->scheduler->runAll();
  const std::string title(TestFixture::Facts::kTitle);
  EXPECT_EQ(told.front(), "intfTo" + title + "StatsBacklog" + title + "StatsInfoSetOutputReady");
  EXPECT_EQ(told.back(), "ready");
  EXPECT_THAT(told,
              testing::UnorderedElementsAre(
                  "intfTo" + title + "StatsBacklog" + title + "StatsInfoSetOutputReady",
                  "connectivityMonitorSnmpConnectivityMonitorMibPtr" + title + "TableOutputReady",
                  "vrfRefCountVrfRefCountOutputReady", "ready"));
}

TYPED_TEST(Lifecycle, WhatGenericCodeSeesIsNamedAsTheTableIs) {
  this->putSome();
  this->start();
  const std::string title(TestFixture::Facts::kTitle);
  EXPECT_EQ(this->sm->typeInfo().name(),
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmp" + title + "TableSm");
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*this->sm, "ready")), "true");
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*this->sm, "idle")), "true");
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*this->sm, "synchronous")), "false");
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*this->sm, "initialScanDone")), "true");
  EXPECT_EQ(
      Qiv::toText(Qiv::attributeGet(*this->sm->outputState(), "vrfRefCountVrfRefCountOutputReady")),
      "true");
  EXPECT_EQ(
      Qiv::toText(Qiv::attributeGet(*this->sm->inputSmScanState(), "ifMib" + title + "StreamScan")),
      "true");
  EXPECT_THAT(Qiv::dump(*this->sm->localAttrStore()),
              testing::StartsWith("intfTo" + title + "StatsBacklog[ eth2 ] = "));
}

TYPED_TEST(Lifecycle, TheStartOverNothingTracesItsStepsInOrder) {
  const TraceRecorder trace({kTableSmUnit});
  this->sm = this->made(TestFixture::Mode::kSynchronous);
  const std::string title(TestFixture::Facts::kTitle);
  const auto machine = [](const char* name, unsigned number) {
    return name + std::to_string(TestFixture::Facts::kFirstChild + number);
  };
  const std::string mibOutput =
      "connectivityMonitorSnmpConnectivityMonitorMibPtr" + title + "TableOutput";
  const std::string backlogOutput =
      "intfTo" + title + "StatsBacklog" + title + "StatsInfoSetOutput";
  const std::string handleBacklog =
      "9: handleIntfTo" + title + "StatsBacklog" + title + "StatsInfoSetOutputInputReady";
  const std::string handleMib =
      "9: handleConnectivityMonitorSnmpConnectivityMonitorMibPtr" + title + "TableOutputInputReady";
  const std::string handleVrf = "9: handleVrfRefCountVrfRefCountOutputInputReady";
  const std::string scanned =
      "9: Deletion scan for reconciliation is done, last task run processed 0 items, deleting 0 "
      "items.";
  const std::string already = "9:  already ready, not reconciling.";
  const std::vector<std::string> expected = {
      "9: Reconciling " + mibOutput + ": true",
      "9: Reconciling vrfRefCountVrfRefCountOutput: true",
      "9: create local SMs",
      "9: create non-public arg SMs",
      // The first pass, in the constructor's time: the outputs are not asked yet.
      "9: ",
      "9:  scan complete: false resumed: false scan: false",
      "9: " + machine("ClientDirSm", 1) + " initial scan, and parent scan, complete.",
      "9: ",
      "9:  scan complete: false resumed: false scan: false",
      "9: " + machine("IfMibSm", 0) + " initial scan, and parent scan, complete.",
      // The outputs are asked, and the first leads to the second pass.
      handleBacklog,
      "9: Initial scan done for child SMs. Now scanning with events triggered.",
      handleBacklog,
      handleMib,
      handleVrf,
      handleBacklog,
      handleMib,
      handleVrf,
      "9: ",
      "9:  scan complete: false resumed: false scan: false",
      handleBacklog,
      handleMib,
      handleVrf,
      "9: " + machine("ClientDirSm", 1) + " scan, and parent scan, complete.",
      "9: ",
      "9:  scan complete: false resumed: false scan: false",
      // Both inputs are through for the second time.
      handleBacklog,
      "9: Input scans for " + backlogOutput + " complete",
      handleMib,
      "9: Input scans for " + mibOutput + " complete",
      scanned,
      handleVrf,
      "9: Input scans for vrfRefCountVrfRefCountOutput complete",
      scanned,
      "9: " + machine("IfMibSm", 0) + " scan, and parent scan, complete.",
      // What the initial scan's end asks once more, then what the constructor goes on to ask.
      handleBacklog,
      already,
      handleMib,
      already,
      handleVrf,
      already,
      handleMib,
      already,
      handleVrf,
      already,
      "9: initialized",
  };
  EXPECT_EQ(trace.texts(), expected);
}

}  // namespace
