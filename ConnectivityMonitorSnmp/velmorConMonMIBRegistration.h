#pragma once

#include <cstdlib>
#include <map>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "ConnectivityMonitorSnmp/velmorConMonMIBLayout.h"
#include "Pomel/String.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

namespace ConnectivityMonitorSnmp::MibModule {

/// Frees a column-information record and all that is chained behind it.
struct FreeColumnInfo {
  void operator()(netsnmp_column_info* first) const noexcept;
};
using ColumnInfo = std::unique_ptr<netsnmp_column_info, FreeColumnInfo>;

/// What the module has registered, in the order of registration. The agent owns these.
using Registrations = std::map<Pomel::String, std::vector<netsnmp_handler_registration*>>;
/// What the agent reads but never frees: ours.
using ColumnInfos = std::map<Pomel::String, std::vector<ColumnInfo>>;

/// By context; both live as long as the module is loaded.
[[nodiscard]] Registrations& registrationsByContext();
[[nodiscard]] ColumnInfos& columnInfosByContext();

/// What registering a table needs to know of its layout.
struct TableLayout {
  std::string_view name;
  std::string_view indexName;
  std::span<const oid> tableOid;
  std::span<const unsigned> columns;  ///< Ascending.
};

template <class Table>
inline constexpr TableLayout kLayout = {Table::kName, Table::kIndexName, Table::kOid,
                                        kColumnNumbers<Table>};

/// The functions that net-snmp calls for a table.
struct TableHooks {
  Netsnmp_Node_Handler* handler;
  Netsnmp_First_Data_Point* getFirstDataPoint;
  Netsnmp_Next_Data_Point* getNextDataPoint;
  Netsnmp_Make_Data_Context* makeDataContext;
  Netsnmp_Free_Data_Context* freeDataContext;
  Netsnmp_Free_Loop_Context* freeLoopContextAtEnd;
};

/// Serves a table in `context` from that context's ConnectivityMonitorMib. Ends the process when
/// there is none, and when the agent refuses.
void initializeTable(const TableLayout& layout, const TableHooks& hooks,
                     const Pomel::String& context);

}  // namespace ConnectivityMonitorSnmp::MibModule
