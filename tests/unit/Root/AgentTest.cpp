#include "RootWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class AgentTest : public RootWorld {
 protected:
  Agent::Ptr made() {
    return ConnectivityMonitorSnmp::connectivityMonitorSnmpAgentFactory(clientDir, conMonMibRoot,
                                                                        ifMib);
  }
};

TEST_F(AgentTest, IsBuiltWithItsChildrenWhichAreOnWhileItIsNot) {
  const auto agent = made();
  EXPECT_TRUE(agent->vrfRefCount());
  ASSERT_TRUE(agent->connectivityMonitorTableIcmpSm());
  ASSERT_TRUE(agent->connectivityMonitorTableHttpSm());
  ASSERT_TRUE(agent->connectivityMonitorTableTcpSm());
  EXPECT_TRUE(agent->connectivityMonitorTableIcmpSm()->hasNotificationActive());
  EXPECT_TRUE(agent->connectivityMonitorTableHttpSm()->hasNotificationActive());
  EXPECT_TRUE(agent->connectivityMonitorTableTcpSm()->hasNotificationActive());
  EXPECT_FALSE(agent->hasNotificationActive());
  EXPECT_FALSE(agent->doZombieReactors());
}

TEST_F(AgentTest, TheFrameworksFormMakesOneToo) {
  const auto agent =
      ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgentIs(clientDir, conMonMibRoot, ifMib);
  EXPECT_EQ(agent->clientDir(), clientDir);
}

TEST_F(AgentTest, PassesItsControlWithThePlatformsDefaults) {
  const auto agent = made();
  EXPECT_EQ(agent->smControl(), Yex::SmControl());
  EXPECT_FALSE(agent->connectivityMonitorTableIcmpSm()->synchronous());
  EXPECT_EQ(agent->connectivityMonitorTableTcpSm()->taskScheduler(), scheduler);
}

TEST_F(AgentTest, SaysThatItCreatesTheMachinesOnceAndWhere) {
  const TraceRecorder trace({kAgentUnit});
  made();
  ASSERT_THAT(trace.lines(), SizeIs(1));
  const auto& line = trace.lines().front();
  EXPECT_EQ(line.level, 9);
  EXPECT_EQ(line.text, "Creating ConnectivityMonitorSnmpTableSm");
  EXPECT_EQ(line.position.file, "/src/ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent");
  EXPECT_EQ(line.position.line, 13U);
  EXPECT_EQ(line.position.function, "handleInitialized");
}

TEST_F(AgentTest, TheThreeMachinesServeTheThreeTablesAndShareTheCount) {
  const auto agent = agentIs();
  scheduler->runAll();
  ASSERT_TRUE(ready(*agent));
  putThree("web", 1, "blue");
  EXPECT_THAT(mib("blue")->icmpTable(), SizeIs(1));
  EXPECT_THAT(mib("blue")->httpTable(), SizeIs(1));
  EXPECT_THAT(mib("blue")->tcpTable(), SizeIs(1));
  EXPECT_EQ(agent->vrfRefCount()->vrfRefCount("blue"), 3U);
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue"));
  clientDir->entityDel("lab");
  EXPECT_FALSE(mib("blue"));
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue", "unregister blue"));
}

TEST_F(AgentTest, SwitchingOnWhatIsOnDoesNotTouchTheMachines) {
  const auto agent = agentIs();
  agent->connectivityMonitorTableHttpSm()->hasNotificationActiveIs(false);
  agent->hasNotificationActiveIs(true);
  EXPECT_FALSE(agent->connectivityMonitorTableHttpSm()->hasNotificationActive());
}

TEST_F(AgentTest, SwitchesAllThreeMachines) {
  const auto agent = agentIs();
  agent->hasNotificationActiveIs(false);
  EXPECT_FALSE(agent->connectivityMonitorTableIcmpSm()->hasNotificationActive());
  EXPECT_FALSE(agent->connectivityMonitorTableHttpSm()->hasNotificationActive());
  EXPECT_FALSE(agent->connectivityMonitorTableTcpSm()->hasNotificationActive());
  agent->hasNotificationActiveIs(true);
  EXPECT_TRUE(agent->connectivityMonitorTableIcmpSm()->hasNotificationActive());
  EXPECT_TRUE(agent->connectivityMonitorTableHttpSm()->hasNotificationActive());
  EXPECT_TRUE(agent->connectivityMonitorTableTcpSm()->hasNotificationActive());
}

TEST_F(AgentTest, AMachineThatIsGoneIsLeftOut) {
  const auto agent = agentIs();
  agent->connectivityMonitorTableHttpSmDel();
  agent->hasNotificationActiveIs(false);
  EXPECT_FALSE(agent->connectivityMonitorTableHttpSm());
  EXPECT_FALSE(agent->connectivityMonitorTableTcpSm()->hasNotificationActive());
}

