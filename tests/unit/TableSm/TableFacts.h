#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSm.h"

/// What a typed test needs to know of each table. Written out from the tables' definition rather
/// than taken from the state machines' traits, so that a mistake there shows.
template <class Table>
struct TableFacts;

/// The address of the n-th probe: 10.0.0.n.
inline Lintu::IpGenAddr probeAddress(unsigned n) {
  return Lintu::IpGenAddr::ipv4({10, 0, 0, static_cast<std::uint8_t>(n)});
}

template <>
struct TableFacts<ConnectivityMonitorSnmp::IcmpTable> {
  using Sm = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpIcmpTableSm;
  using Key = ConnectivityMonitor::IcmpStatsKey;
  using Stats = ConnectivityMonitor::IcmpStats;
  using Info = ConnectivityMonitorSnmp::IcmpStatsInfo;
  static constexpr std::string_view kLower = "icmp";
  static constexpr std::string_view kTitle = "Icmp";
  static constexpr unsigned kFirstChild = 0;
  static constexpr bool kMissingMibThrows = true;
  static constexpr auto kFactory =
      &ConnectivityMonitorSnmp::connectivityMonitorSnmpIcmpTableSmFactory;
  static constexpr auto kEventToStream = &Sm::eventToIcmpStream;
  static constexpr auto kEventToIfMibStream = &Sm::eventToIfMibIcmpStream;
  static constexpr auto kEventToMaybeUpdateMib = &Sm::eventToMaybeUpdateMibIcmpTable;
  static constexpr auto kStatsMap = &ConnectivityMonitor::HostStatus::icmpStats;
  static constexpr auto kStatsIs = &ConnectivityMonitor::HostStatus::icmpStatsIs;
  static constexpr auto kStatsDel = &ConnectivityMonitor::HostStatus::icmpStatsDel;
  static constexpr auto kRows = &ConnectivityMonitorSnmp::ConnectivityMonitorMib::icmpTable;
  static constexpr auto kRowsDelAll =
      &ConnectivityMonitorSnmp::ConnectivityMonitorMib::icmpTableDelAll;

  static Key key(std::string_view intf, unsigned n) { return {intf, probeAddress(n)}; }
  static Stats stats(const Key& key, float time) {
    Stats stats;
    stats.key = key;
    stats.latency = time;
    return stats;
  }
  static float& time(Stats& stats) { return stats.latency; }
  static std::string rowName(std::string_view client, std::string_view host, const Key& key,
                             std::uint32_t ifIndex) {
    return std::string(client) + std::string(host) + key.ipAddr.stringValue() +
           std::to_string(ifIndex);
  }
  static auto& rowStats(const auto& row) { return row.icmpStats(); }
};

template <>
struct TableFacts<ConnectivityMonitorSnmp::HttpTable> {
  using Sm = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpHttpTableSm;
  using Key = ConnectivityMonitor::HttpStatsKey;
  using Stats = ConnectivityMonitor::HttpStats;
  using Info = ConnectivityMonitorSnmp::HttpStatsInfo;
  static constexpr std::string_view kLower = "http";
  static constexpr std::string_view kTitle = "Http";
  static constexpr unsigned kFirstChild = 4;
  static constexpr bool kMissingMibThrows = false;
  static constexpr auto kFactory =
      &ConnectivityMonitorSnmp::connectivityMonitorSnmpHttpTableSmFactory;
  static constexpr auto kEventToStream = &Sm::eventToHttpStream;
  static constexpr auto kEventToIfMibStream = &Sm::eventToIfMibHttpStream;
  static constexpr auto kEventToMaybeUpdateMib = &Sm::eventToMaybeUpdateMibHttpTable;
  static constexpr auto kStatsMap = &ConnectivityMonitor::HostStatus::httpStats;
  static constexpr auto kStatsIs = &ConnectivityMonitor::HostStatus::httpStatsIs;
  static constexpr auto kStatsDel = &ConnectivityMonitor::HostStatus::httpStatsDel;
  static constexpr auto kRows = &ConnectivityMonitorSnmp::ConnectivityMonitorMib::httpTable;
  static constexpr auto kRowsDelAll =
      &ConnectivityMonitorSnmp::ConnectivityMonitorMib::httpTableDelAll;

  static Key key(std::string_view intf, unsigned n) {
    return {intf, "http://10.0.0." + std::to_string(n) + "/"};
  }
  static Stats stats(const Key& key, float time) {
    Stats stats;
    stats.key = key;
    stats.responseTime = time;
    return stats;
  }
  static float& time(Stats& stats) { return stats.responseTime; }
  static std::string rowName(std::string_view client, std::string_view host, const Key& key,
                             std::uint32_t ifIndex) {
    return std::string(client) + std::string(host) + key.url.stdString() + std::to_string(ifIndex);
  }
  static auto& rowStats(const auto& row) { return row.httpStats(); }
};

template <>
struct TableFacts<ConnectivityMonitorSnmp::TcpTable> {
  using Sm = ConnectivityMonitorSnmp::ConnectivityMonitorSnmpTcpTableSm;
  using Key = ConnectivityMonitor::TcpStatsKey;
  using Stats = ConnectivityMonitor::TcpStats;
  using Info = ConnectivityMonitorSnmp::TcpStatsInfo;
  static constexpr std::string_view kLower = "tcp";
  static constexpr std::string_view kTitle = "Tcp";
  static constexpr unsigned kFirstChild = 8;
  static constexpr bool kMissingMibThrows = false;
  static constexpr auto kFactory =
      &ConnectivityMonitorSnmp::connectivityMonitorSnmpTcpTableSmFactory;
  static constexpr auto kEventToStream = &Sm::eventToTcpStream;
  static constexpr auto kEventToIfMibStream = &Sm::eventToIfMibTcpStream;
  static constexpr auto kEventToMaybeUpdateMib = &Sm::eventToMaybeUpdateMibTcpTable;
  static constexpr auto kStatsMap = &ConnectivityMonitor::HostStatus::tcpStats;
  static constexpr auto kStatsIs = &ConnectivityMonitor::HostStatus::tcpStatsIs;
  static constexpr auto kStatsDel = &ConnectivityMonitor::HostStatus::tcpStatsDel;
  static constexpr auto kRows = &ConnectivityMonitorSnmp::ConnectivityMonitorMib::tcpTable;
  static constexpr auto kRowsDelAll =
      &ConnectivityMonitorSnmp::ConnectivityMonitorMib::tcpTableDelAll;

  static Key key(std::string_view intf, unsigned n) {
    return {intf, static_cast<std::uint16_t>(8000 + n), probeAddress(n)};
  }
  static Stats stats(const Key& key, float time) {
    Stats stats;
    stats.key = key;
    stats.latency = time;
    return stats;
  }
  static float& time(Stats& stats) { return stats.latency; }
  static std::string rowName(std::string_view client, std::string_view host, const Key& key,
                             std::uint32_t ifIndex) {
    return std::string(client) + std::string(host) + key.ipAddr.stringValue() +
           std::to_string(key.port) + std::to_string(ifIndex);
  }
  static auto& rowStats(const auto& row) { return row.tcpStats(); }
};

using AllTables =
    testing::Types<ConnectivityMonitorSnmp::IcmpTable, ConnectivityMonitorSnmp::HttpTable,
                   ConnectivityMonitorSnmp::TcpTable>;

/// Names the typed tests by table.
struct TableNames {
  template <class Table>
  static std::string GetName(int /*at*/) {
    return std::string(TableFacts<Table>::kTitle);
  }
};
