#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmScanImpl.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
HostStatusSm<Table>::HostStatusSm(EntityPtrSm<Table>& parent,
                                  ConnectivityMonitor::HostStatus::PtrConst hostStatus)
    : parent_(parent), hostStatus_(std::move(hostStatus)) {
  if (items() != nullptr) {
    this->link(items()->changes());
    recordVersion();
  }
}

template <class Table>
void HostStatusSm<Table>::recordVersion() {
  version_ = items()->version();
}

template <class Table>
void HostStatusSm<Table>::hasNotificationActiveIs(bool active) {
  this->notificationActiveIs(active);
  if (active != this->linked()) {
    active ? this->link(items()->changes()) : this->unlink();
  }
  if (active && !this->scanComplete()) {
    doInputScan(parent_.scanComplete() ? Yielding::kNever : Yielding::kAsTaskSays);
  }
}

template <class Table>
void HostStatusSm<Table>::doInputScan(Yielding yielding) {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<"{}">(9, key());
  doInputScan1(yielding);
}

template <class Table>
void HostStatusSm<Table>::doInputScan1(Yielding yielding) {
  runScanSlice(*this, yielding);
}

template <class Table>
const typename Table::StatsMap* HostStatusSm<Table>::items() const {
  return hostStatus_ ? &((*hostStatus_).*Table::kStatsMap)() : nullptr;
}

template <class Table>
void HostStatusSm<Table>::scanItem(const Key& statsKey) {
  (shell().*Shells<Table>::kHandleStats1)(statsKey);
}

template <class Table>
void HostStatusSm<Table>::scanYields(std::string_view reason, std::uint64_t count,
                                     const Key& bookmark) {
  this->scanYieldsAt(bookmark);
  recordVersion();
  nestedYields(*this, reason, count);
}

template <class Table>
void HostStatusSm<Table>::scanFinishes(std::uint64_t count) {
  recordVersion();
  const bool withEvents = this->scanEnds();
  this->tableSm().template trace<"{} scan complete. Processed {} children. ">(
      9, withEvents ? kText<Table, "HostStatusSm^3"> : kText<Table, "HostStatusSm^3 initial">,
      count);
}

template <class Table>
void HostStatusSm<Table>::handleStats1(const Key& statsKey) {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<"k: {}">(8, statsKey);
  parent_.onChildEvent1(key(), statsKey);
}

template <class Table>
void HostStatusSm<Table>::notify(const Key& statsKey) {
  (shell().*Shells<Table>::kHandleStats1Reactor)(statsKey);
}

template <class Table>
void HostStatusSm<Table>::handleStats1Reactor(const Key& statsKey) {
  if (!this->reacts()) {
    return;
  }
  const Qiv::Ptr keptParent(&parent_);
  const typename HostStatusSm::Reacting reacting(*this);
  recordVersion();  // Before the event: it may lead to the removal of the whole record.
  (shell().*Shells<Table>::kHandleStats1)(statsKey);
}

template <class Table>
void HostStatusSm<Table>::doDeleteAll() {
  // The record has left the store already: this machine's reference keeps what was in it.
  const auto& entries = *items();
  if (entries.version() != version_) {
    Pomel::fatal(
        kText<Table,
              "We missed notifications that happened to @Stats before the enclosing entity got "
              "deleted">);
  }
  std::vector<Key> gone;  // Whatever the events lead to, each entry is told of once.
  gone.reserve(entries.size());
  for (const auto& entry : entries) {
    gone.push_back(entry.key);
  }
  for (const Key& statsKey : gone) {
    parent_.onChildEvent1(key(), statsKey);
  }
}

}  // namespace ConnectivityMonitorSnmp
