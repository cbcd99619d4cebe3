#include "ExactNames.h"

/// What the exactly named members show of a table's state machine, and what they do to it.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Key;
using testing::NotNull;
using testing::SizeIs;
using testing::UnorderedElementsAre;

template <class Table>
class ExactlyNamed : public TableSmTest<Table> {
 protected:
  /// A record's row, and one whose record went while no machine was there; likewise a count. The
  /// next machine is to yield after every item.
  void leaveALivingAndAStaleRow() {
    this->put("lab", "db", this->key("", 1), 1.5F);
    this->put("lab", "web", this->key("", 1), 1.5F);
    this->start();
    this->sm = nullptr;
    this->statusDir("lab")->hostStatusDel(typename ExactlyNamed::HostKey("db", "default"));
    this->counts->vrfRefCountIs("stale", 3);
    this->template policyIs<AlwaysYield>();
  }
  void startOverALivingAndAStaleRow() {
    leaveALivingAndAStaleRow();
    this->sm = this->made();
    while (!this->inputsAreThrough()) {
      this->scheduler->runSlice();
    }
  }
  /// Both passes are over; the deletion passes have begun.
  [[nodiscard]] bool inputsAreThrough() const {
    return this->sm->initialScanDone() && this->sm->clientDirSm()->inputScanComplete1() &&
           this->sm->ifMibSm()->inputScanComplete0();
  }
  void finish() {
    this->scheduler->runAll();
    ASSERT_TRUE(this->sm->ready());
  }
  [[nodiscard]] std::string living() const {
    return this->rowName("lab", "web", this->key("", 1), 0);
  }
  [[nodiscard]] std::string stale() const {
    return this->rowName("lab", "db", this->key("", 1), 0);
  }
  [[nodiscard]] std::vector<std::string> countedVrfs() const {
    std::vector<std::string> all;
    for (const auto& entry : this->counts->vrfRefCount()) {
      all.push_back(entry.key.stdString());
    }
    return all;
  }
  static auto seenRow(std::string_view row) {
    return typename ExactNames<Table>::SeenRow(Snmp::String(row));
  }
  static auto seenVrf(std::string_view vrf) {
    return typename ExactNames<Table>::SeenVrf(Pomel::String(vrf));
  }
  template <class Member, class... Args>
  decltype(auto) call(Member member, Args&&... args) const {
    return ((*this->sm).*member)(std::forward<Args>(args)...);
  }
  /// A part of the machine as its exactly named class; a test fails where it is another's.
  template <class Named, class Part>
  [[nodiscard]] static Named& as(const Qiv::Ptr<Part>& part) {
    return dynamic_cast<Named&>(*part);
  }
};
TYPED_TEST_SUITE(ExactlyNamed, AllTables, TableNames);

TYPED_TEST(ExactlyNamed, EveryPartIsOfItsNamedClass) {
  using Names = ExactNames<TypeParam>;
  this->ifIndexIs("eth1", 7);
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  const auto& interfaces = this->template as<typename Names::IfMibSm>(this->call(Names::kIfMibSm));
  EXPECT_EQ(interfaces.versionIfIndexByIntfId(), this->ifMib->ifIndexByIntfId().version());
  auto& clients = this->template as<typename Names::ClientDirSm>(this->call(Names::kClientDirSm));
  const auto client = clients.child("lab");
  ASSERT_TRUE(client);
  auto& named = this->template as<typename Names::EntityPtrSm>(client);
  const auto host = named.child(typename TestFixture::HostKey("web", "default"));
  ASSERT_TRUE(host);
  EXPECT_EQ(this->template as<typename Names::HostStatusSm>(host).key().hostName(), "web");
}

TYPED_TEST(ExactlyNamed, AHostsVersionIsThatOfTheRecordsItHandled) {
  using Names = ExactNames<TypeParam>;
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  const auto record = this->hostStatus("lab", "web");
  const auto child = this->call(Names::kClientDirSm)->child("lab")->child(record->key());
  const auto& host = this->template as<typename Names::HostStatusSm>(child);
  const auto& records = ((*record).*TestFixture::Facts::kStatsMap)();
  const auto version = [&] { return (host.*Names::kVersionStats)(); };
  const std::uint32_t before = version();
  EXPECT_EQ(before, records.version());
  this->put("lab", "web", this->key("", 2), 1.5F);
  EXPECT_GT(version(), before);
  EXPECT_EQ(version(), records.version());
  child->hasNotificationActiveIs(false);
  this->put("lab", "web", this->key("", 3), 1.5F);
  EXPECT_LT(version(), records.version()) << "what is not told of is not handled";
}

