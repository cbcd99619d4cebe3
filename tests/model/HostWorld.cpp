#include <fmt/format.h>

#include <chrono>
#include <memory>

#include "AgentForTest.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpAgent.h"
#include "Difference.h"
#include "Policy.h"
#include "Shown.h"
#include "Snmp/CentrumUtil.h"
#include "Worlds.h"
#include "agent/store/StoreFeed.h"

namespace Model {

namespace {

/// Every VRF keeps a record of each kind from its first moment on: agents that start over a VRF
/// expect that all three tables have something in it.
std::vector<RecordId> foundersOf(const std::string& vrf) {
  return {{"founder", vrf, "base-", Kind::kIcmp, "", "10.0.0.9", 0},
          {"founder", vrf, "base-", Kind::kHttp, "", "u", 0},
          {"founder", vrf, "base-", Kind::kTcp, "", "10.0.0.9", 1000}};
}

Agent::ProbeKey keyOf(const RecordId& id) {
  Agent::ProbeKey key{{id.host, id.vrf}, id.interface, Agent::HttpTarget{id.target}};
  if (id.kind == Kind::kIcmp) {
    key.target = Agent::IcmpTarget{*Lintu::IpGenAddr::parse(id.target)};
  } else if (id.kind == Kind::kTcp) {
    key.target =
        Agent::TcpTarget{*Lintu::IpGenAddr::parse(id.target), static_cast<std::uint16_t>(id.port)};
  }
  return key;
}

Agent::Measurements measurementsOf(const RecordId& id, const Measured& measured) {
  Agent::Measurements all;
  (id.kind == Kind::kHttp ? all.responseTime : all.latency) = measured.time;
  all.jitter = measured.jitter;
  all.packetLoss = static_cast<float>(measured.loss);
  all.result = measured.comment;
  return all;
}

/// A host that writes the store itself, while the plug-in's machines scan and reconcile it, and
/// that keeps the rules for hosts and no others.
class World {
 public:
  explicit World(const History& history) : history_(history) {
    static_cast<void>(AgentForTest::Agent::instance());
    scheduler_->yieldPolicyIs(std::make_unique<Policy>(history.yield, history.seed));
    Snmp::CentrumUtil::agentRootIs(root_);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() {
    plugin_->connectivityMonitorSnmpAgentDel();
    plugin_ = nullptr;
    scheduler_->runAll();
    endContexts();
    Snmp::CentrumUtil::agentRootIs(nullptr);
  }

  Figures run() {
    for (const Step& each : history_.steps) {
      ++figures_.steps;
      std::visit([&](const auto& what) { step(what); }, each);
    }
    step(Settle{});
    const Rows rows = reference_.rows();
    for (const std::string& vrf : vrfs_) {
      walkAgainst(rows, vrf);
    }
    return figures_;
  }

 private:
  template <class Other>
  void step(const Other& /*other*/) {}  // Of connections and their process, which are not here.
  void step(const Send& send) {
    std::visit([&](const auto& what) { change(send.change.client, what); }, send.change.what);
  }
  void step(const Kernel& kernel) { change("", kernel.set); }
  void step(const ReplaceAgent& /*replace*/) {
    if (running()) {
      plugin_->connectivityMonitorSnmpAgentDel();
    } else {
      start();
    }
  }
  void step(const Turn& /*turn*/) {
    if (scheduler_->hasWork()) {
      scheduler_->runSlice();
    }
  }
  void step(const Look& /*look*/) { look(); }
  void step(const Settle& /*settle*/) {
    if (!running()) {
      start();
    }
    constexpr int kSlices = 100'000;
    for (int slice = 0; scheduler_->hasWork(); ++slice) {
      require(slice < kSlices, "the scheduler does not come to rest");
      scheduler_->runSlice();
    }
    require(ready(), "all work is done, and the machines are not ready");
    look();
  }

  // What a host may do at any time, and what it may do only when nothing scans.

  void change(const std::string& client, const Put& put) {
    if (vrfs_.insert(put.id.vrf).second) {
      for (const RecordId& founder : foundersOf(put.id.vrf)) {
        enter(founder, {});
      }
    }
    RecordId id = put.id;
    id.client = client;
    enter(id, put.measured);
  }
  void change(const std::string& client, const Remove& remove) {
    RecordId id = remove.id;
    id.client = client;
    removeIf([&](const RecordId& each) { return each == id; });
  }
  void change(const std::string& client, const RemoveHost& remove) {
    removeIf([&](const RecordId& id) {
      return id.client == client && id.vrf == remove.vrf && id.host == remove.host;
    });
  }
  void change(const std::string& client, const RemoveClient& /*remove*/) {
    removeIf([&](const RecordId& id) { return id.client == client; });
  }
  void change(const std::string& /*client*/, const SetInterface& set) {
    const bool bound =
        std::ranges::any_of(present_, [&](const RecordId& id) { return id.interface == set.name; });
    if (running() && bound && indexed_.contains(set.name)) {
      return;
    }
    indexed_.insert(set.name);
    store_.ifIndexIs(set.name, set.ifIndex);
    applied({"", set});
  }

  void enter(const RecordId& id, const Measured& measured) {
    present_.insert(id);
    store_.recordIs(id.client, keyOf(id), measurementsOf(id, measured));
    applied({id.client, Put{id, measured}});
  }
  template <class Condition>
  void removeIf(const Condition& condition) {
    if (running() && !ready()) {
      return;
    }
    std::erase_if(present_, [&](const RecordId& id) {
      const bool goes = condition(id);
      if (goes) {
        store_.recordDel(id.client, keyOf(id));
        applied({id.client, Remove{id}});
      }
      return goes;
    });
  }
  void applied(const Change& change) {
    ++figures_.changes;
    reference_.apply(change);
  }

  [[nodiscard]] bool running() const { return plugin_->connectivityMonitorSnmpAgent() != nullptr; }
  [[nodiscard]] bool ready() const {
    const auto& agent = plugin_->connectivityMonitorSnmpAgent();
    return agent->connectivityMonitorTableIcmpSm()->ready() &&
           agent->connectivityMonitorTableHttpSm()->ready() &&
           agent->connectivityMonitorTableTcpSm()->ready();
  }
  void start() {
    ++figures_.replacements;
    const auto agent = plugin_->connectivityMonitorSnmpAgentIs(clientDir_, mibs_, ifMib_);
    prioritiesAre(*agent, history_, scheduler_);
  }

  void look() {
    const Shown is = shown(*mibs_);
    if (!running() || !ready()) {
      ++figures_.looksMidWay;
      return;
    }
    ++figures_.looks;
    const Rows expected = reference_.rows();
    compareRows(is.rows, expected);
    figures_.rowsCompared += expected.size();
    Counts rows;
    for (const auto& [id, row] : expected) {
      ++rows[id.vrf];
    }
    const auto& counts = plugin_->connectivityMonitorSnmpAgent()->vrfRefCount();
    for (const auto& [vrf, number] : rows) {
      require(counts->vrfRefCount(vrf) >= number, "a VRF has more rows than are counted");
    }
  }

  const History& history_;
  Figures figures_;
  Ubo::Scheduler::Ptr scheduler_ = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("");
  Qiv::Dir::Ptr clientDir_ = Qiv::dirAt(root_, "connectivityMonitor/status");
  Qiv::Dir::Ptr mibs_ = Qiv::dirAt(root_, "snmp/connectivityMonitor/conMonMib");
  IntfSnmp::IfMib::Ptr ifMib_ = Qiv::make<IntfSnmp::IfMib>();
  ConnectivityMonitorSnmp::Root::Ptr plugin_ = ConnectivityMonitorSnmp::rootFactory("root");
  Agent::StoreFeed store_{clientDir_, ifMib_, [](const Pomel::String&, std::uint32_t) {}};

  Reference reference_{1'000'000};
  std::set<RecordId> present_;
  std::set<std::string> indexed_;  ///< Interfaces with an index.
  std::set<std::string> vrfs_;
};

}  // namespace

Figures runHostWorld(const History& history) { return World(history).run(); }

}  // namespace Model
