#include "TableSmWorld.h"

/// A state machine that starts over the rows and counts of an earlier one.

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Key;
using testing::Pair;
using testing::SizeIs;

template <class Table>
class Reconcile : public TableSmTest<Table> {
 protected:
  void putFive(std::string_view host = "web", std::string_view vrf = "default") {
    for (unsigned n = 1; n <= 5; ++n) {
      this->put("lab", host, this->key("", n), 1.5F, vrf);
    }
  }
  void removeHost(std::string_view host, std::string_view vrf = "default") {
    this->statusDir("lab")->hostStatusDel(typename Reconcile::HostKey(host, vrf));
  }
  /// Up to the end of the second pass, which starts the reconciliation.
  void scanBoth() {
    this->sm = this->made();
    while (!this->sm->initialScanDone() || !this->sm->clientDirSm()->inputScanComplete1() ||
           !this->sm->ifMibSm()->inputScanComplete0()) {
      this->scheduler->runSlice();
    }
  }
  /// Starts over VRFs that each have a record's row and, before it, one of a record that is gone,
  /// and stops behind the first row. The VRFs' objects, in the order of the walk.
  auto stopInTheFirstOf(std::initializer_list<std::string_view> vrfs) {
    for (const std::string_view vrf : vrfs) {
      this->put("lab", "db", this->key("", 1), 1.5F, vrf);
      this->put("lab", "web", this->key("", 1), 1.5F, vrf);
    }
    this->start();
    this->sm = nullptr;
    for (const std::string_view vrf : vrfs) {
      removeHost("db", vrf);
    }
    this->template policyIs<AlwaysYield>();
    scanBoth();
    std::vector<typename Reconcile::MibPtr> walked;
    for (const auto& entry : this->sm->mibSeen()) {
      walked.push_back(entry.key);
    }
    EXPECT_EQ(this->sm->mibPass().bookmark.mib, walked.front());
    return walked;
  }
  /// Starts over five rows of which four go before the machine is ready, and yields after every
  /// item. What was seen by then.
  auto readyAfterFourWent() {
    putFive();
    this->template policyIs<AlwaysYield>();
    this->sm = this->made();
    while (!this->sm->initialScanDone()) {
      this->scheduler->runSlice();
    }
    for (unsigned n = 1; n <= 4; ++n) {
      this->put("lab", "web", this->key("", n), 2.5F);  // Seen, whether or not the scan came by.
      this->remove("lab", "web", this->key("", n));
    }
    auto seen = *this->sm->mibSeen().find(this->mib());
    while (!this->sm->ready()) {
      this->scheduler->runSlice();
    }
    return seen;
  }
  static void emptyByAnotherHand(ConnectivityMonitorSnmp::ConnectivityMonitorMib& mib) {
    mib.icmpTableDelAll();
    mib.httpTableDelAll();
    mib.tcpTableDelAll();
  }
  auto onlyTheLivingRow() {
    return ElementsAre(Key(this->rowName("lab", "web", this->key("", 1), 0)));
  }
  static std::string yielded(unsigned items, unsigned deletions) {
    return "Yielding in reconciliation processing after processing " + std::to_string(items) +
           " items, including " + std::to_string(deletions) + " deletions .";
  }
  static std::string done(unsigned items, unsigned deletions) {
    return "Deletion scan for reconciliation is done, last task run processed " +
           std::to_string(items) + " items, deleting " + std::to_string(deletions) + " items.";
  }
};
TYPED_TEST_SUITE(Reconcile, AllTables, TableNames);

TYPED_TEST(Reconcile, ARestartOverUnchangedRecordsDeletesNothing) {
  this->putFive();
  this->putFive("web", "blue");
  this->start();
  const auto rows = this->rows();
  const auto blueRows = this->rows("blue");
  const auto changeWord = this->table(this->mib()).changeWord();
  this->sm = nullptr;
  for (const bool yields : {false, true}) {
    if (yields) {
      this->template policyIs<AlwaysYield>();
    }
    const TraceRecorder trace({kTableSmUnit});
    this->start();
    EXPECT_EQ(this->rows(), rows);
    EXPECT_EQ(this->rows("blue"), blueRows);
    EXPECT_EQ(this->table(this->mib()).changeWord(), changeWord) << "not even replaced";
    for (const auto& line : trace.lines()) {
      EXPECT_EQ(line.text.find("Table[ index ] ): deleting"), std::string::npos) << line.text;
    }
    EXPECT_EQ(this->mib("blue")->name(), "blue");
  }
  // Counts are not taken back by a restart: every replay adds to them.
  EXPECT_EQ(this->count(), 15U);
  EXPECT_EQ(this->count("blue"), 15U);
}

