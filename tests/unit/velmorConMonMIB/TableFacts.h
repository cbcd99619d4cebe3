#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "AgentForTest.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBTables.h"

namespace TableFacts {

// What the three tables look like from outside, written down on its own rather than taken from the
// module's layout. A typed test runs over all three.

using ConnectivityMonitorSnmp::ConnectivityMonitorMib;

/// What a test row is made of.
struct RowValues {
  Pomel::String client = "lab";
  Pomel::String host = "web1";
  Snmp::InetAddress address{Snmp::InetAddress::kIpv4,
                            Snmp::Bytes(std::string_view("\xc0\0\2\x0a", 4))};
  Pomel::String url = "http://192.0.2.10/";
  std::uint32_t ifIndex = 7;
  std::uint32_t port = 443;
  float time = 12.345F;  ///< Latency or response time.
  float jitter = 0.05F;
  std::uint8_t packetLoss = 25;
};

/// A column, and what it shows of RowValues{}.
struct ColumnFact {
  unsigned number;
  std::string name;
  std::string field;
  std::string converter;
  std::string octets;  ///< Of a string column.
  long number32 = 0;   ///< Of a numeric column.

  [[nodiscard]] bool isString() const { return converter.ends_with("OctetString"); }
};

struct Icmp {
  static constexpr std::string_view kTable = "velmorIcmpProbeTable";
  static constexpr std::string_view kIndex = "velmorIcmpProbeIndex";
  static constexpr oid kArc = 1;
  static constexpr unsigned kLastColumn = 11;
  static constexpr auto kInitialize = initialize_table_velmorIcmpProbeTable;
  static constexpr auto kHandler = velmorIcmpProbeTable_handler;
  static constexpr auto kFirst = velmorIcmpProbeTable_get_first_data_point;
  static constexpr auto kNext = velmorIcmpProbeTable_get_next_data_point;
  static constexpr auto kHelper = velmorIcmpProbeTableIterationHelper;
  static constexpr auto kMakeData = velmorIcmpProbeTable_make_data_context;
  static constexpr auto kFreeData = velmorIcmpProbeTable_free_data_context;
  static constexpr auto kFreeLoop = velmorIcmpProbeTable_free_loop_context_at_end;
  static void put(ConnectivityMonitorMib& mib, std::string_view key, const RowValues& row = {});
  static void del(ConnectivityMonitorMib& mib, std::string_view key) { mib.icmpTableDel(key); }
  [[nodiscard]] static std::vector<ColumnFact> columns();
};

struct Http {
  static constexpr std::string_view kTable = "velmorHttpProbeTable";
  static constexpr std::string_view kIndex = "velmorHttpProbeIndex";
  static constexpr oid kArc = 2;
  static constexpr unsigned kLastColumn = 7;
  static constexpr auto kInitialize = initialize_table_velmorHttpProbeTable;
  static constexpr auto kHandler = velmorHttpProbeTable_handler;
  static constexpr auto kFirst = velmorHttpProbeTable_get_first_data_point;
  static constexpr auto kNext = velmorHttpProbeTable_get_next_data_point;
  static constexpr auto kHelper = velmorHttpProbeTableIterationHelper;
  static constexpr auto kMakeData = velmorHttpProbeTable_make_data_context;
  static constexpr auto kFreeData = velmorHttpProbeTable_free_data_context;
  static constexpr auto kFreeLoop = velmorHttpProbeTable_free_loop_context_at_end;
  static void put(ConnectivityMonitorMib& mib, std::string_view key, const RowValues& row = {});
  static void del(ConnectivityMonitorMib& mib, std::string_view key) { mib.httpTableDel(key); }
  [[nodiscard]] static std::vector<ColumnFact> columns();
};

struct Tcp {
  static constexpr std::string_view kTable = "velmorTcpProbeTable";
  static constexpr std::string_view kIndex = "velmorTcpProbeIndex";
  static constexpr oid kArc = 3;
  static constexpr unsigned kLastColumn = 9;
  static constexpr auto kInitialize = initialize_table_velmorTcpProbeTable;
  static constexpr auto kHandler = velmorTcpProbeTable_handler;
  static constexpr auto kFirst = velmorTcpProbeTable_get_first_data_point;
  static constexpr auto kNext = velmorTcpProbeTable_get_next_data_point;
  static constexpr auto kHelper = velmorTcpProbeTableIterationHelper;
  static constexpr auto kMakeData = velmorTcpProbeTable_make_data_context;
  static constexpr auto kFreeData = velmorTcpProbeTable_free_data_context;
  static constexpr auto kFreeLoop = velmorTcpProbeTable_free_loop_context_at_end;
  static void put(ConnectivityMonitorMib& mib, std::string_view key, const RowValues& row = {});
  static void del(ConnectivityMonitorMib& mib, std::string_view key) { mib.tcpTableDel(key); }
  [[nodiscard]] static std::vector<ColumnFact> columns();
};

/// 1.3.6.1.4.1.61111.3.38.1.<table>
template <class Table>
[[nodiscard]] AgentForTest::Oid tableOid() {
  return {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, Table::kArc};
}

template <class Table>
[[nodiscard]] AgentForTest::Oid instance(unsigned column, std::string_view key) {
  using AgentForTest::operator/;
  return tableOid<Table>() / oid{1} / oid{column} / key;
}

}  // namespace TableFacts
