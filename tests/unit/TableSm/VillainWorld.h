#pragma once

#include "TableSmWorld.h"

/// Subscribers of the outputs that change the inputs, or end the state machine, in the middle of
/// what it is doing. Whatever they do, rows end up as the records are.
template <class Table>
class VillainWorld : public TableSmWorld<Table> {
 public:
  using Villain = std::function<void()>;

  /// The default VRF's object is there before anything else, so that its rows can be watched.
  VillainWorld() {
    this->conMonMibRoot->entityIs("default", "ConnectivityMonitorSnmp::ConnectivityMonitorMib");
    kept_ = this->mib();
  }
  /// Strikes at the n-th change of the default VRF's rows.
  void atRowChange(unsigned n, Villain villain) {
    rowWatcher_ = std::make_unique<Watcher<Snmp::String>>(
        this->table(kept_).changes(), [this, n, villain](const auto&) { strike(n, villain); });
  }
  /// Strikes at the n-th change of a VRF's count.
  void atCountChange(unsigned n, Villain villain) {
    nameWatcher_ = std::make_unique<Watcher<Pomel::String>>(
        this->counts->vrfRefCount().changes(),
        [this, n, villain](const auto&) { strike(n, villain); });
  }
  /// Strikes at the n-th change of the directory of VRFs' objects.
  void atVrfChange(unsigned n, Villain villain) {
    nameWatcher_ = std::make_unique<Watcher<Pomel::String>>(
        this->conMonMibRoot->entityPtr().changes(),
        [this, n, villain](const auto&) { strike(n, villain); });
  }
  [[nodiscard]] bool struck() const { return seen_ >= at_ && at_ != 0; }
  void removeHost(std::string_view host) {
    this->statusDir("lab")->hostStatusDel(typename VillainWorld::HostKey(host, "default"));
  }
  void putFive(std::string_view host, std::string_view intf = "") {
    for (unsigned n = 1; n <= 5; ++n) {
      this->put("lab", host, this->key(intf, n), 1.5F);
    }
  }
  /// As the agent does it.
  void end() {
    this->sm->hasNotificationActiveIs(false);
    this->sm = nullptr;
  }
  /// Enough counts for removals of what has not been counted yet.
  void coverRemovals() { this->counts->vrfRefCountIs("default", 100); }

 private:
  void strike(unsigned n, const Villain& villain) {
    at_ = n;
    if (++seen_ == n) {
      villain();
    }
  }

  typename VillainWorld::MibPtr kept_;
  unsigned at_ = 0;
  unsigned seen_ = 0;
  std::unique_ptr<Watcher<Snmp::String>> rowWatcher_;
  std::unique_ptr<Watcher<Pomel::String>> nameWatcher_;
};
