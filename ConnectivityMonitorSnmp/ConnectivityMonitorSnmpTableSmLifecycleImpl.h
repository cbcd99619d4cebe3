#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"
#include "Pomel/Fatal.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
TableSm<Table>::TableSm(Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot,
                        IntfSnmp::IfMib::PtrConst ifMib, VrfRefCount::Ptr vrfRefCount,
                        Yex::SmControl control)
    : trace_(Trace::handle("ConnectivityMonitorSnmpTableSm")),
      clientDir_(std::move(clientDir)),
      conMonMibRoot_(std::move(conMonMibRoot)),
      ifMib_(std::move(ifMib)),
      vrfRefCount_(std::move(vrfRefCount)),
      control_(std::move(control)) {}

template <class Table>
void TableSm<Table>::handleInitialized() {
  const auto require = [](const auto& argument, std::string_view name) {
    if (!argument) {
      Pomel::fatal(fmt::format(
          "{}() && \"Pointer SM args cannot be null unless they are marked Optional\"", name));
    }
  };
  require(clientDir_, "clientDir");
  require(vrfRefCount_, "vrfRefCount");
  require(ifMib_, "ifMib");
  require(conMonMibRoot_, "conMonMibRoot");

  if (control_.mode != Yex::SmControl::Mode::kDefault) {
    synchronous_ = control_.mode == Yex::SmControl::Mode::kSynchronous;
  }
  if (!control_.taskScheduler) {
    control_.taskScheduler = Ubo::findOrCreateScheduler(Ubo::kDefaultScheduler);
  }
  scanState_ = Qiv::make<typename Shell::InputSmScanState>();
  subscription_.subscribe(scanState_->changes());
  outputState_ = Qiv::make<typename Shell::OutputState>();
  createTasks();

  mibPass_.reconciling = true;
  trace<"Reconciling connectivityMonitorSnmpConnectivityMonitorMibPtr#TableOutput: {:}">(
      9, mibPass_.reconciling);
  vrfPass_.reconciling = true;
  trace<"Reconciling vrfRefCountVrfRefCountOutput: {:}">(9, vrfPass_.reconciling);

  trace<"create local SMs">(9);
  localAttrStore_ = Qiv::make<typename Shell::LocalAttrStore>();
  trace<"create non-public arg SMs">(9);
  (shell().*Shell::kClientDirSmIs)();
  (shell().*Shell::kIfMibSmIs)();

  initialized_ = true;
  handleOutputs();
  trace<"initialized">(9);
}

template <class Table>
void TableSm<Table>::clientDirSmIs() {
  clientDirSm_ = Qiv::make<typename Shell::ClientDirSm>(*this, clientDir_);
  clientDirSm_->doInputScan();
}

template <class Table>
void TableSm<Table>::ifMibSmIs() {
  ifMibSm_ = Qiv::make<typename Shell::IfMibSm>(*this, ifMib_);
  ifMibSm_->doInputScan();
}

template <class Table>
void TableSm<Table>::createTasks() {
  constexpr auto kMibTask =
      kText<Table,
            "ConnectivityMonitorSnmp#TableSm-"
            "connectivityMonitorSnmpConnectivityMonitorMibPtr#TableOutputTask">;
  constexpr auto kVrfTask =
      kText<Table, "ConnectivityMonitorSnmp#TableSm-vrfRefCountVrfRefCountOutputTask">;
  mibPass_.task = Qiv::make<Ubo::MemberTask<Shell::kMibTaskDispatch>>(
      shell(), *taskScheduler(), Pomel::String(kMibTask), taskPriority());
  vrfPass_.task = Qiv::make<Ubo::MemberTask<Shell::kVrfTaskDispatch>>(
      shell(), *taskScheduler(), Pomel::String(kVrfTask), taskPriority());
}

template <class Table>
void TableSm<Table>::hasNotificationActiveIs(bool active) {
  const Qiv::Ptr<TableSm> kept(this);
  notificationActiveIs(active);
  subscription_.activeIs(active, scanState_->changes());
  clientDirSm_->hasNotificationActiveIs(active);
  ifMibSm_->hasNotificationActiveIs(active);
}

template <class Table>
bool TableSm<Table>::idle() const {
  return ready() && (synchronous_ || scanState_->idle());
}

template <class Table>
TableSm<Table>::~TableSm() {
  beingDestroyedIs(true);
  // Once: there may be a million children.
  if (initialized_ && (hasNotificationActive() || clientDirSm_->hasNotificationActive() ||
                       ifMibSm_->hasNotificationActive())) {
    hasNotificationActiveIs(false);
  }
  subscription_.unsubscribe();
  mibSeenDelAll();
  vrfSeenDelAll();
  for (const auto& task : {mibPass_.task, vrfPass_.task, forgetting_.task}) {
    if (task) {
      task->taskDel();
    }
  }
}

// Generic inspection.

template <class Table>
const Qiv::TypeInfo& TableSm<Table>::typeInfo() const {
  static const Qiv::TypeInfo type{
      kText<Table, "ConnectivityMonitorSnmp::ConnectivityMonitorSnmp#TableSm">,
      nullptr,
      {Qiv::attribute<&TableSm::ready>("ready"), Qiv::attribute<&TableSm::idle>("idle"),
       Qiv::attribute<&TableSm::synchronous>("synchronous"),
       Qiv::attribute<&TableSm::initialScanDone>("initialScanDone"),
       Qiv::attribute<&TableSm::inputSmScanState>("inputSmScanState"),
       Qiv::attribute<&TableSm::outputState>("outputState"),
       Qiv::attribute<&TableSm::localAttrStore>("localAttrStore"),
       Qiv::attribute<&TableSm::clientDirSm>(kText<Table, "clientDirSm^1">),
       Qiv::attribute<&TableSm::ifMibSm>(kText<Table, "ifMibSm^0">)}};
  return type;
}

template <class Table>
const Qiv::TypeInfo& InputSmScanState<Table>::typeInfo() const {
  static const Qiv::TypeInfo type{
      "ConnectivityMonitorSnmp::InputSmScanState",
      nullptr,
      {Qiv::attribute<&InputSmScanState::streamScan>(kStreamScan),
       Qiv::attribute<&InputSmScanState::ifMibStreamScan>(kIfMibStreamScan),
       Qiv::attribute<&InputSmScanState::idle>(kIdle)}};
  return type;
}

template <class Table>
const Qiv::TypeInfo& OutputState<Table>::typeInfo() const {
  static const Qiv::TypeInfo type{"ConnectivityMonitorSnmp::OutputState",
                                  nullptr,
                                  {Qiv::attribute<&OutputState::backlogReady>(kBacklogReady),
                                   Qiv::attribute<&OutputState::mibReady>(kMibReady),
                                   Qiv::attribute<&OutputState::vrfReady>(kVrfReady),
                                   Qiv::attribute<&OutputState::ready>(kReady)}};
  return type;
}

template <class Table>
const Qiv::TypeInfo& LocalAttrStore<Table>::typeInfo() const {
  static const Qiv::TypeInfo type{
      "ConnectivityMonitorSnmp::LocalAttrStore",
      nullptr,
      {Qiv::collection<&LocalAttrStore::intfToStatsBacklog>(kText<Table, "intfTo#StatsBacklog">)}};
  return type;
}

}  // namespace ConnectivityMonitorSnmp
