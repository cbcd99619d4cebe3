#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmScanImpl.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
auto EntityPtrSm<Table>::KeyOfChild::operator()(const Qiv::Ptr<Child>& child) const -> const Key& {
  return child->key();
}

template <class Table>
EntityPtrSm<Table>::EntityPtrSm(ClientDirSm<Table>& parent, Pomel::String client,
                                ConnectivityMonitor::StatusDir::PtrConst statusDir)
    : parent_(parent), client_(std::move(client)), statusDir_(std::move(statusDir)) {
  if (items() != nullptr) {
    subscription_.subscribe(items()->changes());
  }
}

template <class Table>
void EntityPtrSm<Table>::hasNotificationActiveIs(bool active) {
  this->notificationActiveIs(active);
  subscription_.activeIs(active, statusDir_->hostStatus().changes());
  passNotificationActive(children_, active);
  if (active && !this->scanComplete()) {
    // No slice comes back to the child of a parent that is through.
    doInputScan(parent_.scanComplete() ? Yielding::kNever : Yielding::kAsTaskSays);
  }
}

template <class Table>
void EntityPtrSm<Table>::doInputScan(Yielding yielding) {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<"{}">(9, client_);
  doInputScan1(yielding);
}

template <class Table>
void EntityPtrSm<Table>::doInputScan1(Yielding yielding) {
  runScanSlice(*this, yielding);
}

template <class Table>
const ConnectivityMonitor::StatusDir::HostStatusMap* EntityPtrSm<Table>::items() const {
  return statusDir_ ? &statusDir_->hostStatus() : nullptr;
}

template <class Table>
bool EntityPtrSm<Table>::scanChild(const Key& hostKey, Yielding yielding) {
  const auto present = child(hostKey);
  if (!present) {
    return false;
  }
  present->doInputScan1(yielding);
  // A child that its own events put an end to is not waited for.
  return child(hostKey) == present && !present->scanComplete();
}

template <class Table>
void EntityPtrSm<Table>::scanYields(std::string_view reason, std::uint64_t count,
                                    const Key& bookmark) {
  this->scanYieldsAt(bookmark);
  nestedYields(*this, reason, count);
}

template <class Table>
void EntityPtrSm<Table>::scanFinishes(std::uint64_t count) {
  const bool withEvents = this->scanEnds();
  this->tableSm().template trace<"{} scan complete. Processed {} children. ">(
      9, withEvents ? kText<Table, "EntityPtrSm^2"> : kText<Table, "EntityPtrSm^2 initial">, count);
}

template <class Table>
void EntityPtrSm<Table>::handleHostStatus1(const Key& hostKey) {
  if (!this->hasNotificationActive()) {
    return;
  }
  if (const auto old = child(hostKey);
      old && old->hostStatus() != statusDir_->hostStatus(hostKey)) {
    // Out of the tree first: its events may lead here again.
    childSmHostStatusConnectivityMonitorHostStatusPtrConstDel(hostKey);
    old->doDeleteAll();
  }
  if (const auto hostStatus = statusDir_->hostStatus(hostKey); hostStatus && !child(hostKey)) {
    const auto made = childSmHostStatusConnectivityMonitorHostStatusPtrConstIs(hostKey, hostStatus);
    if (this->inReactor() && this->initialScanDone()) {
      made->doInputScan(Yielding::kNever);
    }
  }
}

template <class Table>
void EntityPtrSm<Table>::handleHostStatus1Reactor(const Key& hostKey) {
  if (!this->reacts()) {
    return;
  }
  const typename EntityPtrSm::Reacting reacting(*this);
  handleHostStatus1(hostKey);
}

template <class Table>
void EntityPtrSm<Table>::onChildEvent1(const Key& hostKey,
                                       const typename Table::StatsKey& statsKey) {
  parent_.onChildEvent1(client_, hostKey, statsKey);
}

template <class Table>
void EntityPtrSm<Table>::doDeleteAll() {
  for (const auto& child : heldChildren(children_)) {
    child->doDeleteAll();
  }
}

template <class Table>
auto EntityPtrSm<Table>::child(const Key& hostKey) const -> Qiv::Ptr<Child> {
  const Qiv::Ptr<Child>* found = children_.find(hostKey);
  return found == nullptr ? nullptr : *found;
}

template <class Table>
auto EntityPtrSm<Table>::childSmHostStatusConnectivityMonitorHostStatusPtrConstIs(
    const Key& hostKey, ConnectivityMonitor::HostStatus::PtrConst hostStatus) -> Qiv::Ptr<Child> {
  if (auto present = child(hostKey)) {
    return present;
  }
  Qiv::Ptr<Child> made =
      Qiv::make<typename Shells<Table>::HostStatusSm>(*this, std::move(hostStatus));
  children_.findOrEmplace(hostKey, made);
  return made;
}

template <class Table>
void EntityPtrSm<Table>::childSmHostStatusConnectivityMonitorHostStatusPtrConstDel(
    const Key& hostKey) {
  if (const auto taken = children_.take(hostKey)) {
    taken->entry->hasNotificationActiveIs(false);
  }
}

}  // namespace ConnectivityMonitorSnmp
