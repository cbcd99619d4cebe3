#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "FakeMibModule.h"
#include "TableFacts.h"
#include "TraceRecorder.h"
#include "YieldPolicies.h"

/// The inputs and outputs of one table's state machine, the state machine, and short words for what
/// a monitor and a scheduler do to them.
template <class Table>
class TableSmWorld {
 public:
  using Facts = TableFacts<Table>;
  using Sm = typename Facts::Sm;
  using Key = typename Facts::Key;
  using Stats = typename Facts::Stats;
  using Info = typename Facts::Info;
  using HostKey = ConnectivityMonitor::HostNameVrfKey;
  using Mode = Yex::SmControl::Mode;
  using MibPtr = ConnectivityMonitorSnmp::ConnectivityMonitorMib::Ptr;
  using State = ConnectivityMonitorSnmp::InputScanState;

  TableSmWorld() {
    FakeMibModule::calls().clear();
    scheduler->yieldPolicyIs(std::make_unique<NeverYield>());
  }

  // The state machine.
  typename Sm::Ptr made(Mode mode = Mode::kAsynchronous) {
    return Facts::kFactory(clientDir, conMonMibRoot, ifMib, counts, {scheduler, 0, mode});
  }
  /// Makes it and brings it to ready.
  void start(Mode mode = Mode::kAsynchronous) {
    sm = nullptr;
    sm = made(mode);
    sm->hasNotificationActiveIs(true);
    scheduler->runAll();
    ASSERT_TRUE(sm->ready());
  }
  template <class Policy, class... Args>
  void policyIs(Args... args) {
    scheduler->yieldPolicyIs(std::make_unique<Policy>(args...));
  }
  /// The tasks that exist, by name.
  [[nodiscard]] std::map<std::string, Ubo::Task*> tasks() const {
    std::map<std::string, Ubo::Task*> all;
    for (Ubo::Task* task : scheduler->tasks()) {
      all[task->name().stdString()] = task;
    }
    return all;
  }
  void event(std::string_view client, std::string_view host, const Key& key,
             std::string_view vrf = "default") {
    ((*sm).*Facts::kEventToStream)(client, HostKey(host, vrf), key);
  }

  // The monitor.
  ConnectivityMonitor::StatusDir::Ptr statusDir(std::string_view client) {
    return Qiv::ptrCast<ConnectivityMonitor::StatusDir>(
        clientDir->entityIs(client, "ConnectivityMonitor::StatusDir"));
  }
  ConnectivityMonitor::HostStatus::Ptr hostStatus(std::string_view client, std::string_view host,
                                                  std::string_view vrf = "default") {
    return statusDir(client)->hostStatusIs(HostKey(host, vrf));
  }
  void put(std::string_view client, std::string_view host, const Key& key, float time,
           std::string_view vrf = "default") {
    ((*hostStatus(client, host, vrf)).*Facts::kStatsIs)(Facts::stats(key, time));
  }
  void remove(std::string_view client, std::string_view host, const Key& key,
              std::string_view vrf = "default") {
    ((*hostStatus(client, host, vrf)).*Facts::kStatsDel)(key);
  }
  static Key key(std::string_view intf, unsigned n) { return Facts::key(intf, n); }
  void ifIndexIs(std::string_view intf, std::uint32_t ifIndex) {
    ifMib->ifIndexByIntfIdIs(Lintu::IntfId(intf), ifIndex);
  }

  // The outputs.
  [[nodiscard]] MibPtr mib(std::string_view vrf = "default") const {
    return Qiv::ptrCast<ConnectivityMonitorSnmp::ConnectivityMonitorMib>(
        conMonMibRoot->entityPtr(vrf));
  }
  [[nodiscard]] static const auto& table(const MibPtr& mib) { return ((*mib).*Facts::kRows)(); }
  /// The rows of a VRF: their keys and times. Empty for a VRF without object.
  [[nodiscard]] std::map<std::string, float> rows(std::string_view vrf = "default") const {
    std::map<std::string, float> all;
    if (const MibPtr object = mib(vrf)) {
      for (const auto& row : table(object)) {
        Stats stats = Facts::rowStats(row);
        all[std::string(row.indexShortName().view())] = Facts::time(stats);
      }
    }
    return all;
  }
  /// All rows that exist, by VRF; VRFs without rows are left out.
  using RowsByVrf = std::map<std::string, std::map<std::string, float>>;
  [[nodiscard]] RowsByVrf allRows() const {
    RowsByVrf all;
    for (const auto& [vrf, unused] : conMonMibRoot->entityPtr()) {
      if (auto found = rows(vrf.view()); !found.empty()) {
        all[vrf.stdString()] = std::move(found);
      }
    }
    return all;
  }
  /// The rows that there should be: one for every record whose interface is none or has an index.
  [[nodiscard]] RowsByVrf projection() const {
    RowsByVrf all;
    for (const auto& [client, entity] : clientDir->entityPtr()) {
      const auto found = Qiv::ptrCast<ConnectivityMonitor::StatusDir>(entity);
      if (!found) {
        continue;
      }
      for (const auto& [host, record] : found->hostStatus()) {
        for (Stats stats : ((*record).*Facts::kStatsMap)()) {
          const auto& intf = stats.key.intfName;
          const auto* const ifIndex = ifMib->ifIndexByIntfId().find(Lintu::IntfId(intf));
          if (intf.empty() || ifIndex != nullptr) {
            all[host.vrfName().stdString()]
               [rowName(client.view(), host.hostName().view(), stats.key, ifIndex ? *ifIndex : 0)] =
                   Facts::time(stats);
          }
        }
      }
    }
    return all;
  }
  static std::string rowName(std::string_view client, std::string_view host, const Key& key,
                             std::uint32_t ifIndex) {
    return Facts::rowName(client, host, key, ifIndex);
  }
  [[nodiscard]] std::uint32_t count(std::string_view vrf = "default") const {
    return counts->vrfRefCount(vrf);
  }
  /// The probes that wait for the interface's index.
  [[nodiscard]] std::vector<Info> backlog(std::string_view intf) const {
    const auto* const set = sm->localAttrStore()->intfToStatsBacklog().find(Lintu::IntfId(intf));
    return set == nullptr ? std::vector<Info>()
                          : std::vector<Info>((*set)->infos().begin(), (*set)->infos().end());
  }

  Ubo::Scheduler::Ptr scheduler = Qiv::make<Ubo::Scheduler>();
  Qiv::Dir::Ptr clientDir = Qiv::make<Qiv::Dir>("clientDir");
  Qiv::Dir::Ptr conMonMibRoot = Qiv::make<Qiv::Dir>("conMonMib");
  IntfSnmp::IfMib::Ptr ifMib = Qiv::make<IntfSnmp::IfMib>();
  ConnectivityMonitorSnmp::VrfRefCount::Ptr counts = ConnectivityMonitorSnmp::vrfRefCountFactory();
  typename Sm::Ptr sm;
};

/// The world of a typed suite over the three tables.
template <class Table>
class TableSmTest : public testing::Test, public TableSmWorld<Table> {};

/// Calls a function for every key that a collection publishes, for as long as it lives.
template <class Key>
class Watcher {
 public:
  using Callback = std::function<void(const Key&)>;
  Watcher(Qiv::Publisher<Key>& publisher, Callback callback)
      : callback_(std::move(callback)), subscription_(*this, publisher) {}
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;
  ~Watcher() = default;

 private:
  void changed(const Key& key) { callback_(key); }

  Callback callback_;
  Qiv::Subscription<&Watcher::changed, Key> subscription_;
};