TYPED_TEST(ExactlyNamed, AStreamsFlagIsUpWhileItsPassIsThrough) {
  using Names = ExactNames<TypeParam>;
  for (unsigned n = 1; n <= 8; ++n) {
    this->ifIndexIs("eth" + std::to_string(n), n);
  }
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->put("lab", "web", this->key("eth1", 2), 1.5F);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  const auto& state = this->template as<typename Names::ScanState>(this->sm->inputSmScanState());
  std::vector<std::pair<bool, bool>> seen;
  while (!this->sm->ready()) {
    const std::pair flags{(state.*Names::kStreamScan)(), (state.*Names::kIfMibStreamScan)()};
    EXPECT_EQ(flags.first, this->sm->clientDirSm()->inputScanComplete1());
    EXPECT_EQ(flags.second, this->sm->ifMibSm()->inputScanComplete0());
    if (seen.empty() || seen.back() != flags) {
      seen.push_back(flags);
    }
    this->scheduler->runSlice();
  }
  // The interfaces are the longer scan. When they are through, the second pass begins at once, and
  // takes both flags down again.
  EXPECT_THAT(seen,
              ElementsAre(std::pair(false, false), std::pair(true, false), std::pair(false, false),
                          std::pair(true, false), std::pair(true, true)));
}

TYPED_TEST(ExactlyNamed, TheMachineIsReadyWhenItsThreeOutputsAre) {
  using Names = ExactNames<TypeParam>;
  this->startOverALivingAndAStaleRow();
  const auto& state = this->template as<typename Names::OutputState>(this->sm->outputState());
  EXPECT_TRUE((state.*Names::kBacklogReady)()) << "nothing is deleted there";
  EXPECT_FALSE((state.*Names::kRowsReady)());
  EXPECT_FALSE(state.vrfRefCountVrfRefCountOutputReady());
  while (this->scheduler->hasWork()) {
    const bool rowsReady = (state.*Names::kRowsReady)();
    const bool countsReady = state.vrfRefCountVrfRefCountOutputReady();
    EXPECT_EQ(rowsReady, !this->call(Names::kRowsReconciling));
    EXPECT_EQ(countsReady, !this->sm->vrfRefCountVrfRefCountOutputReconciling());
    EXPECT_EQ(this->sm->ready(), rowsReady && countsReady);
    this->scheduler->runSlice();
  }
  EXPECT_TRUE((state.*Names::kRowsReady)());
  EXPECT_TRUE(state.vrfRefCountVrfRefCountOutputReady());
  EXPECT_TRUE(this->sm->ready());
}

TYPED_TEST(ExactlyNamed, TheBacklogHoldsTheProbesThatWaitForAnInterface) {
  using Names = ExactNames<TypeParam>;
  this->put("lab", "web", this->key("eth1", 1), 1.5F);
  this->start();
  const auto& store = this->template as<typename Names::LocalAttrStore>(this->sm->localAttrStore());
  const auto& backlog = (store.*Names::kBacklog)();
  ASSERT_THAT(backlog, SizeIs(1));
  const auto* const waiting = backlog.find(Lintu::IntfId("eth1"));
  ASSERT_THAT(waiting, NotNull());
  const typename TestFixture::Info probe("lab", typename TestFixture::HostKey("web", "default"),
                                         this->key("eth1", 1));
  EXPECT_TRUE((*waiting)->infos().contains(probe));
  this->ifIndexIs("eth1", 7);
  EXPECT_TRUE(backlog.empty());
}

TYPED_TEST(ExactlyNamed, ARowPassThatStoppedSaysWhereItGoesOn) {
  using Names = ExactNames<TypeParam>;
  this->startOverALivingAndAStaleRow();
  EXPECT_TRUE(this->call(Names::kRowsReconciling));
  ASSERT_TRUE(this->call(Names::kRowsUseBookmark));
  EXPECT_EQ(this->call(Names::kRowsPtrBookmark), this->mib());
  EXPECT_EQ(this->call(Names::kRowsBookmark).view(), std::max(this->living(), this->stale()))
      << "one of the two rows is behind it";
  const auto task = this->call(Names::kRowsTask);
  EXPECT_TRUE(task->scheduled());
  EXPECT_EQ(task->name().stdString().find("ConnectivityMonitorSnmp" +
                                          std::string(TestFixture::Facts::kTitle) + "TableSm-"),
            0U);
  this->finish();
  EXPECT_FALSE(this->call(Names::kRowsReconciling));
  EXPECT_FALSE(this->call(Names::kRowsUseBookmark));
  EXPECT_FALSE(this->call(Names::kRowsPtrBookmark));
  EXPECT_EQ(this->call(Names::kRowsBookmark).view(), "");
  EXPECT_FALSE(this->call(Names::kRowsTask));
}

