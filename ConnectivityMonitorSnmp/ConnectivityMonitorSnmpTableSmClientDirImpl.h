#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmScanImpl.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
auto ClientDirSm<Table>::KeyOfChild::operator()(const Qiv::Ptr<Child>& child) const -> const Key& {
  return child->key();
}

template <class Table>
ClientDirSm<Table>::ClientDirSm(TableSm<Table>& tableSm, Qiv::Dir::PtrConst clientDir)
    : tableSm_(tableSm), clientDir_(std::move(clientDir)) {
  constexpr auto kTaskName =
      kText<Table,
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmp#TableSm-ClientDirSm^1InputScanTask1">;
  task1_ = Qiv::make<Ubo::MemberTask<&ClientDirSm::task1Dispatch>>(
      *this, *tableSm.taskScheduler(), Pomel::String(kTaskName), tableSm.taskPriority());
  if (items() != nullptr) {
    subscription_.subscribe(items()->changes());
  }
}

template <class Table>
ClientDirSm<Table>::~ClientDirSm() {
  this->beingDestroyedIs(true);
  task1Del();
}

template <class Table>
void ClientDirSm<Table>::task1Del() {
  if (task1_) {
    task1_->taskDel();
    task1_ = nullptr;
  }
}

template <class Table>
void ClientDirSm<Table>::hasNotificationActiveIs(bool active) {
  this->notificationActiveIs(active);
  subscription_.activeIs(active, clientDir_->entityPtr().changes());
  passNotificationActive(children_, active);
  if (active && !this->scanComplete()) {
    doInputScan();
  }
}

template <class Table>
void ClientDirSm<Table>::doInputScan() {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<"{}">(9, std::string_view());
  if (!this->synchronous() && task1_) {
    task1_->scheduleTask();
  } else {
    doInputScan1();
  }
}

template <class Table>
void ClientDirSm<Table>::doInputScan1() {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<" scan complete: {} resumed: {} scan: {}">(
      9, inputScanComplete1(), inputScanState1() == InputScanState::kResumable,
      this->tableSm().inputSmScanState()->streamScan());
  runScanSlice(*this, Yielding::kAsTaskSays);
}

template <class Table>
const Qiv::Dir::Entities* ClientDirSm<Table>::items() const {
  return clientDir_ ? &clientDir_->entityPtr() : nullptr;
}

template <class Table>
bool ClientDirSm<Table>::scanChild(const Key& name, Yielding yielding) {
  const auto present = child(name);
  if (!present) {
    return false;
  }
  present->doInputScan1(yielding);
  // A child that its own events put an end to is not waited for.
  return child(name) == present && !present->scanComplete();
}

template <class Table>
bool ClientDirSm<Table>::shouldYield(Yielding yielding) const {
  return this->asksToYield(task1_, this->synchronous(), yielding);
}

template <class Table>
void ClientDirSm<Table>::scanYields(std::string_view reason, std::uint64_t count,
                                    const Key& bookmark) {
  this->scanYieldsAt(bookmark);
  taskYields(*this, task1_, reason, count);
}

template <class Table>
void ClientDirSm<Table>::scanFinishes(std::uint64_t /*count*/) {
  const bool withEvents = this->scanEnds();
  if (withEvents) {
    task1Del();
  }
  TableSm<Table>& tableSm = this->tableSm();
  tableSm.inputSmScanState()->streamScanIs(true);
  tableSm.template trace<"{} scan, and parent scan, complete.">(
      9, withEvents ? kText<Table, "ClientDirSm^1"> : kText<Table, "ClientDirSm^1 initial">);
}

template <class Table>
void ClientDirSm<Table>::handleEntityPtr1(const Key& name) {
  if (!this->hasNotificationActive()) {
    return;
  }
  const auto statusDirNow = [&] {
    return Qiv::ptrCast<const ConnectivityMonitor::StatusDir>(clientDir_->entityPtr(name));
  };
  if (const auto old = child(name); old && old->statusDir() != statusDirNow()) {
    // Out of the tree first: its events may lead here again.
    childSmEntityPtrConnectivityMonitorStatusDirPtrConstDel(name);
    old->doDeleteAll();
  }
  if (const auto statusDir = statusDirNow(); statusDir && !child(name)) {
    const auto made = childSmEntityPtrConnectivityMonitorStatusDirPtrConstIs(name, statusDir);
    if (this->inReactor() && this->initialScanDone()) {
      made->doInputScan(Yielding::kNever);
    }
  }
}

template <class Table>
void ClientDirSm<Table>::handleEntityPtr1Reactor(const Key& name) {
  if (!this->reacts()) {
    return;
  }
  const typename ClientDirSm::Reacting reacting(*this);
  handleEntityPtr1(name);
}

template <class Table>
void ClientDirSm<Table>::onChildEvent1(const Key& client,
                                       const ConnectivityMonitor::HostNameVrfKey& hostKey,
                                       const typename Table::StatsKey& statsKey) {
  (this->tableSm().shell().*Shells<Table>::kEventToStream)(client, hostKey, statsKey);
}

template <class Table>
void ClientDirSm<Table>::doDeleteAll() {
  for (const auto& child : heldChildren(children_)) {
    child->doDeleteAll();
  }
}

template <class Table>
auto ClientDirSm<Table>::child(const Key& name) const -> Qiv::Ptr<Child> {
  const Qiv::Ptr<Child>* found = children_.find(name);
  return found == nullptr ? nullptr : *found;
}

template <class Table>
auto ClientDirSm<Table>::childSmEntityPtrConnectivityMonitorStatusDirPtrConstIs(
    const Key& name, ConnectivityMonitor::StatusDir::PtrConst statusDir) -> Qiv::Ptr<Child> {
  if (auto present = child(name)) {
    return present;
  }
  Qiv::Ptr<Child> made =
      Qiv::make<typename Shells<Table>::EntityPtrSm>(*this, name, std::move(statusDir));
  children_.findOrEmplace(name, made);
  return made;
}

template <class Table>
void ClientDirSm<Table>::childSmEntityPtrConnectivityMonitorStatusDirPtrConstDel(const Key& name) {
  if (const auto taken = children_.take(name)) {
    taken->entry->hasNotificationActiveIs(false);
  }
}

}  // namespace ConnectivityMonitorSnmp
