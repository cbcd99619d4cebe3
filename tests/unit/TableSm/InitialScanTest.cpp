#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// With a policy that never yields, a slice of the scheduler is a whole round: the first ends the
/// first pass of both inputs, the second one the second pass.
template <class Table>
class InitialScan : public TableSmTest<Table> {
 protected:
  static std::string name(const char* beforeNumber, unsigned child, const char* afterNumber = "") {
    return beforeNumber + std::to_string(TableFacts<Table>::kFirstChild + child) + afterNumber;
  }
  auto child(std::string_view client) { return this->sm->clientDirSm()->child(client); }
  auto child(std::string_view client, std::string_view host) {
    return child(client)->child(typename InitialScan::HostKey(host, "default"));
  }
};
TYPED_TEST_SUITE(InitialScan, AllTables, TableNames);

TYPED_TEST(InitialScan, TheFirstPassBuildsTheTreeAndWritesNothing) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->put("lab", "db", this->key("eth1", 2), 1.5F);
  this->sm = this->made();
  EXPECT_EQ(this->sm->clientDirSm()->inputScanState1(), TestFixture::State::kNotStarted);
  EXPECT_EQ(this->sm->ifMibSm()->inputScanState0(), TestFixture::State::kNotStarted);
  EXPECT_FALSE(this->sm->initialScanDone());

  this->scheduler->runSlice();
  EXPECT_TRUE(this->sm->initialScanDone());
  EXPECT_TRUE(this->sm->inputSmScanState()->idle());
  EXPECT_FALSE(this->sm->inputSmScanState()->streamScan());
  EXPECT_FALSE(this->sm->inputSmScanState()->ifMibStreamScan());
  EXPECT_EQ(this->sm->clientDirSm()->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_EQ(this->sm->ifMibSm()->inputScanState0(), TestFixture::State::kCompleteInitial);
  ASSERT_TRUE(this->child("lab"));
  EXPECT_EQ(this->child("lab")->inputScanState1(), TestFixture::State::kCompleteInitial);
  ASSERT_TRUE(this->child("lab", "web"));
  EXPECT_EQ(this->child("lab", "web")->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_TRUE(this->child("lab", "db"));
  EXPECT_THAT(FakeMibModule::calls(), IsEmpty());
  EXPECT_TRUE(this->counts->vrfRefCount().empty());
  EXPECT_TRUE(this->sm->localAttrStore()->intfToStatsBacklog().empty());
}

TYPED_TEST(InitialScan, ACompleteFirstPassCountsAsCompleteOnlyWhileItIsTheFirst) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->ifIndexIs("eth1", 7);
  this->sm = this->made();
  // The client directory's slice alone.
  this->template policyIs<AlwaysYield>();
  this->scheduler->runSlice();
  EXPECT_EQ(this->sm->clientDirSm()->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_TRUE(this->sm->clientDirSm()->inputScanComplete1());
  EXPECT_TRUE(this->child("lab", "web")->inputScanComplete1());
  EXPECT_TRUE(this->sm->inputSmScanState()->streamScan());
  EXPECT_FALSE(this->sm->initialScanDone());
  // The interfaces' slice ends the pass.
  this->scheduler->runSlice();
  EXPECT_TRUE(this->sm->initialScanDone());
  EXPECT_EQ(this->sm->clientDirSm()->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_FALSE(this->sm->clientDirSm()->inputScanComplete1());
  EXPECT_FALSE(this->child("lab", "web")->inputScanComplete1());
  EXPECT_FALSE(this->sm->ifMibSm()->inputScanComplete0());
}

TYPED_TEST(InitialScan, TheSecondPassSendsOneEventForEveryEntryAndDeletesTheScanTasks) {
  this->ifIndexIs("eth1", 7);
  for (unsigned n = 1; n <= 3; ++n) {
    this->put("lab", "web", this->key("", n), 1.5F);
    this->put("field", "web", this->key("eth1", n), 1.5F);
  }
  this->sm = this->made();
  this->scheduler->runSlice();
  EXPECT_THAT(this->tasks(), SizeIs(4));
  this->scheduler->runSlice();
  EXPECT_EQ(this->count(), 6U);
  EXPECT_THAT(this->rows(), SizeIs(6));
  EXPECT_EQ(this->sm->clientDirSm()->inputScanState1(), TestFixture::State::kComplete);
  EXPECT_EQ(this->sm->ifMibSm()->inputScanState0(), TestFixture::State::kComplete);
  EXPECT_EQ(this->child("lab")->inputScanState1(), TestFixture::State::kComplete);
  EXPECT_EQ(this->child("lab", "web")->inputScanState1(), TestFixture::State::kComplete);
  EXPECT_FALSE(this->sm->clientDirSm()->task1());
  EXPECT_FALSE(this->sm->ifMibSm()->task0());
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->tasks(), IsEmpty());
  EXPECT_EQ(this->count(), 6U);
}

TYPED_TEST(InitialScan, ChangesBetweenThePassesAreSeenOnceByTheSecondPass) {
  const auto kept = this->key("", 1);
  const auto gone = this->key("", 2);
  const auto late = this->key("", 3);
  this->put("lab", "web", kept, 1.5F);
  this->put("lab", "web", gone, 1.5F);
  this->put("lab", "db", gone, 1.5F);
  // The first pass of the client directory is over, the interfaces' is not.
  this->sm = this->made();
  this->template policyIs<AlwaysYield>();
  while (this->sm->clientDirSm()->inputScanState1() != TestFixture::State::kCompleteInitial) {
    this->sm->clientDirSm()->task1Dispatch();
  }
  ASSERT_FALSE(this->sm->initialScanDone());
  this->put("lab", "web", kept, 2.5F);
  this->remove("lab", "web", gone);
  this->statusDir("lab")->hostStatusDel(typename TestFixture::HostKey("db", "default"));
  this->put("lab", "web", late, 3.5F);
  this->put("field", "web", late, 4.5F);
  EXPECT_THAT(this->rows(), IsEmpty());
  EXPECT_EQ(this->count(), 0U);
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), testing::UnorderedElementsAre(
                                testing::Pair(this->rowName("lab", "web", kept, 0), 2.5F),
                                testing::Pair(this->rowName("lab", "web", late, 0), 3.5F),
                                testing::Pair(this->rowName("field", "web", late, 0), 4.5F)));
  EXPECT_EQ(this->count(), 3U);
}