TYPED_TEST(Reconcile, RowsOfAHostThatWentWhileNobodyListenedAreDeleted) {
  this->putFive("web");
  this->putFive("db");
  this->start();
  this->sm = nullptr;
  this->removeHost("web");
  this->start();
  EXPECT_THAT(this->rows(), SizeIs(5));
  for (unsigned n = 1; n <= 5; ++n) {
    EXPECT_THAT(this->rows(), Contains(Key(this->rowName("lab", "db", this->key("", n), 0))));
  }
}

TYPED_TEST(Reconcile, AVrfInWhichNothingIsSeenLosesItsCountAndKeepsItsRows) {
  this->putFive("web");
  this->putFive("web", "blue");
  this->start();
  this->sm = nullptr;
  this->removeHost("web", "blue");
  const auto blue = this->mib("blue");
  this->start();
  EXPECT_THAT(this->counts->vrfRefCount().find("blue"), IsNull());
  EXPECT_EQ(this->mib("blue"), blue);
  EXPECT_THAT(this->rows("blue"), SizeIs(5));
  EXPECT_THAT(this->rows(), SizeIs(5));
  EXPECT_EQ(this->count(), 10U);
}

TYPED_TEST(Reconcile, OnlyTheMachinesOwnTableIsTouched) {
  this->putFive("web");
  this->put("lab", "db", this->key("", 1), 1.5F);
  this->start();
  this->sm = nullptr;
  this->removeHost("web");
  const auto mib = this->mib();
  const auto address = Snmp::InetAddress::fromIpGenAddr(probeAddress(1));
  mib->icmpTableIs("stale", ConnectivityMonitor::IcmpStats(), "c", "h", address, 1);
  mib->httpTableIs("stale", ConnectivityMonitor::HttpStats(), "c", "h", "u", 1);
  mib->tcpTableIs("stale", ConnectivityMonitor::TcpStats(), "c", "h", address, 1, 1);
  this->start();
  EXPECT_THAT(this->rows(), ElementsAre(Key(this->rowName("lab", "db", this->key("", 1), 0))));
  const auto others = [&](auto& table) { return table.find("stale") != nullptr ? 1 : 0; };
  EXPECT_EQ(others(mib->icmpTable()) + others(mib->httpTable()) + others(mib->tcpTable()), 2);
}

TYPED_TEST(Reconcile, EmptyOutputsGoStraightToTheEnd) {
  const TraceRecorder trace({kTableSmUnit});
  this->start();
  EXPECT_EQ(trace.count(this->done(0, 0)), 2U);
}

TYPED_TEST(Reconcile, ARunStartedByANotificationHandlesOneItemAndLeavesTheRestToTheTask) {
  this->putFive("web");
  this->putFive("web", "blue");
  this->start();
  const auto mibTaskName = "ConnectivityMonitorSnmp" + std::string(TestFixture::Facts::kTitle) +
                           "TableSm-connectivityMonitorSnmpConnectivityMonitorMibPtr" +
                           std::string(TestFixture::Facts::kTitle) + "TableOutputTask";
  const TraceRecorder trace({kTableSmUnit});
  this->scanBoth();
  EXPECT_EQ(trace.count(this->yielded(1, 0)), 2U) << "the rows' run and the counts' run";
  EXPECT_TRUE(this->sm->mibPass().useBookmark);
  EXPECT_TRUE(this->sm->vrfPass().useBookmark);
  const auto mibTask = this->sm->mibPass().task;
  const auto vrfTask = this->sm->vrfPass().task;
  EXPECT_EQ(mibTask->name(), mibTaskName);
  EXPECT_TRUE(mibTask->scheduled());
  EXPECT_TRUE(vrfTask->scheduled());
  EXPECT_EQ(mibTask->taskWorkCount(), 1U);
  EXPECT_EQ(vrfTask->taskWorkCount(), 1U);
  EXPECT_FALSE(this->sm->ready());
  this->scheduler->runAll();
  EXPECT_EQ(trace.count(this->done(9, 0)), 1U);
  EXPECT_EQ(trace.count(this->done(1, 0)), 1U);
  EXPECT_EQ(mibTask->taskWorkCount(), 10U);
  EXPECT_EQ(vrfTask->taskWorkCount(), 2U);
  EXPECT_TRUE(this->sm->ready());
}

