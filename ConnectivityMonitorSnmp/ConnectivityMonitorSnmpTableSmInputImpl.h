#pragma once

#include <vector>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSm.h"

namespace ConnectivityMonitorSnmp {

// ScanningSm

template <class Table, class Key>
const Qiv::TypeInfo& ScanningSm<Table, Key>::typeInfo() const {
  static const Qiv::TypeInfo type{
      "ConnectivityMonitorSnmp::PlyxCode::InputSm",
      nullptr,
      {Qiv::attribute<&ScanningSm::scanComplete>("inputScanComplete"),
       Qiv::attribute<&ScanningSm::synchronous>("synchronous"),
       Qiv::attribute<&ScanningSm::initialScanDone>("initialScanDone")}};
  return type;
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::synchronous() const {
  return tableSm_.synchronous();
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::initialScanDone() const {
  return tableSm_.initialScanDone();
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::scanComplete() const {
  return scan_.state == InputScanState::kComplete ||
         (scan_.state == InputScanState::kCompleteInitial && !initialScanDone());
}

template <class Table, class Key>
void ScanningSm<Table, Key>::scanYieldsAt(const Key& bookmark) {
  scan_.state = InputScanState::kResumable;
  scan_.bookmark = std::make_unique<Key>(bookmark);
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::scanEnds() {
  const bool withEvents = initialScanDone();
  scan_.state = withEvents ? InputScanState::kComplete : InputScanState::kCompleteInitial;
  scan_.bookmark.reset();
  return withEvents;
}

template <class Table, class Key>
bool ScanningSm<Table, Key>::asksToYield(const Ubo::Task::Ptr& task, bool synchronous,
                                         Yielding yielding) {
  return yielding == Yielding::kAsTaskSays && !synchronous && task && task->taskShouldYield();
}

/// The last steps of a slice of a machine that owns a task.
template <class Sm>
void taskYields(Sm& sm, const Ubo::Task::Ptr& task, std::string_view reason, std::uint64_t count) {
  const std::uint64_t total = sm.items()->size();
  sm.tableSm().template trace<"{} {} yielding after {} iterations ({} total items)">(
      8, std::string_view(), reason, count, total);
  if (task) {
    task->taskWorkCountInc(count);
    task->taskWorkPendingIs(total);
    task->scheduleTask();
  }
}

/// Traces a yield of a machine without a task: its parent sees the state and yields in turn.
template <class Sm>
void nestedYields(Sm& sm, std::string_view reason, std::uint64_t count) {
  sm.tableSm().template trace<"{} {} yielding after {} iterations ({} total items)">(
      8, PlyxCode::plyxPrint(sm.key()), reason, count, sm.items()->size());
}

// IfMibSm

template <class Table>
IfMibSm<Table>::IfMibSm(TableSm<Table>& tableSm, IntfSnmp::IfMib::PtrConst ifMib)
    : ScanningSm<Table, Key>(tableSm), ifMib_(std::move(ifMib)) {
  constexpr auto kTaskName =
      kText<Table,
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmp#TableSm-IfMibSm^0InputScanTask0">;
  task0_ = Qiv::make<Ubo::MemberTask<&IfMibSm::task0Dispatch>>(
      *this, *tableSm.taskScheduler(), Pomel::String(kTaskName), tableSm.taskPriority());
  subscription_.subscribe(ifMib_->ifIndexByIntfId().changes());
  recordVersion();
}

template <class Table>
IfMibSm<Table>::~IfMibSm() {
  this->beingDestroyedIs(true);
  task0Del();
}

template <class Table>
void IfMibSm<Table>::task0Del() {
  if (task0_) {
    task0_->taskDel();
    task0_ = nullptr;
  }
}

template <class Table>
void IfMibSm<Table>::recordVersion() {
  version_ = ifMib_->ifIndexByIntfId().version();
}

template <class Table>
void IfMibSm<Table>::hasNotificationActiveIs(bool active) {
  this->notificationActiveIs(active);
  subscription_.activeIs(active, ifMib_->ifIndexByIntfId().changes());
  if (active && !this->scanComplete()) {
    doInputScan();
  }
}

template <class Table>
void IfMibSm<Table>::doInputScan() {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<"{}">(9, std::string_view());
  if (!this->synchronous() && task0_) {
    task0_->scheduleTask();
  } else {
    doInputScan0();
  }
}

template <class Table>
void IfMibSm<Table>::doInputScan0() {
  if (!this->hasNotificationActive()) {
    return;
  }
  this->tableSm().template trace<" scan complete: {} resumed: {} scan: {}">(
      9, inputScanComplete0(), inputScanState0() == InputScanState::kResumable,
      this->tableSm().inputSmScanState()->ifMibStreamScan());
  runScanSlice(*this, Yielding::kAsTaskSays);
}

template <class Table>
const IntfSnmp::IfMib::IfIndexByIntfId* IfMibSm<Table>::items() const {
  return ifMib_ ? &ifMib_->ifIndexByIntfId() : nullptr;
}

template <class Table>
bool IfMibSm<Table>::shouldYield(Yielding yielding) const {
  return this->asksToYield(task0_, this->synchronous(), yielding);
}

template <class Table>
void IfMibSm<Table>::scanYields(std::string_view reason, std::uint64_t count, const Key& bookmark) {
  this->scanYieldsAt(bookmark);
  recordVersion();
  taskYields(*this, task0_, reason, count);
}

template <class Table>
void IfMibSm<Table>::scanFinishes(std::uint64_t /*count*/) {
  recordVersion();
  const bool withEvents = this->scanEnds();
  if (withEvents) {
    task0Del();
  }
  TableSm<Table>& tableSm = this->tableSm();
  tableSm.inputSmScanState()->ifMibStreamScanIs(true);
  tableSm.template trace<"{} scan, and parent scan, complete.">(
      9, withEvents ? kText<Table, "IfMibSm^0"> : kText<Table, "IfMibSm^0 initial">);
}

template <class Table>
void IfMibSm<Table>::handleIfIndexByIntfId0(const Key& intfId) {
  const std::uint32_t* const ifIndex = ifMib_->ifIndexByIntfId().find(intfId);
  (this->tableSm().shell().*Shells<Table>::kEventToIfMibStream)(
      intfId,
      ifIndex == nullptr ? Qiv::Optional<std::uint32_t>() : Qiv::Optional<std::uint32_t>(*ifIndex));
}

template <class Table>
void IfMibSm<Table>::handleIfIndexByIntfId0Reactor(const Key& intfId) {
  if (!this->reacts()) {
    return;
  }
  const typename IfMibSm::Reacting reacting(*this);
  handleIfIndexByIntfId0(intfId);
  recordVersion();
}

template <class Table>
void IfMibSm<Table>::doDeleteAll() {
  const auto ifMib = ifMib_;
  const auto& items = ifMib->ifIndexByIntfId();
  if (items.version() != version_) {
    Pomel::fatal(
        "We missed notifications that happened to ifIndexByIntfId before the enclosing entity got "
        "deleted");
  }
  for (auto at = items.begin(); at != items.end();) {
    const Key intfId = at->key;
    (this->tableSm().shell().*Shells<Table>::kEventToIfMibStream)(intfId, std::nullopt);
    at = items.upperBound(intfId);
  }
}

// ClientDirSm

template <class Table>
auto ClientDirSm<Table>::KeyOfChild::operator()(const Qiv::Ptr<Child>& child) const -> const Key& {
  return child->key();
}

template <class Table>
ClientDirSm<Table>::ClientDirSm(TableSm<Table>& tableSm, Qiv::Dir::PtrConst clientDir)
    : ScanningSm<Table, Key>(tableSm), clientDir_(std::move(clientDir)) {
  constexpr auto kTaskName =
      kText<Table,
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmp#TableSm-ClientDirSm^1InputScanTask1">;
  task1_ = Qiv::make<Ubo::MemberTask<&ClientDirSm::task1Dispatch>>(
      *this, *tableSm.taskScheduler(), Pomel::String(kTaskName), tableSm.taskPriority());
  subscription_.subscribe(clientDir_->entityPtr().changes());
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

/// The children of a machine, held while they are called: a call may take children out.
template <class Children>
auto heldChildren(const Children& children) {
  return std::vector(children.begin(), children.end());
}

template <class Table>
void ClientDirSm<Table>::hasNotificationActiveIs(bool active) {
  this->notificationActiveIs(active);
  subscription_.activeIs(active, clientDir_->entityPtr().changes());
  for (const auto& child : heldChildren(children_)) {
    child->hasNotificationActiveIs(active);
  }
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
  return !present->scanComplete();
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
  const auto statusDir =
      Qiv::ptrCast<const ConnectivityMonitor::StatusDir>(clientDir_->entityPtr(name));
  auto present = child(name);
  if (present && present->statusDir() != statusDir) {
    present->doDeleteAll();
    childSmEntityPtrConnectivityMonitorStatusDirPtrConstDel(name);
    present = nullptr;
  }
  if (statusDir && !present) {
    present = childSmEntityPtrConnectivityMonitorStatusDirPtrConstIs(name, statusDir);
    if (this->inReactor() && this->initialScanDone()) {
      present->doInputScan(Yielding::kNever);
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

// EntityPtrSm

template <class Table>
auto EntityPtrSm<Table>::KeyOfChild::operator()(const Qiv::Ptr<Child>& child) const -> const Key& {
  return child->key();
}

template <class Table>
EntityPtrSm<Table>::EntityPtrSm(ClientDirSm<Table>& parent, Pomel::String client,
                                ConnectivityMonitor::StatusDir::PtrConst statusDir)
    : ScanningSm<Table, Key>(parent.tableSm()),
      parent_(parent),
      client_(std::move(client)),
      statusDir_(std::move(statusDir)) {
  subscription_.subscribe(statusDir_->hostStatus().changes());
}

template <class Table>
void EntityPtrSm<Table>::hasNotificationActiveIs(bool active) {
  this->notificationActiveIs(active);
  subscription_.activeIs(active, statusDir_->hostStatus().changes());
  for (const auto& child : heldChildren(children_)) {
    child->hasNotificationActiveIs(active);
  }
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
  return !present->scanComplete();
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
  const ConnectivityMonitor::HostStatus::PtrConst hostStatus = statusDir_->hostStatus(hostKey);
  auto present = child(hostKey);
  if (present && present->hostStatus() != hostStatus) {
    present->doDeleteAll();
    childSmHostStatusConnectivityMonitorHostStatusPtrConstDel(hostKey);
    present = nullptr;
  }
  if (hostStatus && !present) {
    present = childSmHostStatusConnectivityMonitorHostStatusPtrConstIs(hostKey, hostStatus);
    if (this->inReactor() && this->initialScanDone()) {
      present->doInputScan(Yielding::kNever);
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
      Qiv::make<typename Shells<Table>::HostStatusSm>(*this, hostKey, std::move(hostStatus));
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

// HostStatusSm

template <class Table>
HostStatusSm<Table>::HostStatusSm(EntityPtrSm<Table>& parent,
                                  ConnectivityMonitor::HostNameVrfKey hostKey,
                                  ConnectivityMonitor::HostStatus::PtrConst hostStatus)
    : ScanningSm<Table, Key>(parent.tableSm()),
      parent_(parent),
      hostKey_(std::move(hostKey)),
      hostStatus_(std::move(hostStatus)) {
  this->link(items()->changes());
  recordVersion();
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
  this->tableSm().template trace<"{}">(9, hostKey_);
  doInputScan1(yielding);
}

template <class Table>
void HostStatusSm<Table>::doInputScan1(Yielding yielding) {
  runScanSlice(*this, yielding);
}

template <class Table>
const Qiv::HashMap<typename Table::StatsKey, typename Table::Stats>* HostStatusSm<Table>::items()
    const {
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
  this->tableSm().template trace<"k: {}">(8, statsKey);
  parent_.onChildEvent1(hostKey_, statsKey);
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
  const typename HostStatusSm::Reacting reacting(*this);
  (shell().*Shells<Table>::kHandleStats1)(statsKey);
  recordVersion();
}

template <class Table>
void HostStatusSm<Table>::doDeleteAll() {
  // The record has left the store already: this reference keeps what was in it.
  const auto hostStatus = hostStatus_;
  const auto& entries = *items();
  if (entries.version() != version_) {
    Pomel::fatal(
        kText<Table,
              "We missed notifications that happened to @Stats before the enclosing entity got "
              "deleted">);
  }
  for (auto at = entries.begin(); at != entries.end();) {
    const Key statsKey = at->key;
    parent_.onChildEvent1(hostKey_, statsKey);
    at = entries.upperBound(statsKey);
  }
}

}  // namespace ConnectivityMonitorSnmp