TYPED_TEST(InitialScan, EachFlagIsPublishedWhenItFlipsAndOnlyThen) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->sm = this->made();
  std::vector<std::string> flips;
  const Watcher<std::string_view> watcher(
      this->sm->inputSmScanState()->changes(),
      [&](const std::string_view& name) { flips.emplace_back(name); });
  this->scheduler->runAll();
  const std::string stream = std::string(TestFixture::Facts::kLower) + "StreamScan";
  const std::string ifMibStream = "ifMib" + std::string(TestFixture::Facts::kTitle) + "StreamScan";
  // Set by the first pass. What follows from the second flag is told before the flag itself: the
  // machine is the first to hear of it. Then cleared, and set again by the second pass.
  EXPECT_THAT(flips,
              ElementsAre(stream, stream, ifMibStream, "idle", ifMibStream, stream, ifMibStream));
}

TYPED_TEST(InitialScan, WhoeverHearsThatTheSecondPassBeginsFindsTheFirstDone) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->sm = this->made();
  const auto& state = *this->sm->inputSmScanState();
  unsigned cleared = 0;
  const Watcher<std::string_view> watcher(state.changes(), [&](const std::string_view& name) {
    const bool set = name == "idle"              ? state.idle()
                     : name.starts_with("ifMib") ? state.ifMibStreamScan()
                                                 : state.streamScan();
    if (!set) {
      ++cleared;
      EXPECT_TRUE(this->sm->initialScanDone()) << name;
    }
  });
  this->scheduler->runAll();
  EXPECT_GE(cleared, 2U);
}

