#include "ConnectivityMonitorSnmp/velmorConMonMIBRegistration.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstring>
#include <iostream>
#include <new>
#include <string>

#include "ConnectivityMonitorSnmp/velmorConMonMIBTrace.h"
#include "Pomel/Fatal.h"
#include "Qiv/Url.h"
#include "Snmp/CentrumUtil.h"
#include "Snmp/RegVoidCollByContext.h"

namespace ConnectivityMonitorSnmp::MibModule {

namespace {

/// A zero-filled record of net-snmp's, from the malloc family: net-snmp frees its records with
/// free().
template <class Record>
Record* allocate() {
  void* memory = std::calloc(1, sizeof(Record));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<Record*>(memory);
}

std::string dataPath(const Pomel::String& context) {
  return "snmp/connectivityMonitor/conMonMib/" +
         (context.empty() ? "default" : Qiv::quoteUrl(context.view(), Qiv::reservedInName));
}

ConnectivityMonitorMib::Ptr dataObject(const std::string& path, std::string_view table) {
  const Qiv::Entity::Ptr e = Snmp::CentrumUtil::getEntityRelative(path);
  if (!e) {
    std::cerr << "Can not getEntityRelative( " << path << " ) for table " << table
              << ". Is this path correct?" << std::endl;
    Pomel::assertionFailed("e");
  }
  auto ptr = Qiv::ptrCast<ConnectivityMonitorMib>(e);
  if (!ptr) {
    std::cerr << path << " does not appear to be of type " << ConnectivityMonitorMib::kTypeName
              << ".\n";
    Pomel::assertionFailed("ptr");
  }
  return ptr;
}

netsnmp_handler_registration* makeRegistration(const TableLayout& layout, const TableHooks& hooks,
                                               const Pomel::String& context) {
  const std::string name = fmt::format("{}_{}", layout.name, context.view());
  netsnmp_handler_registration* registration =
      netsnmp_create_handler_registration(name.c_str(), hooks.handler, layout.tableOid.data(),
                                          layout.tableOid.size(), HANDLER_CAN_RONLY);
  if (!context.empty()) {
    registration->contextName = strdup(context.c_str());
  }
  return registration;
}

ColumnInfo makeColumnInfo(const TableLayout& layout) {
  ColumnInfo info(allocate<netsnmp_column_info>());
  info->isRange = 0;
  info->list_count = static_cast<char>(layout.columns.size());
  info->details.list = const_cast<unsigned*>(layout.columns.data());  // Only read.
  return info;
}

netsnmp_table_registration_info* makeTableInfo(const TableLayout& layout,
                                               netsnmp_column_info* columns,
                                               const Pomel::String& context) {
  auto* info = allocate<netsnmp_table_registration_info>();
  if (snmp_varlist_add_variable(&info->indexes, nullptr, 0, ASN_OCTET_STR, nullptr, 0) == nullptr) {
    trace.line(Trace::kError, "Failed to set up {} in netsnmp table_info in context \"{}\"",
               layout.indexName, context.view());
  }
  info->min_column = layout.columns.front();
  info->max_column = layout.columns.back();
  info->valid_columns = columns;
  return info;
}

netsnmp_iterator_info* makeIteratorInfo(const TableHooks& hooks,
                                        netsnmp_table_registration_info* table, void* record) {
  auto* info = allocate<netsnmp_iterator_info>();
  info->get_first_data_point = hooks.getFirstDataPoint;
  info->get_next_data_point = hooks.getNextDataPoint;
  info->make_data_context = hooks.makeDataContext;
  info->free_data_context = hooks.freeDataContext;
  info->free_loop_context_at_end = hooks.freeLoopContextAtEnd;
  info->myvoid = record;
  info->flags |= NETSNMP_ITERATOR_FLAG_SORTED | NETSNMP_HANDLER_OWNS_IINFO;
  info->table_reginfo = table;
  return info;
}

}  // namespace

void FreeColumnInfo::operator()(netsnmp_column_info* first) const noexcept {
  while (first != nullptr) {
    netsnmp_column_info* next = first->next;
    std::free(first);
    first = next;
  }
}

void initializeTable(const TableLayout& layout, const TableHooks& hooks,
                     const Pomel::String& context) {
  constexpr int kTable = 1;
  constexpr int kDone = 8;
  if (trace.on(kTable)) {
    trace.line(kTable, "initialize_table_{} initializing oid {} in context \"{}\"", layout.name,
               fmt::format("{}", fmt::join(layout.tableOid, ".")), context.view());
  }
  netsnmp_handler_registration* registration = makeRegistration(layout, hooks, context);
  registrationsByContext()[context].push_back(registration);

  auto data = dataObject(dataPath(context), layout.name);
  registration->my_reg_void = Snmp::RegVoidCollByContext::singleton()->addRegVoid(
      context, Pomel::String(layout.name), std::move(data));

  ColumnInfo columns = makeColumnInfo(layout);
  netsnmp_iterator_info* iterator = makeIteratorInfo(
      hooks, makeTableInfo(layout, columns.get(), context), registration->my_reg_void);
  columnInfosByContext()[context].push_back(std::move(columns));

  // Refused, for example, where the table is registered already; net-snmp has then freed the
  // registration.
  const int result = netsnmp_register_table_iterator(registration, iterator);
  if (result != MIB_REGISTERED_OK) {
    Pomel::assertionFailed("result == MIB_REGISTERED_OK");
  }
  const int injected = netsnmp_inject_handler(registration, netsnmp_get_serialize_handler());
  if (injected != SNMPERR_SUCCESS) {
    Pomel::assertionFailed("injected == SNMPERR_SUCCESS");
  }
  trace.line(kDone, "Initialized table {} in context \"{}\"", layout.name, context.view());
}

}  // namespace ConnectivityMonitorSnmp::MibModule