TYPED_TEST(ExactlyNamed, ACountPassThatStoppedSaysWhereItGoesOn) {
  this->startOverALivingAndAStaleRow();
  EXPECT_TRUE(this->sm->vrfRefCountVrfRefCountOutputReconciling());
  ASSERT_TRUE(this->sm->vrfRefCountVrfRefCountOutputUseBookmark());
  const std::string next = this->sm->vrfRefCountVrfRefCountOutputBookmark().stdString();
  EXPECT_THAT(this->countedVrfs(), testing::Contains(next));
  const auto task = this->sm->vrfRefCountVrfRefCountOutputReconciliationTask();
  EXPECT_TRUE(task->scheduled());
  EXPECT_EQ(task->name().stdString(), "ConnectivityMonitorSnmp" +
                                          std::string(TestFixture::Facts::kTitle) +
                                          "TableSm-vrfRefCountVrfRefCountOutputTask");
  this->finish();
  EXPECT_FALSE(this->sm->vrfRefCountVrfRefCountOutputReconciling());
  EXPECT_FALSE(this->sm->vrfRefCountVrfRefCountOutputUseBookmark());
  EXPECT_TRUE(this->sm->vrfRefCountVrfRefCountOutputBookmark().empty());
  EXPECT_FALSE(this->sm->vrfRefCountVrfRefCountOutputReconciliationTask());
  EXPECT_THAT(this->countedVrfs(), ElementsAre("default"));
}

TYPED_TEST(ExactlyNamed, APassThatItsTaskDidNotRunHandlesOneItem) {
  using Names = ExactNames<TypeParam>;
  this->startOverALivingAndAStaleRow();
  // Each pass stands before its second and last item.
  this->call(Names::kRowsTaskDispatch);
  EXPECT_THAT(this->rows(), ElementsAre(Key(this->living())));
  EXPECT_FALSE(this->call(Names::kRowsReconciling));
  EXPECT_TRUE(this->sm->vrfRefCountVrfRefCountOutputReconciling()) << "the other is left alone";
  this->sm->vrfRefCountVrfRefCountOutputReconciliationTaskDispatch();
  EXPECT_THAT(this->countedVrfs(), ElementsAre("default"));
  EXPECT_FALSE(this->sm->vrfRefCountVrfRefCountOutputReconciling());
  EXPECT_TRUE(this->sm->ready());
}

TYPED_TEST(ExactlyNamed, TheSecondPassEntersWhatItWritesAsSeen) {
  using Names = ExactNames<TypeParam>;
  this->startOverALivingAndAStaleRow();
  const auto& seen = this->call(Names::kRowsSeen);
  ASSERT_THAT(seen, SizeIs(1));
  const auto* const rows = seen.find(this->mib());
  ASSERT_THAT(rows, NotNull());
  const Qiv::Ptr<typename Names::SeenRows> inMib = *rows;
  EXPECT_THAT(inMib->seen(), SizeIs(1));
  EXPECT_TRUE(inMib->seen().contains(this->seenRow(this->living())));
  EXPECT_THAT(this->sm->vrfRefCountVrfRefCountOutputSeen(), SizeIs(1));
  EXPECT_TRUE(this->sm->vrfRefCountVrfRefCountOutputSeen().contains(this->seenVrf("default")));
  this->finish();
  EXPECT_TRUE(this->call(Names::kRowsSeen).empty());
  EXPECT_TRUE(this->sm->vrfRefCountVrfRefCountOutputSeen().empty());
}

/// The moment between the second pass over the records and the deletion passes, which wait for the
/// interfaces: what is in the seen collections now decides what goes.
template <class Table>
class ExactlyNamedSeen : public ExactlyNamed<Table> {
 protected:
  using Mib = typename ExactlyNamedSeen::MibPtr;