TYPED_TEST(InitialScan, EmptyCollectionsCompleteAtOnceWithNoChildren) {
  this->statusDir("lab");
  this->hostStatus("field", "web");
  this->sm = this->made();
  this->template policyIs<AlwaysYield>();
  const TraceRecorder trace({kTableSmUnit});
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  const auto processed = [&](const std::string& machine, int children) {
    return trace.count(machine + " scan complete. Processed " + std::to_string(children) +
                       " children. ");
  };
  EXPECT_EQ(processed(this->name("EntityPtrSm", 2, " initial"), 0), 1U);
  EXPECT_EQ(processed(this->name("EntityPtrSm", 2), 0), 1U);
  EXPECT_EQ(processed(this->name("EntityPtrSm", 2, " initial"), 1), 1U);
  EXPECT_EQ(processed(this->name("HostStatusSm", 3, " initial"), 0), 1U);
  EXPECT_EQ(processed(this->name("HostStatusSm", 3), 0), 1U);
}

TYPED_TEST(InitialScan, NothingAtAllIsReadyAfterThePassesOverNothing) {
  this->sm = this->made();
  this->scheduler->runSlice();
  EXPECT_TRUE(this->sm->initialScanDone());
  EXPECT_FALSE(this->sm->ready());
  this->scheduler->runSlice();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_FALSE(this->scheduler->hasWork());
}

TYPED_TEST(InitialScan, AnEntityThatIsNoStatusDirGetsNoChild) {
  this->clientDir->dirIs("odd");
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  EXPECT_FALSE(this->child("odd"));
  EXPECT_TRUE(this->child("lab"));
  this->clientDir->dirIs("odder");
  EXPECT_FALSE(this->child("odder"));
  this->clientDir->entityDel("odd");
  EXPECT_THAT(this->rows(), SizeIs(1));
}

TYPED_TEST(InitialScan, TheTasksCarryTheirNamesAndThePriorityAskedFor) {
  this->sm =
      TestFixture::Facts::kFactory(this->clientDir, this->conMonMibRoot, this->ifMib, this->counts,
                                   {this->scheduler, 5, TestFixture::Mode::kAsynchronous});
  const std::string machine =
      "ConnectivityMonitorSnmp" + std::string(TestFixture::Facts::kTitle) + "TableSm-";
  const std::string title(TestFixture::Facts::kTitle);
  std::vector<std::string> names;
  for (const auto& [taskName, task] : this->tasks()) {
    names.push_back(taskName);
    EXPECT_EQ(task->priority(), 5);
  }
  EXPECT_THAT(
      names,
      testing::UnorderedElementsAre(
          "ConnectivityMonitorSnmp::" + machine + this->name("IfMibSm", 0, "InputScanTask0"),
          "ConnectivityMonitorSnmp::" + machine + this->name("ClientDirSm", 1, "InputScanTask1"),
          machine + "connectivityMonitorSnmpConnectivityMonitorMibPtr" + title + "TableOutputTask",
          machine + "vrfRefCountVrfRefCountOutputTask"));
}

TYPED_TEST(InitialScan, TheSecondOfTheTwoInputsToFinishEndsThePassWhicheverItIs) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->sm = this->made();
  this->sm->ifMibSm()->task0Dispatch();
  EXPECT_FALSE(this->sm->initialScanDone());
  this->sm->clientDirSm()->task1Dispatch();
  EXPECT_TRUE(this->sm->initialScanDone());
  EXPECT_THAT(this->rows(), IsEmpty());
  this->sm->ifMibSm()->task0Dispatch();
  EXPECT_FALSE(this->sm->ready());
  this->sm->clientDirSm()->task1Dispatch();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), SizeIs(1));
}

}  // namespace
