#include "Worlds.h"

#include <fmt/format.h>

#include "Difference.h"

namespace Model {

Figures& Figures::operator+=(const Figures& more) {
  steps += more.steps;
  changes += more.changes;
  looks += more.looks;
  looksMidWay += more.looksMidWay;
  rowsCompared += more.rowsCompared;
  replacements += more.replacements;
  return *this;
}

Figures run(const History& history) {
  return history.isHost ? runHostWorld(history) : runFeedWorld(history);
}

void prioritiesAre(ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent& agent,
                   const History& history, const Ubo::Scheduler::Ptr& scheduler) {
  const auto control = [&](std::size_t machine) {
    return Yex::SmControl{scheduler, history.priorities[machine],
                          Yex::SmControl::Mode::kAsynchronous};
  };
  agent.connectivityMonitorTableIcmpSmIs(agent.clientDir(), agent.conMonMibRoot(), agent.ifMib(),
                                         agent.vrfRefCount(), control(0));
  agent.connectivityMonitorTableHttpSmIs(agent.clientDir(), agent.conMonMibRoot(), agent.ifMib(),
                                         agent.vrfRefCount(), control(1));
  agent.connectivityMonitorTableTcpSmIs(agent.clientDir(), agent.conMonMibRoot(), agent.ifMib(),
                                        agent.vrfRefCount(), control(2));
}

std::string describe(const RowId& id) {
  static constexpr const char* kKinds[] = {"ICMP", "HTTP", "TCP"};
  return fmt::format("{} row {} of VRF {}", kKinds[static_cast<int>(id.kind)], id.name, id.vrf);
}

void compareRows(const Rows& shown, const Rows& expected) {
  for (const auto& [id, row] : expected) {
    const auto at = shown.find(id);
    if (at == shown.end()) {
      throw Difference(describe(id) + " is missing");
    }
    if (!(at->second == row)) {
      throw Difference(fmt::format("{} shows {} of {} via {} where it should show {} of {} via {}",
                                   describe(id), at->second.time, at->second.target,
                                   at->second.ifIndex, row.time, row.target, row.ifIndex));
    }
  }
  for (const auto& [id, row] : shown) {
    if (!expected.contains(id)) {
      throw Difference(describe(id) + " should not be there");
    }
  }
}

}  // namespace Model
