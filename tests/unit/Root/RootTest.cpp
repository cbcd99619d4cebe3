#include "RootWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RootTest : public RootWorld {
 protected:
  std::vector<std::string> told_;
  Watcher<std::string_view> watcher_{
      root->changes(), [this](const std::string_view& name) { told_.emplace_back(name); }};
};

TEST_F(RootTest, HasItsNameAndNoAgent) {
  EXPECT_EQ(root->name(), "root");
  EXPECT_FALSE(root->connectivityMonitorSnmpAgent());
}

TEST_F(RootTest, TheFactoryAndTheFrameworksFormMakeTheSame) {
  EXPECT_EQ(ConnectivityMonitorSnmp::RootIs("other")->name(), "other");
}

TEST_F(RootTest, MakesAnAgentOverTheInputsPublishesItAndSwitchesItOn) {
  const auto agent = agentIs();
  EXPECT_EQ(root->connectivityMonitorSnmpAgent(), agent);
  EXPECT_THAT(told_, ElementsAre("connectivityMonitorSnmpAgent"));
  EXPECT_TRUE(agent->hasNotificationActive());
  EXPECT_EQ(agent->clientDir(), clientDir);
  EXPECT_EQ(agent->conMonMibRoot(), conMonMibRoot);
  EXPECT_EQ(agent->ifMib(), ifMib);
}

TEST_F(RootTest, TheSameInputsAgainGiveTheSameAgentAndPublishNothing) {
  const auto agent = agentIs();
  const auto icmpSm = agent->connectivityMonitorTableIcmpSm();
  told_.clear();
  EXPECT_EQ(agentIs(), agent);
  EXPECT_THAT(told_, IsEmpty());
  EXPECT_EQ(agent->connectivityMonitorTableIcmpSm(), icmpSm);
}

TEST_F(RootTest, InputsAreTheSameByIdentityNotByContent) {
  const auto agent = agentIs();
  clientDir = Qiv::make<Qiv::Dir>("clientDir");
  EXPECT_NE(agentIs(), agent);
}

TEST_F(RootTest, AnyOtherInputReplacesTheWholeAgent) {
  const auto replaced = [&] {
    const auto old = root->connectivityMonitorSnmpAgent();
    const auto oldCounts = old->vrfRefCount();
    const auto oldIcmpSm = old->connectivityMonitorTableIcmpSm();
    told_.clear();
    const auto fresh = agentIs();
    EXPECT_NE(fresh, old);
    EXPECT_NE(fresh->vrfRefCount(), oldCounts);
    EXPECT_NE(fresh->connectivityMonitorTableIcmpSm(), oldIcmpSm);
    EXPECT_THAT(told_, ElementsAre("connectivityMonitorSnmpAgent"));
  };
  agentIs();
  clientDir = Qiv::make<Qiv::Dir>("clientDir");
  replaced();
  conMonMibRoot = Qiv::make<Qiv::Dir>("conMonMib");
  replaced();
  ifMib = Qiv::make<IntfSnmp::IfMib>();
  replaced();
}

TEST_F(RootTest, InputsMayBeReadOffTheAgentThatTheyReplace) {
  agentIs();
  const auto* const old = root->connectivityMonitorSnmpAgent().get();
  const auto otherIfMib = Qiv::make<IntfSnmp::IfMib>();
  const auto fresh =
      root->connectivityMonitorSnmpAgentIs(old->clientDir(), old->conMonMibRoot(), otherIfMib);
  EXPECT_EQ(fresh->clientDir(), clientDir);
  EXPECT_EQ(fresh->conMonMibRoot(), conMonMibRoot);
  EXPECT_EQ(fresh->ifMib(), otherIfMib);
}

