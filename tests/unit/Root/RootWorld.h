#pragma once

#include <gtest/gtest.h>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent.h"
#include "FakeMibModule.h"
#include "TableSmWorld.h"

/// A root over three inputs, and the shared scheduler that its agents run on.
class RootWorld : public testing::Test {
 protected:
  using Agent = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent;
  using Root = ConnectivityMonitorSnmp::Root;
  using HostKey = ConnectivityMonitor::HostNameVrfKey;

  RootWorld() {
    FakeMibModule::calls().clear();
    scheduler->yieldPolicyIs(std::make_unique<NeverYield>());
  }

  Agent::Ptr agentIs() {
    return root->connectivityMonitorSnmpAgentIs(clientDir, conMonMibRoot, ifMib);
  }
  ConnectivityMonitor::HostStatus::Ptr host(std::string_view name,
                                            std::string_view vrf = "default") {
    return Qiv::ptrCast<ConnectivityMonitor::StatusDir>(
               clientDir->entityIs("lab", "ConnectivityMonitor::StatusDir"))
        ->hostStatusIs(HostKey(name, vrf));
  }
  /// One probe of each kind.
  void putThree(std::string_view name, unsigned n, std::string_view vrf = "default") {
    using ConnectivityMonitorSnmp::HttpTable;
    using ConnectivityMonitorSnmp::IcmpTable;
    using ConnectivityMonitorSnmp::TcpTable;
    const auto record = host(name, vrf);
    record->icmpStatsIs(TableFacts<IcmpTable>::stats(TableFacts<IcmpTable>::key("", n), 1.5F));
    record->httpStatsIs(TableFacts<HttpTable>::stats(TableFacts<HttpTable>::key("", n), 1.5F));
    record->tcpStatsIs(TableFacts<TcpTable>::stats(TableFacts<TcpTable>::key("", n), 1.5F));
  }
  [[nodiscard]] ConnectivityMonitorSnmp::ConnectivityMonitorMib::Ptr mib(
      std::string_view vrf = "default") const {
    return Qiv::ptrCast<ConnectivityMonitorSnmp::ConnectivityMonitorMib>(
        conMonMibRoot->entityPtr(vrf));
  }
  /// Rows of all three tables.
  [[nodiscard]] std::size_t rows(std::string_view vrf = "default") const {
    const auto object = mib(vrf);
    return object
               ? object->icmpTable().size() + object->httpTable().size() + object->tcpTable().size()
               : 0;
  }
  static bool ready(const Agent& agent) {
    return agent.connectivityMonitorTableIcmpSm()->ready() &&
           agent.connectivityMonitorTableHttpSm()->ready() &&
           agent.connectivityMonitorTableTcpSm()->ready();
  }
  /// To the point where all three machines are about to begin their second pass.
  void runFirstPasses(const Agent& agent) {
    while (!agent.connectivityMonitorTableIcmpSm()->initialScanDone() ||
           !agent.connectivityMonitorTableHttpSm()->initialScanDone() ||
           !agent.connectivityMonitorTableTcpSm()->initialScanDone()) {
      scheduler->runSlice();
    }
  }

  Ubo::Scheduler::Ptr scheduler = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  Qiv::Dir::Ptr clientDir = Qiv::make<Qiv::Dir>("clientDir");
  Qiv::Dir::Ptr conMonMibRoot = Qiv::make<Qiv::Dir>("conMonMib");
  IntfSnmp::IfMib::Ptr ifMib = Qiv::make<IntfSnmp::IfMib>();
  Root::Ptr root = ConnectivityMonitorSnmp::rootFactory("root");
};
