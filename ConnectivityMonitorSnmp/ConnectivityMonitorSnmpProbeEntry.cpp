#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpProbeEntry.h"

#include "Qiv/TypeRegistry.h"

namespace ConnectivityMonitorSnmp {

namespace {

using Qiv::attribute;
using Qiv::TypeInfo;

// Only a table makes rows: no factory by name.

const TypeInfo& icmpProbeEntryType() {
  using Row = IcmpProbeEntry;
  static const TypeInfo type{
      Row::kTypeName,
      nullptr,
      {attribute<&Row::indexShortName>("indexShortName"), attribute<&Row::client>("client"),
       attribute<&Row::host>("host"), attribute<&Row::ipAddr>("ipAddr"),
       attribute<&Row::ipAddrType>("ipAddrType"), attribute<&Row::ipAddrBytes>("ipAddrBytes"),
       attribute<&Row::ifIndex>("ifIndex"), attribute<&Row::icmpStats>("icmpStats"),
       attribute<&Row::latency>("latency"), attribute<&Row::latencyPrecision>("latencyPrecision"),
       attribute<&Row::latencyValue>("latencyValue"), attribute<&Row::jitter>("jitter"),
       attribute<&Row::jitterPrecision>("jitterPrecision"),
       attribute<&Row::jitterValue>("jitterValue"), attribute<&Row::packetLoss>("packetLoss")}};
  return type;
}

const TypeInfo& httpProbeEntryType() {
  using Row = HttpProbeEntry;
  static const TypeInfo type{
      Row::kTypeName,
      nullptr,
      {attribute<&Row::indexShortName>("indexShortName"), attribute<&Row::client>("client"),
       attribute<&Row::host>("host"), attribute<&Row::url>("url"),
       attribute<&Row::ifIndex>("ifIndex"), attribute<&Row::httpStats>("httpStats"),
       attribute<&Row::responseTime>("responseTime"),
       attribute<&Row::responseTimePrecision>("responseTimePrecision"),
       attribute<&Row::responseTimeValue>("responseTimeValue")}};
  return type;
}

const TypeInfo& tcpProbeEntryType() {
  using Row = TcpProbeEntry;
  static const TypeInfo type{
      Row::kTypeName,
      nullptr,
      {attribute<&Row::indexShortName>("indexShortName"), attribute<&Row::client>("client"),
       attribute<&Row::host>("host"), attribute<&Row::ipAddr>("ipAddr"),
       attribute<&Row::ipAddrType>("ipAddrType"), attribute<&Row::ipAddrBytes>("ipAddrBytes"),
       attribute<&Row::ifIndex>("ifIndex"), attribute<&Row::port>("port"),
       attribute<&Row::tcpStats>("tcpStats"), attribute<&Row::latency>("latency"),
       attribute<&Row::latencyPrecision>("latencyPrecision"),
       attribute<&Row::latencyValue>("latencyValue")}};
  return type;
}

const Qiv::TypeRegistration icmpRegistration{icmpProbeEntryType()};
const Qiv::TypeRegistration httpRegistration{httpProbeEntryType()};
const Qiv::TypeRegistration tcpRegistration{tcpProbeEntryType()};

}  // namespace

IcmpProbeEntry::IcmpProbeEntry(Snmp::String indexShortName,
                               const ConnectivityMonitor::IcmpStats& icmpStats,
                               Pomel::String client, Pomel::String host, Snmp::InetAddress ipAddr,
                               std::uint32_t ifIndex)
    : ProbeEntry(std::move(indexShortName), icmpStats, std::move(client), std::move(host), ifIndex),
      ipAddr_(std::move(ipAddr)) {}

HttpProbeEntry::HttpProbeEntry(Snmp::String indexShortName,
                               const ConnectivityMonitor::HttpStats& httpStats,
                               Pomel::String client, Pomel::String host, Pomel::String url,
                               std::uint32_t ifIndex)
    : ProbeEntry(std::move(indexShortName), httpStats, std::move(client), std::move(host), ifIndex),
      url_(std::move(url)) {}

TcpProbeEntry::TcpProbeEntry(Snmp::String indexShortName,
                             const ConnectivityMonitor::TcpStats& tcpStats, Pomel::String client,
                             Pomel::String host, Snmp::InetAddress ipAddr, std::uint32_t ifIndex,
                             std::uint32_t port)
    : ProbeEntry(std::move(indexShortName), tcpStats, std::move(client), std::move(host), ifIndex),
      ipAddr_(std::move(ipAddr)),
      port_(port) {}

const TypeInfo& IcmpProbeEntry::typeInfo() const { return icmpProbeEntryType(); }
const TypeInfo& HttpProbeEntry::typeInfo() const { return httpProbeEntryType(); }
const TypeInfo& TcpProbeEntry::typeInfo() const { return tcpProbeEntryType(); }

}  // namespace ConnectivityMonitorSnmp