TEST_F(AgentTest, SwitchesInTheOrderIcmpHttpTcpWithZombieReactorsForTheTime) {
  putThree("web", 1);
  const auto agent = agentIs();
  runFirstPasses(*agent);
  agent->hasNotificationActiveIs(false);
  // Switched on now, each machine's children begin the second pass at once.
  for (const bool zombies : {false, true}) {
    agent->qivDoZombieReactors(zombies);
    std::vector<std::string> scanned;
    std::vector<bool> during;
    TraceRecorder trace({kTableSmUnit});
    trace.onLineIs([&](const std::string& text) {
      if (text.starts_with("HostStatusSm")) {
        scanned.push_back(text.substr(0, text.find(' ')));
        during.push_back(agent->doZombieReactors());
      }
    });
    agent->hasNotificationActiveIs(true);
    EXPECT_EQ(agent->doZombieReactors(), zombies);
    if (!zombies) {
      EXPECT_THAT(scanned, ElementsAre("HostStatusSm3", "HostStatusSm7", "HostStatusSm11"));
      EXPECT_THAT(during, ElementsAre(true, true, true));
    }
    agent->hasNotificationActiveIs(false);
    EXPECT_EQ(agent->doZombieReactors(), zombies);
  }
}

TEST_F(AgentTest, TheZombieReactorsFlagIsSetAndNothingElse) {
  const auto agent = agentIs();
  agent->qivDoZombieReactors(true);
  EXPECT_TRUE(agent->doZombieReactors());
  EXPECT_TRUE(agent->hasNotificationActive());
  agent->qivDoZombieReactors(false);
  EXPECT_FALSE(agent->doZombieReactors());
}

TEST_F(AgentTest, ItsEndReleasesTheMachinesInTheOrderIcmpHttpTcpThenTheCount) {
  putThree("web", 1);
  auto agent = agentIs();
  runFirstPasses(*agent);
  // Events of the second pass: what each machine has seen is what it empties at its end.
  putThree("web", 2);
  const auto counts = agent->vrfRefCount();
  std::vector<std::string> ended;
  const auto note = [&](const std::string& name) {
    return [&, name](const auto&) { ended.push_back(name + std::to_string(counts->refs())); };
  };
  using MibPtr = ConnectivityMonitorSnmp::ConnectivityMonitorMib::Ptr;
  const Watcher<MibPtr> tcp(agent->connectivityMonitorTableTcpSm()->mibSeen().changes(),
                            note("tcp"));
  const Watcher<MibPtr> http(agent->connectivityMonitorTableHttpSm()->mibSeen().changes(),
                             note("http"));
  const Watcher<MibPtr> icmp(agent->connectivityMonitorTableIcmpSm()->mibSeen().changes(),
                             note("icmp"));
  agent = nullptr;
  root = nullptr;
  // This test's reference, the agent's, and one of each machine that is still there.
  EXPECT_THAT(ended, ElementsAre("icmp5", "http4", "tcp3"));
  EXPECT_EQ(counts->refs(), 1U);
  EXPECT_EQ(clientDir->refs(), 1U);
  EXPECT_EQ(conMonMibRoot->refs(), 1U);
  EXPECT_EQ(ifMib->refs(), 1U);
}

TEST_F(AgentTest, TheCountIsMadeOnceAndMayBeDropped) {
  const auto agent = made();
  const auto counts = agent->vrfRefCount();
  agent->vrfRefCountIs();
  EXPECT_EQ(agent->vrfRefCount(), counts);
  agent->vrfRefCountDel();
  EXPECT_FALSE(agent->vrfRefCount());
  agent->vrfRefCountIs();
  EXPECT_NE(agent->vrfRefCount(), counts);
}

TEST_F(AgentTest, AMachineMadeAgainReplacesTheOneThereAndIsOn) {
  const auto agent = agentIs();
  scheduler->runAll();
  const auto remake = [&](auto get, auto is, auto del) {
    const auto old = ((*agent).*get)();
    const auto fresh =
        ((*agent).*is)(clientDir, conMonMibRoot, ifMib, agent->vrfRefCount(), agent->smControl());
    EXPECT_NE(fresh, old);
    EXPECT_EQ(((*agent).*get)(), fresh);
    EXPECT_TRUE(fresh->hasNotificationActive());
    EXPECT_FALSE(fresh->ready());
    scheduler->runAll();
    EXPECT_TRUE(fresh->ready());
    EXPECT_EQ(old->refs(), 1U);
    ((*agent).*del)();
    EXPECT_FALSE(((*agent).*get)());
    ((*agent).*del)();
  };
  remake(&Agent::connectivityMonitorTableIcmpSm, &Agent::connectivityMonitorTableIcmpSmIs,
         &Agent::connectivityMonitorTableIcmpSmDel);
  remake(&Agent::connectivityMonitorTableHttpSm, &Agent::connectivityMonitorTableHttpSmIs,
         &Agent::connectivityMonitorTableHttpSmDel);
  remake(&Agent::connectivityMonitorTableTcpSm, &Agent::connectivityMonitorTableTcpSmIs,
         &Agent::connectivityMonitorTableTcpSmDel);
}

}  // namespace
