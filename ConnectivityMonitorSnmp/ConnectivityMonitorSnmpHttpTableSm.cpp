#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpHttpTableSm.h"

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmClientDirImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmEntityPtrImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmHostStatusImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmIfMibImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmLifecycleImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmPipelineImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmReconcileImpl.h"

namespace ConnectivityMonitorSnmp {

template class InputSmScanState<HttpTable>;
template class OutputState<HttpTable>;
template class LocalAttrStore<HttpTable>;
template class ScanningSm<HttpTable, Lintu::IntfId>;
template class ScanningSm<HttpTable, Pomel::String>;
template class ScanningSm<HttpTable, ConnectivityMonitor::HostNameVrfKey>;
template class ScanningSm<HttpTable, HttpTable::StatsKey>;
template class IfMibSm<HttpTable>;
template class ClientDirSm<HttpTable>;
template class EntityPtrSm<HttpTable>;
template class HostStatusSm<HttpTable>;
template class TableSm<HttpTable>;

ConnectivityMonitorSnmpHttpTableSm::Ptr connectivityMonitorSnmpHttpTableSmFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib,
    VrfRefCount::Ptr vrfRefCount, const Yex::SmControl& smControl) {
  auto sm = Qiv::make<ConnectivityMonitorSnmpHttpTableSm>(
      std::move(clientDir), std::move(conMonMibRoot), std::move(ifMib), std::move(vrfRefCount),
      smControl);
  sm->handleInitialized();
  return sm;
}

}  // namespace ConnectivityMonitorSnmp
