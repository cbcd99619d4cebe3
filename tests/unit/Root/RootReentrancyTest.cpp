#include "RootWorld.h"

/// Subscribers that drop or replace the agent in the middle of what it is doing.

namespace {

class RootReentrancy : public RootWorld {
 protected:
  void SetUp() override {
    conMonMibRoot->entityIs("default", "ConnectivityMonitorSnmp::ConnectivityMonitorMib");
    mib_ = mib();
  }
  /// Strikes at the n-th change of the default VRF's ICMP rows.
  void atRowChange(unsigned n, std::function<void()> villain) {
    watcher_ = std::make_unique<Watcher<Snmp::String>>(mib_->icmpTable().changes(),
                                                       [this, n, villain](const Snmp::String&) {
                                                         if (++seen_ == n) {
                                                           villain();
                                                         }
                                                       });
  }

  ConnectivityMonitorSnmp::ConnectivityMonitorMib::Ptr mib_;
  unsigned seen_ = 0;
  std::unique_ptr<Watcher<Snmp::String>> watcher_;
};

TEST_F(RootReentrancy, TheAgentIsDroppedInTheMiddleOfAnEvent) {
  agentIs();
  scheduler->runAll();
  atRowChange(1, [&] { root->connectivityMonitorSnmpAgentDel(); });
  putThree("web", 1);
  EXPECT_EQ(seen_, 1U);
  EXPECT_EQ(rows(), 1U) << "the event in progress ends, the next ones have no listener";
  EXPECT_TRUE(scheduler->tasks().empty());
}

TEST_F(RootReentrancy, TheAgentIsReplacedInTheMiddleOfAnEvent) {
  agentIs();
  scheduler->runAll();
  const auto otherIfMib = Qiv::make<IntfSnmp::IfMib>();
  atRowChange(1,
              [&] { root->connectivityMonitorSnmpAgentIs(clientDir, conMonMibRoot, otherIfMib); });
  putThree("web", 1);
  EXPECT_EQ(seen_, 1U);
  scheduler->runAll();
  EXPECT_TRUE(ready(*root->connectivityMonitorSnmpAgent()));
  EXPECT_EQ(rows(), 3U);
}

TEST_F(RootReentrancy, TheAgentIsDroppedInTheMiddleOfASlice) {
  for (unsigned n = 1; n <= 5; ++n) {
    putThree("web", n);
  }
  agentIs();
  atRowChange(3, [&] { root->connectivityMonitorSnmpAgentDel(); });
  scheduler->runAll();
  EXPECT_EQ(seen_, 3U);
  EXPECT_EQ(rows(), 3U);
  EXPECT_TRUE(scheduler->tasks().empty());
}

TEST_F(RootReentrancy, TheAgentIsDroppedInTheMiddleOfAReconciliation) {
  for (unsigned n = 1; n <= 5; ++n) {
    putThree("web", n);
  }
  putThree("db", 1);
  agentIs();
  scheduler->runAll();
  root->connectivityMonitorSnmpAgentDel();
  Qiv::ptrCast<ConnectivityMonitor::StatusDir>(clientDir->entityPtr("lab"))
      ->hostStatusDel(HostKey("web", "default"));
  agentIs();
  atRowChange(2, [&] { root->connectivityMonitorSnmpAgentDel(); });
  scheduler->runAll();
  EXPECT_GE(seen_, 2U);
  EXPECT_TRUE(scheduler->tasks().empty());
}

TEST_F(RootReentrancy, TheAgentIsDroppedWhileItIsSwitchedOn) {
  putThree("web", 1);
  const auto agent = agentIs();
  runFirstPasses(*agent);
  agent->hasNotificationActiveIs(false);
  auto kept = agent;
  atRowChange(1, [&] {
    root->connectivityMonitorSnmpAgentDel();
    kept = nullptr;
  });
  kept->hasNotificationActiveIs(true);
  EXPECT_EQ(seen_, 1U);
  EXPECT_FALSE(root->connectivityMonitorSnmpAgent());
  EXPECT_FALSE(kept);
}

TEST_F(RootReentrancy, ANewAgentIsDroppedByTheFirstToHearOfIt) {
  const Watcher<std::string_view> watcher(root->changes(), [&](const std::string_view&) {
    if (root->connectivityMonitorSnmpAgent()) {
      root->connectivityMonitorSnmpAgentDel();
    }
  });
  EXPECT_FALSE(agentIs());
  EXPECT_TRUE(scheduler->tasks().empty());
}

}  // namespace
