#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string_view>
#include <tuple>

#include "ConnectivityMonitor/Status.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpSmTypes.h"

namespace ConnectivityMonitorSnmp {

/// What tells the three table state machines apart: types, members, names, numbers. All behaviour
/// is TableSm's.

/// A row's name before it becomes the row's key; long enough for most not to touch the heap.
using RowName = fmt::basic_memory_buffer<char, 512>;

inline void appendTo(RowName& name, std::string_view text) {
  name.append(text.data(), text.data() + text.size());
}
inline void appendTo(RowName& name, std::uint32_t number) {
  const fmt::format_int digits(number);
  appendTo(name, {digits.data(), digits.size()});
}
inline void appendTo(RowName& name, const Lintu::IpGenAddr& addr) {
  Lintu::IpGenAddr::TextBuffer buffer;
  appendTo(name, addr.text(buffer));
}

struct IcmpTable {
  using StatsKey = ConnectivityMonitor::IcmpStatsKey;
  using Stats = ConnectivityMonitor::IcmpStats;
  using StatsMap = ConnectivityMonitor::HostStatus::IcmpStatsMap;
  using Info = IcmpStatsInfo;
  using InfoSet = IcmpStatsInfoSet;
  using Row = IcmpProbeEntry;
  /// A row as the pipeline hands it on: its key, then the arguments of ...TableIs in order.
  using RowValue = std::tuple<Snmp::String, Stats, Pomel::String, Pomel::String, Snmp::InetAddress,
                              std::uint32_t>;

  static constexpr std::string_view kLower = "icmp";
  static constexpr std::string_view kTitle = "Icmp";
  static constexpr unsigned kFirstChildSm = 0;
  static constexpr auto kStatsMap = &ConnectivityMonitor::HostStatus::icmpStats;
  static constexpr auto kRows = &ConnectivityMonitorMib::icmpTable;
  static constexpr auto kRowIs = &ConnectivityMonitorMib::icmpTableIs;
  static constexpr void (ConnectivityMonitorMib::*kRowDel)(const Snmp::String&) =
      &ConnectivityMonitorMib::icmpTableDel;
  static constexpr auto kInfoIs = &IcmpStatsInfoSet::icmpStatsInfoSetIs;
  static constexpr auto kInfoDel = &IcmpStatsInfoSet::icmpStatsInfoSetDel;
  /// Whether a VRF without a MIB object is an error of the caller's rather than a filtered event.
  static constexpr bool kMissingMibThrows = true;

  /// The part of the row's name between host and ifIndex.
  static void appendProbe(RowName& name, const StatsKey& key) { appendTo(name, key.ipAddr); }
  static RowValue rowValue(const Snmp::String& index, const Stats& stats,
                           const Pomel::String& client, const Pomel::String& host,
                           const StatsKey& key, std::uint32_t ifIndex) {
    return {index, stats, client, host, Snmp::InetAddress::fromIpGenAddr(key.ipAddr), ifIndex};
  }
};

struct HttpTable {
  using StatsKey = ConnectivityMonitor::HttpStatsKey;
  using Stats = ConnectivityMonitor::HttpStats;
  using StatsMap = ConnectivityMonitor::HostStatus::HttpStatsMap;
  using Info = HttpStatsInfo;
  using InfoSet = HttpStatsInfoSet;
  using Row = HttpProbeEntry;
  using RowValue =
      std::tuple<Snmp::String, Stats, Pomel::String, Pomel::String, Pomel::String, std::uint32_t>;

  static constexpr std::string_view kLower = "http";
  static constexpr std::string_view kTitle = "Http";
  static constexpr unsigned kFirstChildSm = 4;
  static constexpr auto kStatsMap = &ConnectivityMonitor::HostStatus::httpStats;
  static constexpr auto kRows = &ConnectivityMonitorMib::httpTable;
  static constexpr auto kRowIs = &ConnectivityMonitorMib::httpTableIs;
  static constexpr void (ConnectivityMonitorMib::*kRowDel)(const Snmp::String&) =
      &ConnectivityMonitorMib::httpTableDel;
  static constexpr auto kInfoIs = &HttpStatsInfoSet::httpStatsInfoSetIs;
  static constexpr auto kInfoDel = &HttpStatsInfoSet::httpStatsInfoSetDel;
  static constexpr bool kMissingMibThrows = false;

  static void appendProbe(RowName& name, const StatsKey& key) { appendTo(name, key.url); }
  static RowValue rowValue(const Snmp::String& index, const Stats& stats,
                           const Pomel::String& client, const Pomel::String& host,
                           const StatsKey& key, std::uint32_t ifIndex) {
    return {index, stats, client, host, key.url, ifIndex};
  }
};

struct TcpTable {
  using StatsKey = ConnectivityMonitor::TcpStatsKey;
  using Stats = ConnectivityMonitor::TcpStats;
  using StatsMap = ConnectivityMonitor::HostStatus::TcpStatsMap;
  using Info = TcpStatsInfo;
  using InfoSet = TcpStatsInfoSet;
  using Row = TcpProbeEntry;
  using RowValue = std::tuple<Snmp::String, Stats, Pomel::String, Pomel::String, Snmp::InetAddress,
                              std::uint32_t, std::uint32_t>;

  static constexpr std::string_view kLower = "tcp";
  static constexpr std::string_view kTitle = "Tcp";
  static constexpr unsigned kFirstChildSm = 8;
  static constexpr auto kStatsMap = &ConnectivityMonitor::HostStatus::tcpStats;
  static constexpr auto kRows = &ConnectivityMonitorMib::tcpTable;
  static constexpr auto kRowIs = &ConnectivityMonitorMib::tcpTableIs;
  static constexpr void (ConnectivityMonitorMib::*kRowDel)(const Snmp::String&) =
      &ConnectivityMonitorMib::tcpTableDel;
  static constexpr auto kInfoIs = &TcpStatsInfoSet::tcpStatsInfoSetIs;
  static constexpr auto kInfoDel = &TcpStatsInfoSet::tcpStatsInfoSetDel;
  static constexpr bool kMissingMibThrows = false;

  static void appendProbe(RowName& name, const StatsKey& key) {
    appendTo(name, key.ipAddr);
    appendTo(name, std::uint32_t{key.port});
  }
  static RowValue rowValue(const Snmp::String& index, const Stats& stats,
                           const Pomel::String& client, const Pomel::String& host,
                           const StatsKey& key, std::uint32_t ifIndex) {
    return {index,   stats,   client, host, Snmp::InetAddress::fromIpGenAddr(key.ipAddr),
            ifIndex, key.port};
  }
};

}  // namespace ConnectivityMonitorSnmp