TEST_F(RootTest, TheOldAgentIsTornDownBeforeTheNewOneIsBuilt) {
  putThree("web", 1);
  {
    const auto agent = agentIs();
    runFirstPasses(*agent);
  }
  EXPECT_THAT(scheduler->tasks(), SizeIs(12));
  const auto oldClientDir = clientDir;
  clientDir = Qiv::make<Qiv::Dir>("clientDir");
  std::size_t listeners = 0;
  std::size_t tasks = 0;
  TraceRecorder trace({kAgentUnit});
  trace.onLineIs([&](const std::string& text) {
    EXPECT_EQ(text, "Creating ConnectivityMonitorSnmpTableSm");
    listeners = oldClientDir->entityPtr().changes().hasSubscribers() ? 1 : 0;
    tasks = scheduler->tasks().size();
  });
  agentIs();
  EXPECT_THAT(trace.lines(), SizeIs(1));
  EXPECT_EQ(listeners, 0U);
  EXPECT_EQ(tasks, 0U);
  EXPECT_THAT(scheduler->tasks(), SizeIs(12));
}

TEST_F(RootTest, DeletingTheAgentPublishesItAndSwitchesItOff) {
  const auto agent = agentIs();
  told_.clear();
  root->connectivityMonitorSnmpAgentDel();
  EXPECT_FALSE(root->connectivityMonitorSnmpAgent());
  EXPECT_THAT(told_, ElementsAre("connectivityMonitorSnmpAgent"));
  EXPECT_FALSE(agent->hasNotificationActive());
  EXPECT_EQ(agent->refs(), 1U) << "this test's";
}

TEST_F(RootTest, TheAgentIsStillOnWhenItsDeletionIsPublished) {
  const auto agent = agentIs();
  bool on = false;
  const Watcher<std::string_view> watcher(
      root->changes(), [&](const std::string_view&) { on = agent->hasNotificationActive(); });
  root->connectivityMonitorSnmpAgentDel();
  EXPECT_TRUE(on);
}

TEST_F(RootTest, DeletingNoAgentIsSilent) {
  root->connectivityMonitorSnmpAgentDel();
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(RootTest, ItsEndTakesTheAgentWithIt) {
  putThree("web", 1);
  agentIs();
  scheduler->runAll();
  bool beingDestroyed = false;
  const Watcher<std::string_view> watcher(
      root->changes(),
      [&, raw = root.get()](const std::string_view&) { beingDestroyed = raw->beingDestroyed(); });
  root = nullptr;
  EXPECT_TRUE(beingDestroyed);
  EXPECT_FALSE(clientDir->entityPtr().changes().hasSubscribers());
  EXPECT_THAT(scheduler->tasks(), IsEmpty());
  EXPECT_EQ(rows(), 3U) << "what was written stays";
}

TEST_F(RootTest, AnAgentStartedOverKeptRowsTakesThemOver) {
  putThree("web", 1);
  putThree("db", 2);
  agentIs();
  scheduler->runAll();
  ASSERT_EQ(rows(), 6U);
  root->connectivityMonitorSnmpAgentDel();
  Qiv::ptrCast<ConnectivityMonitor::StatusDir>(clientDir->entityPtr("lab"))
      ->hostStatusDel(HostKey("web", "default"));
  const auto agent = agentIs();
  EXPECT_EQ(rows(), 6U);
  scheduler->runAll();
  EXPECT_TRUE(ready(*agent));
  EXPECT_EQ(rows(), 3U);
  EXPECT_EQ(agent->vrfRefCount()->vrfRefCount("default"), 3U) << "the count is a new one";
}

using RootDeathTest = RootTest;

TEST_F(RootDeathTest, ANullInputIsNamedByTheFirstMachine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto text = [](const char* argument) {
    return std::string("^") + argument +
           "\\(\\) && \"Pointer SM args cannot be null unless they are marked Optional\"\n";
  };
  EXPECT_DEATH(root->connectivityMonitorSnmpAgentIs(nullptr, conMonMibRoot, ifMib),
               text("clientDir"));
  EXPECT_DEATH(root->connectivityMonitorSnmpAgentIs(clientDir, nullptr, ifMib),
               text("conMonMibRoot"));
  EXPECT_DEATH(root->connectivityMonitorSnmpAgentIs(clientDir, conMonMibRoot, nullptr),
               text("ifMib"));
}

}  // namespace