  void SetUp() override {
    this->leaveALivingAndAStaleRow();
    for (unsigned n = 1; n <= 20; ++n) {
      this->ifIndexIs("eth" + std::to_string(n), n);
    }
    this->sm = this->made();
    while (!this->sm->initialScanDone() || !this->sm->clientDirSm()->inputScanComplete1()) {
      this->scheduler->runSlice();
    }
    ASSERT_FALSE(this->inputsAreThrough());
    ASSERT_THAT(this->rows(), UnorderedElementsAre(Key(this->living()), Key(this->stale())));
    ASSERT_THAT(this->countedVrfs(), UnorderedElementsAre("default", "stale"));
  }
  [[nodiscard]] Qiv::Ptr<typename ExactNames<Table>::SeenRows> seenIs(const Mib& mib) {
    return this->call(ExactNames<Table>::kRowsSeenIs, mib);
  }
};
TYPED_TEST_SUITE(ExactlyNamedSeen, AllTables, TableNames);

TYPED_TEST(ExactlyNamedSeen, ARowThatIsEnteredStays) {
  const auto seen = this->seenIs(this->mib());
  EXPECT_EQ(this->seenIs(this->mib()), seen) << "one collection for each object";
  seen->seenIs(this->seenRow(this->stale()));
  this->finish();
  EXPECT_THAT(this->rows(), UnorderedElementsAre(Key(this->living()), Key(this->stale())));
}

TYPED_TEST(ExactlyNamedSeen, ARowThatIsTakenOutGoes) {
  const auto seen = this->seenIs(this->mib());
  seen->seenIs(this->seenRow(this->stale()));
  seen->seenDel(this->seenRow(this->living()));
  this->finish();
  EXPECT_THAT(this->rows(), ElementsAre(Key(this->stale())));
}

TYPED_TEST(ExactlyNamedSeen, EveryRowOfAnEmptiedCollectionGoes) {
  this->seenIs(this->mib())->seenDelAll();
  this->finish();
  EXPECT_THAT(this->rows(), IsEmpty());
}

TYPED_TEST(ExactlyNamedSeen, AnObjectThatIsTakenOutKeepsItsRows) {
  using Names = ExactNames<TypeParam>;
  this->call(Names::kRowsSeenDel, this->mib());
  EXPECT_THAT(this->call(Names::kRowsSeen).find(this->mib()), IsNull());
  this->finish();
  EXPECT_THAT(this->rows(), UnorderedElementsAre(Key(this->living()), Key(this->stale())));
}

TYPED_TEST(ExactlyNamedSeen, AnObjectThatIsEnteredLosesItsRows) {
  const auto other = ConnectivityMonitorSnmp::conMonMibForVrf("other", this->conMonMibRoot);
  const auto address = Snmp::InetAddress::fromIpGenAddr(probeAddress(1));
  other->icmpTableIs("row", ConnectivityMonitor::IcmpStats(), "c", "h", address, 1);
  other->httpTableIs("row", ConnectivityMonitor::HttpStats(), "c", "h", "u", 1);
  other->tcpTableIs("row", ConnectivityMonitor::TcpStats(), "c", "h", address, 1, 1);
  EXPECT_THAT(this->seenIs(other)->seen(), SizeIs(0));
  this->finish();
  EXPECT_THAT(this->rows("other"), IsEmpty());
  EXPECT_EQ(other->icmpTable().size() + other->httpTable().size() + other->tcpTable().size(), 2U)
      << "the other tables have machines of their own";
}

TYPED_TEST(ExactlyNamedSeen, NoRowGoesWhenNoObjectIsEntered) {
  using Names = ExactNames<TypeParam>;
  this->call(Names::kRowsSeenDelAll);
  EXPECT_TRUE(this->call(Names::kRowsSeen).empty());
  this->finish();
  EXPECT_THAT(this->rows(), UnorderedElementsAre(Key(this->living()), Key(this->stale())));
}

TYPED_TEST(ExactlyNamedSeen, ACountThatIsEnteredStaysAndOneThatIsTakenOutGoes) {
  this->sm->vrfRefCountVrfRefCountOutputSeenIs(this->seenVrf("stale"));
  this->sm->vrfRefCountVrfRefCountOutputSeenDel(this->seenVrf("default"));
  this->finish();
  EXPECT_THAT(this->countedVrfs(), ElementsAre("stale"));
  EXPECT_EQ(this->count("stale"), 3U);
}

TYPED_TEST(ExactlyNamedSeen, EveryCountGoesWhenNoneIsEntered) {
  this->sm->vrfRefCountVrfRefCountOutputSeenDelAll();
  this->finish();
  EXPECT_THAT(this->countedVrfs(), IsEmpty());
}

}  // namespace
