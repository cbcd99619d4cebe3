#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTcpTableSm.h"

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmClientDirImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmEntityPtrImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmHostStatusImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmIfMibImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmLifecycleImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmPipelineImpl.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmReconcileImpl.h"

namespace ConnectivityMonitorSnmp {

template class InputSmScanState<TcpTable>;
template class OutputState<TcpTable>;
template class LocalAttrStore<TcpTable>;
template class ScanningSm<TcpTable, Lintu::IntfId>;
template class ScanningSm<TcpTable, Pomel::String>;
template class ScanningSm<TcpTable, ConnectivityMonitor::HostNameVrfKey>;
template class ScanningSm<TcpTable, TcpTable::StatsKey>;
template class IfMibSm<TcpTable>;
template class ClientDirSm<TcpTable>;
template class EntityPtrSm<TcpTable>;
template class HostStatusSm<TcpTable>;
template class TableSm<TcpTable>;

ConnectivityMonitorSnmpTcpTableSm::Ptr connectivityMonitorSnmpTcpTableSmFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib,
    VrfRefCount::Ptr vrfRefCount, const Yex::SmControl& smControl) {
  auto sm = Qiv::make<ConnectivityMonitorSnmpTcpTableSm>(std::move(clientDir),
                                                         std::move(conMonMibRoot), std::move(ifMib),
                                                         std::move(vrfRefCount), smControl);
  sm->handleInitialized();
  return sm;
}

}  // namespace ConnectivityMonitorSnmp