TYPED_TEST(Reconcile, ASliceEndsWhenTheSchedulerSaysSoAndTheNextGoesOnFromTheBookmark) {
  this->putFive("web");
  this->put("lab", "db", this->key("", 1), 1.5F);
  this->start();
  this->sm = nullptr;
  this->removeHost("web");
  this->template policyIs<AlwaysYield>();
  const TraceRecorder trace({kTableSmUnit});
  this->scanBoth();
  const auto& pass = this->sm->mibPass();
  for (std::size_t left = this->rows().size(); left > 1; left = this->rows().size()) {
    ASSERT_TRUE(pass.useBookmark);
    EXPECT_EQ(pass.bookmark.mib, this->mib());
    EXPECT_NE(this->table(this->mib()).find(pass.bookmark.key), nullptr) << "the next to visit";
    this->scheduler->runSlice();
  }
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), ElementsAre(Key(this->rowName("lab", "db", this->key("", 1), 0))));
  EXPECT_EQ(trace.count(this->yielded(1, 1)) + trace.count(this->yielded(1, 0)), 5U);
  EXPECT_EQ(trace.count(this->yielded(1, 1)) + trace.count(this->done(1, 1)), 5U);
}

TYPED_TEST(Reconcile, WhatTheBookmarkNamesMayGoAndRowsWrittenMeanwhileStay) {
  this->putFive("web");
  this->put("lab", "zz", this->key("", 1), 1.5F);
  this->start();
  this->sm = nullptr;
  this->removeHost("web");
  this->template policyIs<AlwaysYield>();
  this->scanBoth();
  ASSERT_TRUE(this->sm->mibPass().useBookmark);
  // The bookmarked row goes by another hand, rows come by the pipeline before and behind it.
  const auto bookmark = this->sm->mibPass().bookmark.key;
  const auto mib = this->mib();
  mib->icmpTableDel(bookmark);
  mib->httpTableDel(bookmark);
  mib->tcpTableDel(bookmark);
  this->put("aa", "aa", this->key("", 1), 2.5F);
  this->put("zzzzzz", "zzzzzz", this->key("", 9), 2.5F);
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(),
              testing::UnorderedElementsAre(
                  Pair(this->rowName("lab", "zz", this->key("", 1), 0), 1.5F),
                  Pair(this->rowName("aa", "aa", this->key("", 1), 0), 2.5F),
                  Pair(this->rowName("zzzzzz", "zzzzzz", this->key("", 9), 0), 2.5F)));
}

TYPED_TEST(Reconcile, ABookmarkInAVrfThatLostItsRowsHidesNoRowOfTheNext) {
  const auto walked = this->stopInTheFirstOf({"default", "blue", "red"});
  this->emptyByAnotherHand(*walked[0]);
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(walked[1]->name().view()), this->onlyTheLivingRow());
  EXPECT_THAT(this->rows(walked[2]->name().view()), this->onlyTheLivingRow());
}

TYPED_TEST(Reconcile, VrfsWithoutRowsAreSteppedOver) {
  const auto walked = this->stopInTheFirstOf({"default", "blue", "red", "green"});
  this->emptyByAnotherHand(*walked[1]);
  this->emptyByAnotherHand(*walked[2]);
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(walked[0]->name().view()), this->onlyTheLivingRow());
  EXPECT_THAT(this->rows(walked[3]->name().view()), this->onlyTheLivingRow());
}

TYPED_TEST(Reconcile, CountsMayComeAndGoBetweenTheSlicesOverThem) {
  for (unsigned n = 1; n <= 6; ++n) {
    this->counts->vrfRefCountIs("stale" + std::to_string(n), 3);
  }
  this->put("lab", "web", this->key("", 1), 1.5F, "blue");
  this->template policyIs<AlwaysYield>();
  this->scanBoth();
  ASSERT_TRUE(this->sm->vrfPass().useBookmark);
  this->counts->vrfRefCountDel(this->sm->vrfPass().bookmark);
  this->put("lab", "web", this->key("", 1), 1.5F, "red");
  this->put("lab", "web", this->key("", 1), 1.5F, "green");
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->counts->vrfRefCount(), SizeIs(3));
  EXPECT_EQ(this->count("blue"), 1U);
  EXPECT_EQ(this->count("red"), 1U);
  EXPECT_EQ(this->count("green"), 1U);
}

