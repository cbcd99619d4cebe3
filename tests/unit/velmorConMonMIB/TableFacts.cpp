#include "TableFacts.h"

namespace TableFacts {

namespace {

const std::string kAddress("\xc0\0\2\x0a", 4);

ColumnFact text(unsigned number, std::string name, std::string field, std::string octets) {
  return {number, std::move(name), std::move(field), "StringToAsnOctetString", std::move(octets)};
}
ColumnFact address(unsigned number, std::string name) {
  return {number, std::move(name), "ipAddrBytes", "SnmpBytesToAsnOctetString", kAddress};
}
ColumnFact u32(unsigned number, std::string name, std::string field, long value) {
  return {number, std::move(name), std::move(field), "U32ToAsnUnsigned", {}, value};
}
ColumnFact s32(unsigned number, std::string name, std::string field, long value) {
  return {number, std::move(name), std::move(field), "S32ToAsnInteger", {}, value};
}

}  // namespace

void Icmp::put(ConnectivityMonitorMib& mib, std::string_view key, const RowValues& row) {
  ConnectivityMonitor::IcmpStats stats;
  stats.latency = row.time;
  stats.jitter = row.jitter;
  stats.packetLoss = row.packetLoss;
  mib.icmpTableIs(key, stats, row.client, row.host, row.address, row.ifIndex);
}

void Http::put(ConnectivityMonitorMib& mib, std::string_view key, const RowValues& row) {
  ConnectivityMonitor::HttpStats stats;
  stats.responseTime = row.time;
  mib.httpTableIs(key, stats, row.client, row.host, row.url, row.ifIndex);
}

void Tcp::put(ConnectivityMonitorMib& mib, std::string_view key, const RowValues& row) {
  ConnectivityMonitor::TcpStats stats;
  stats.latency = row.time;
  mib.tcpTableIs(key, stats, row.client, row.host, row.address, row.ifIndex, row.port);
}

std::vector<ColumnFact> Icmp::columns() {
  return {text(2, "velmorIcmpProbeClient", "client", "lab"),
          text(3, "velmorIcmpProbeHost", "host", "web1"),
          u32(4, "velmorIcmpProbeIpAddrType", "ipAddrType", 1),
          address(5, "velmorIcmpProbeIpAddr"),
          u32(6, "velmorIcmpProbeIfIndex", "ifIndex", 7),
          u32(7, "velmorIcmpProbeLatencyPrecision", "latencyPrecision", 3),
          s32(8, "velmorIcmpProbeLatencyValue", "latencyValue", 12345),
          u32(9, "velmorIcmpProbeJitterPrecision", "jitterPrecision", 2),
          s32(10, "velmorIcmpProbeJitterValue", "jitterValue", 5),
          u32(11, "velmorIcmpProbePacketLoss", "packetLoss", 25)};
}

std::vector<ColumnFact> Http::columns() {
  return {text(2, "velmorHttpProbeClient", "client", "lab"),
          text(3, "velmorHttpProbeHost", "host", "web1"),
          text(4, "velmorHttpProbeUrl", "url", "http://192.0.2.10/"),
          u32(5, "velmorHttpProbeIfIndex", "ifIndex", 7),
          u32(6, "velmorHttpProbeResponseTimePrec", "responseTimePrecision", 3),
          s32(7, "velmorHttpProbeResponseTimeValue", "responseTimeValue", 12345)};
}

std::vector<ColumnFact> Tcp::columns() {
  return {text(2, "velmorTcpProbeClient", "client", "lab"),
          text(3, "velmorTcpProbeHost", "host", "web1"),
          s32(4, "velmorTcpProbeIpAddrType", "ipAddrType", 1),
          address(5, "velmorTcpProbeIpAddr"),
          u32(6, "velmorTcpProbePort", "port", 443),
          u32(7, "velmorTcpProbeIfIndex", "ifIndex", 7),
          u32(8, "velmorTcpProbeLatencyPrecision", "latencyPrecision", 3),
          s32(9, "velmorTcpProbeLatencyValue", "latencyValue", 12345)};
}

}  // namespace TableFacts
