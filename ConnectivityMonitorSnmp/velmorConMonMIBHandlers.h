#pragma once

#include <fmt/format.h>

#include <array>

#include "ConnectivityMonitorSnmp/velmorConMonMIBIteration.h"

namespace ConnectivityMonitorSnmp::MibModule {

// How a table answers, once net-snmp's iterator has chosen the row of each request. Failures here
// are a manager's news, never the process's: they are traced and become SNMP errors.

/// The longest string that is served.
inline constexpr std::size_t kMaxString = 255;

/// The requested column; 0, which no table has, when the request names none.
[[nodiscard]] inline unsigned columnOf(netsnmp_request_info* request) {
  const netsnmp_table_request_info* info = netsnmp_extract_table_info(request);
  return info == nullptr ? 0 : info->colnum;
}

template <class Table>
[[nodiscard]] bool alreadyProcessed(const netsnmp_request_info* request) {
  if (request->processed == 0) {
    return false;
  }
  trace.line(kFlow, "{}_handler: request {} already processed", Table::kName, fmt::ptr(request));
  return true;
}

/// Puts a column of a row into a varbind. False when it has no encoding, or none short enough.
template <class Table>
[[nodiscard]] bool encode(const Column<typename Table::Row>& column, const typename Table::Row& row,
                          netsnmp_variable_list* varbind) {
  const bool isString = column.tag == Tag::kOctetString;
  std::array<unsigned char, 1024> buffer;
  const auto length = column.encode(row, buffer.data(), isString ? kMaxString : buffer.size());
  if (length < 0) {
    trace.line(kFlow, "handle_{} - {} failed for: {}", Table::kName, column.converter,
               column.field);
    return false;
  }
  const auto octets = static_cast<std::size_t>(length);
  if (isString && octets > kMaxString) {
    // The path is the default context's whatever the context is: log scanners match the whole text.
    trace.line(kFlow,
               "handle_{} - entity /<sysname>/snmp/connectivityMonitor/conMonMib/default length "
               "out of range: {} ({})",
               Table::kName, column.field, octets);
    return false;
  }
  snmp_set_var_typed_value(varbind, static_cast<u_char>(column.tag), buffer.data(), octets);
  return true;
}

/// Answers the requests in their order, up to the first that cannot be answered. A value without an
/// encoding is reported on the head of the list.
template <class Table>
[[nodiscard]] int answer(netsnmp_request_info* requests) {
  for (auto* request = requests; request != nullptr; request = request->next) {
    if (alreadyProcessed<Table>(request)) {
      continue;
    }
    const auto* chosen =
        static_cast<const RowContext<Table>*>(netsnmp_extract_iterator_context(request));
    if (chosen == nullptr) {
      trace.line(kFlow, "{}_handler: null data context in request", Table::kName);
      return SNMP_ERR_NOERROR;
    }
    const unsigned number = columnOf(request);
    const auto* column = columnAt<Table>(number);
    if (column == nullptr) {
      trace.line(Trace::kError, "{} invalid column {}", Table::kName, number);
      netsnmp_request_set_error(request, SNMP_NOSUCHOBJECT);
      return SNMP_ERR_NOERROR;
    }
    trace.line(kFlow, "{}_handler: request GET for column {}, key {}", Table::kName, column->name,
               chosen->row->key().view());
    if (!encode<Table>(*column, *chosen->row, request->requestvb)) {
      netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
      return SNMP_ERR_GENERR;
    }
  }
  return SNMP_ERR_NOERROR;
}

/// Refuses a write on its first request that is still open. The text speaks of the column, though
/// nothing is wrong with it.
template <class Table>
[[nodiscard]] int refuseWrite(netsnmp_request_info* requests) {
  auto* request = requests;
  while (request != nullptr && alreadyProcessed<Table>(request)) {
    request = request->next;
  }
  if (request != nullptr) {
    trace.line(Trace::kError, "{} invalid column {}", Table::kName, columnOf(request));
    netsnmp_request_set_error(request, SNMP_ERR_NOTWRITABLE);
  }
  return SNMP_ERR_NOERROR;
}

template <class Table>
[[nodiscard]] int handle(const netsnmp_agent_request_info& info, netsnmp_request_info* requests) {
  trace.line(kFlow, "{}_handler", Table::kName);
  trace.line(kFlow, "{}_handler: request mode {}", Table::kName, info.mode);
  return info.mode == MODE_GET ? answer<Table>(requests) : refuseWrite<Table>(requests);
}

}  // namespace ConnectivityMonitorSnmp::MibModule
