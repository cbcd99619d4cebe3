#pragma once

#include <array>
#include <numeric>
#include <string_view>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBColumns.h"

namespace ConnectivityMonitorSnmp::MibModule {

// What the three tables are; how they work is written once, in terms of these. Column numbers are a
// contract with managers: kColumns begins with column 2 (column 1 is the index, which is never
// served), and an entry's place is its number.

inline constexpr unsigned kFirstColumn = 2;

/// The table's object identifier, 1.3.6.1.4.1.61111.3.38.1.`table`.
consteval std::array<unsigned long, 11> tableOid(unsigned long table) {
  return {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, table};
}

/// The address octets of a row, as what they are.
template <class Row>
[[nodiscard]] const Snmp::Bytes& addressOctets(const Row& row) noexcept {
  return row.ipAddr().octets();
}

struct IcmpTable {
  using Row = IcmpProbeEntry;
  using Column = ColumnOf<Row>;
  static constexpr auto kRows = &ConnectivityMonitorMib::icmpTable;
  static constexpr std::string_view kName = "velmorIcmpProbeTable";
  static constexpr std::string_view kIndexName = "velmorIcmpProbeIndex";
  static constexpr auto kOid = tableOid(1);
  static constexpr std::array kColumns = {
      Column::string<&Row::client>("velmorIcmpProbeClient", "client"),
      Column::string<&Row::host>("velmorIcmpProbeHost", "host"),
      Column::u32<&Row::ipAddrType>("velmorIcmpProbeIpAddrType", "ipAddrType"),
      Column::bytes<&addressOctets<Row>>("velmorIcmpProbeIpAddr", "ipAddrBytes"),
      Column::u32<&Row::ifIndex>("velmorIcmpProbeIfIndex", "ifIndex"),
      Column::u32<&Row::latencyPrecision>("velmorIcmpProbeLatencyPrecision", "latencyPrecision"),
      Column::s32<&Row::latencyValue>("velmorIcmpProbeLatencyValue", "latencyValue"),
      Column::u32<&Row::jitterPrecision>("velmorIcmpProbeJitterPrecision", "jitterPrecision"),
      Column::s32<&Row::jitterValue>("velmorIcmpProbeJitterValue", "jitterValue"),
      Column::u32<&Row::packetLoss>("velmorIcmpProbePacketLoss", "packetLoss")};
};

struct HttpTable {
  using Row = HttpProbeEntry;
  using Column = ColumnOf<Row>;
  static constexpr auto kRows = &ConnectivityMonitorMib::httpTable;
  static constexpr std::string_view kName = "velmorHttpProbeTable";
  static constexpr std::string_view kIndexName = "velmorHttpProbeIndex";
  static constexpr auto kOid = tableOid(2);
  static constexpr std::array kColumns = {
      Column::string<&Row::client>("velmorHttpProbeClient", "client"),
      Column::string<&Row::host>("velmorHttpProbeHost", "host"),
      Column::string<&Row::url>("velmorHttpProbeUrl", "url"),
      Column::u32<&Row::ifIndex>("velmorHttpProbeIfIndex", "ifIndex"),
      Column::u32<&Row::responseTimePrecision>("velmorHttpProbeResponseTimePrec",
                                               "responseTimePrecision"),
      Column::s32<&Row::responseTimeValue>("velmorHttpProbeResponseTimeValue",
                                           "responseTimeValue")};
};

/// The address type is read as signed here and as unsigned in the ICMP table; managers know both.
struct TcpTable {
  using Row = TcpProbeEntry;
  using Column = ColumnOf<Row>;
  static constexpr auto kRows = &ConnectivityMonitorMib::tcpTable;
  static constexpr std::string_view kName = "velmorTcpProbeTable";
  static constexpr std::string_view kIndexName = "velmorTcpProbeIndex";
  static constexpr auto kOid = tableOid(3);
  static constexpr std::array kColumns = {
      Column::string<&Row::client>("velmorTcpProbeClient", "client"),
      Column::string<&Row::host>("velmorTcpProbeHost", "host"),
      Column::s32<&Row::ipAddrType>("velmorTcpProbeIpAddrType", "ipAddrType"),
      Column::bytes<&addressOctets<Row>>("velmorTcpProbeIpAddr", "ipAddrBytes"),
      Column::u32<&Row::port>("velmorTcpProbePort", "port"),
      Column::u32<&Row::ifIndex>("velmorTcpProbeIfIndex", "ifIndex"),
      Column::u32<&Row::latencyPrecision>("velmorTcpProbeLatencyPrecision", "latencyPrecision"),
      Column::s32<&Row::latencyValue>("velmorTcpProbeLatencyValue", "latencyValue")};
};

template <class Table>
inline constexpr unsigned kLastColumn = kFirstColumn +
                                        static_cast<unsigned>(Table::kColumns.size()) - 1;

/// The numbers of the columns that are served; shared by all contexts.
template <class Table>
inline constexpr auto kColumnNumbers = [] {
  std::array<unsigned, Table::kColumns.size()> numbers{};
  std::iota(numbers.begin(), numbers.end(), kFirstColumn);
  return numbers;
}();

/// The column of that number, or null when the table serves none.
template <class Table>
[[nodiscard]] constexpr const Column<typename Table::Row>* columnAt(unsigned number) noexcept {
  const bool served = number >= kFirstColumn && number <= kLastColumn<Table>;
  return served ? &Table::kColumns[number - kFirstColumn] : nullptr;
}

}  // namespace ConnectivityMonitorSnmp::MibModule
