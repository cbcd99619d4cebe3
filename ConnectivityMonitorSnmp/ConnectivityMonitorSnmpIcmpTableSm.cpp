#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpIcmpTableSm.h"

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmClientDirImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmEntityPtrImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmHostStatusImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmIfMibImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmLifecycleImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmPipelineImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmReconcileImpl.h"

namespace ConnectivityMonitorSnmp {

template class InputSmScanState<IcmpTable>;
template class OutputState<IcmpTable>;
template class LocalAttrStore<IcmpTable>;
template class ScanningSm<IcmpTable, Lintu::IntfId>;
template class ScanningSm<IcmpTable, Pomel::String>;
template class ScanningSm<IcmpTable, ConnectivityMonitor::HostNameVrfKey>;
template class ScanningSm<IcmpTable, IcmpTable::StatsKey>;
template class IfMibSm<IcmpTable>;
template class ClientDirSm<IcmpTable>;
template class EntityPtrSm<IcmpTable>;
template class HostStatusSm<IcmpTable>;
template class TableSm<IcmpTable>;

ConnectivityMonitorSnmpIcmpTableSm::Ptr connectivityMonitorSnmpIcmpTableSmFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib,
    VrfRefCount::Ptr vrfRefCount, const Yex::SmControl& smControl) {
  auto sm = Qiv::make<ConnectivityMonitorSnmpIcmpTableSm>(
      std::move(clientDir), std::move(conMonMibRoot), std::move(ifMib), std::move(vrfRefCount),
      smControl);
  sm->handleInitialized();
  return sm;
}

}  // namespace ConnectivityMonitorSnmp