TYPED_TEST(Reconcile, WhatThePipelineWritesIsSeenUntilTheOutputIsReady) {
  this->putFive();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  EXPECT_TRUE(this->sm->mibPass().reconciling);
  EXPECT_TRUE(this->sm->vrfPass().reconciling);
  while (!this->sm->initialScanDone()) {
    this->scheduler->runSlice();
  }
  EXPECT_TRUE(this->sm->mibSeen().empty());
  const auto key = this->key("", 9);
  this->put("lab", "web", key, 1.5F);
  this->put("lab", "web", key, 2.5F);
  const std::string name = this->rowName("lab", "web", key, 0);
  using KeyType = typename ConnectivityMonitorSnmp::SeenRows<TypeParam>::KeyType;
  const auto seen = [&] {
    const auto* const rows = this->sm->mibSeen().find(this->mib());
    return rows != nullptr && (*rows)->seen().contains(KeyType(std::string_view(name)));
  };
  EXPECT_TRUE(seen());
  EXPECT_EQ(this->sm->vrfSeen().size(), 1U);
  this->remove("lab", "web", key);
  EXPECT_TRUE(seen()) << "deleted rows were written too";
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->mibSeen().empty());
  EXPECT_TRUE(this->sm->vrfSeen().empty());
  EXPECT_FALSE(this->sm->mibPass().reconciling);
  EXPECT_FALSE(this->sm->vrfPass().reconciling);
  EXPECT_FALSE(this->sm->mibPass().useBookmark);
  EXPECT_FALSE(this->sm->mibPass().task);
  EXPECT_FALSE(this->sm->vrfPass().task);
  this->put("lab", "web", key, 1.5F);
  EXPECT_TRUE(this->sm->mibSeen().empty()) << "a ready output records no more";
}

TYPED_TEST(Reconcile, ADeletionAloneIsSeen) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->counts->vrfRefCountIs("blue", 7);
  this->sm = this->made();
  this->scheduler->runSlice();
  ASSERT_TRUE(this->sm->initialScanDone());
  this->remove("lab", "web", key, "blue");
  EXPECT_EQ(this->sm->vrfSeen().size(), 1U);
  EXPECT_THAT(this->sm->mibSeen(), SizeIs(1));
  this->scheduler->runAll();
  EXPECT_EQ(this->count("blue"), 6U) << "seen, so not deleted";
}

TYPED_TEST(Reconcile, NamesOfRowsThatWentMeanwhileAreForgottenOneByOne) {
  const auto seen = this->readyAfterFourWent();
  EXPECT_THAT(this->sm->mibSeen(), IsEmpty());
  EXPECT_TRUE(this->scheduler->hasWork());
  for (const std::size_t left : {3U, 2U, 1U, 0U}) {
    this->scheduler->runSlice();
    EXPECT_THAT(seen->seen(), SizeIs(left));
  }
  EXPECT_TRUE(this->scheduler->hasWork()) << "it has yet to find that nothing is left";
  this->scheduler->runSlice();
  EXPECT_THAT(this->tasks(), IsEmpty());
}

TYPED_TEST(Reconcile, AMachineMayGoBeforeItHasForgotten) {
  static_cast<void>(this->readyAfterFourWent());
  EXPECT_THAT(this->tasks(), SizeIs(1));
  this->sm = nullptr;
  EXPECT_THAT(this->tasks(), IsEmpty());
  EXPECT_FALSE(this->scheduler->hasWork());
}

TYPED_TEST(Reconcile, AVrfObjectThatIsReplacedMeanwhileIsAnotherObject) {
  this->putFive("web", "blue");
  this->put("lab", "db", this->key("", 1), 1.5F, "blue");
  this->start();
  this->sm = nullptr;
  this->removeHost("web", "blue");
  this->template policyIs<AlwaysYield>();
  this->scanBoth();
  ASSERT_EQ(this->sm->mibPass().bookmark.mib, this->mib("blue"));
  // The last record goes and the count with it, as often as it was counted: a new object follows.
  this->counts->vrfRefCountIs("blue", 1);
  this->remove("lab", "db", this->key("", 1), "blue");
  ASSERT_FALSE(this->mib("blue"));
  this->put("lab", "db", this->key("", 2), 2.5F, "blue");
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows("blue"),
              ElementsAre(Pair(this->rowName("lab", "db", this->key("", 2), 0), 2.5F)));
}

TYPED_TEST(Reconcile, AReadyOutputStaysReadyAndItsHandlerOnlySaysSo) {
  this->putFive();
  this->start();
  const TraceRecorder trace({kTableSmUnit});
  this->sm->handleMibOutputInputReady();
  this->sm->handleVrfOutputInputReady();
  this->sm->handleBacklogOutputInputReady();
  EXPECT_EQ(trace.count(" already ready, not reconciling."), 3U);
  EXPECT_THAT(trace.lines(), SizeIs(6));
}

TYPED_TEST(Reconcile, ASecondRestartFindsNothingMoreToDelete) {
  this->putFive("web");
  this->putFive("db");
  this->start();
  this->sm = nullptr;
  this->removeHost("web");
  this->start();
  this->sm = nullptr;
  const auto changeWord = this->table(this->mib()).changeWord();
  this->start();
  EXPECT_EQ(this->table(this->mib()).changeWord(), changeWord);
}

}  // namespace
