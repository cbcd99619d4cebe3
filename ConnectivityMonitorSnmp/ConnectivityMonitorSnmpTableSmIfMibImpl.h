#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmScanImpl.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
IfMibSm<Table>::IfMibSm(TableSm<Table>& tableSm, IntfSnmp::IfMib::PtrConst ifMib)
    : tableSm_(tableSm), ifMib_(std::move(ifMib)) {
  constexpr auto kTaskName =
      kText<Table,
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmp#TableSm-IfMibSm^0InputScanTask0">;
  task0_ = Qiv::make<Ubo::MemberTask<&IfMibSm::task0Dispatch>>(
      *this, *tableSm.taskScheduler(), Pomel::String(kTaskName), tableSm.taskPriority());
  if (items() != nullptr) {
    subscription_.subscribe(items()->changes());
    recordVersion();
  }
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
  if (!this->hasNotificationActive()) {
    return;
  }
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
  recordVersion();
  handleIfIndexByIntfId0(intfId);
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

}  // namespace ConnectivityMonitorSnmp
