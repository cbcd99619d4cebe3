#pragma once

/// The three table state machines. Start reading at TableSm (ConnectivityMonitorSnmpTableSmCore.h).

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpHttpTableSm.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpIcmpTableSm.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTcpTableSm.h"
