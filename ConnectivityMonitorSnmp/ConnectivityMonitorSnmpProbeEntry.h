#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <tuple>

#include "ConnectivityMonitor/Stats.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpFloatRepr.h"
#include "Qiv/Entity.h"
#include "Qiv/OrderedMap.h"
#include "Snmp/InetAddress.h"
#include "Snmp/String.h"

namespace ConnectivityMonitorSnmp {

/// What the rows of the three tables have in common. A row never changes after construction; its
/// measurements are read from its copy of the status record.
template <class StatsRecord>
class ProbeEntry : public Qiv::Entity, public Qiv::OrderedMapHook {
 public:
  using Stats = StatsRecord;

  /// The row's key in its table, and its SNMP index.
  [[nodiscard]] const Snmp::String& indexShortName() const noexcept { return indexShortName_; }
  [[nodiscard]] const Snmp::String& key() const noexcept { return indexShortName_; }
  [[nodiscard]] const Pomel::String& client() const noexcept { return client_; }
  [[nodiscard]] const Pomel::String& host() const noexcept { return host_; }
  /// 0 when no interface is known.
  [[nodiscard]] std::uint32_t ifIndex() const noexcept { return ifIndex_; }

 protected:
  ProbeEntry(Snmp::String indexShortName, const Stats& stats, Pomel::String client,
             Pomel::String host, std::uint32_t ifIndex)
      : indexShortName_(std::move(indexShortName)),
        client_(std::move(client)),
        host_(std::move(host)),
        stats_(stats),
        ifIndex_(ifIndex) {}

  [[nodiscard]] const Stats& stats() const noexcept { return stats_; }
  [[nodiscard]] const std::uint32_t& ifIndexRef() const noexcept { return ifIndex_; }

 private:
  Snmp::String indexShortName_;
  Pomel::String client_;
  Pomel::String host_;
  Stats stats_;
  std::uint32_t ifIndex_;
};

/// One row of velmorIcmpProbeTable.
class IcmpProbeEntry final : public ProbeEntry<ConnectivityMonitor::IcmpStats> {
 public:
  using Ptr = Qiv::Ptr<IcmpProbeEntry>;
  static constexpr std::string_view kTypeName = "ConnectivityMonitorSnmp::IcmpProbeEntry";
  /// Names of arguments(), in their order.
  static constexpr std::array<std::string_view, 5> kArgumentNames = {"icmpStats", "client", "host",
                                                                     "ipAddr", "ifIndex"};

  IcmpProbeEntry(Snmp::String indexShortName, const ConnectivityMonitor::IcmpStats& icmpStats,
                 Pomel::String client, Pomel::String host, Snmp::InetAddress ipAddr,
                 std::uint32_t ifIndex);
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;
  /// All that the row was made of besides its key; two rows are equal when these are.
  [[nodiscard]] auto arguments() const {
    return std::tie(stats(), client(), host(), ipAddr_, ifIndexRef());
  }

  [[nodiscard]] const Snmp::InetAddress& ipAddr() const noexcept { return ipAddr_; }
  [[nodiscard]] std::uint32_t ipAddrType() const noexcept { return ipAddr_.type(); }
  [[nodiscard]] const Pomel::String& ipAddrBytes() const noexcept {
    return ipAddr_.octets().octets();
  }
  [[nodiscard]] const ConnectivityMonitor::IcmpStats& icmpStats() const noexcept { return stats(); }
  [[nodiscard]] float latency() const noexcept { return stats().latency; }
  [[nodiscard]] std::uint32_t latencyPrecision() const { return floatPrecision(latency()); }
  [[nodiscard]] std::int32_t latencyValue() const { return floatValue(latency()); }
  [[nodiscard]] float jitter() const noexcept { return stats().jitter; }
  [[nodiscard]] std::uint32_t jitterPrecision() const { return floatPrecision(jitter()); }
  [[nodiscard]] std::int32_t jitterValue() const { return floatValue(jitter()); }
  [[nodiscard]] std::uint8_t packetLoss() const noexcept { return stats().packetLoss; }

 private:
  Snmp::InetAddress ipAddr_;
};

/// One row of velmorHttpProbeTable.
class HttpProbeEntry final : public ProbeEntry<ConnectivityMonitor::HttpStats> {
 public:
  using Ptr = Qiv::Ptr<HttpProbeEntry>;
  static constexpr std::string_view kTypeName = "ConnectivityMonitorSnmp::HttpProbeEntry";
  static constexpr std::array<std::string_view, 5> kArgumentNames = {"httpStats", "client", "host",
                                                                     "url", "ifIndex"};

  HttpProbeEntry(Snmp::String indexShortName, const ConnectivityMonitor::HttpStats& httpStats,
                 Pomel::String client, Pomel::String host, Pomel::String url,
                 std::uint32_t ifIndex);
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;
  [[nodiscard]] auto arguments() const {
    return std::tie(stats(), client(), host(), url_, ifIndexRef());
  }

  [[nodiscard]] const Pomel::String& url() const noexcept { return url_; }
  [[nodiscard]] const ConnectivityMonitor::HttpStats& httpStats() const noexcept { return stats(); }
  [[nodiscard]] float responseTime() const noexcept { return stats().responseTime; }
  [[nodiscard]] std::uint32_t responseTimePrecision() const {
    return floatPrecision(responseTime());
  }
  [[nodiscard]] std::int32_t responseTimeValue() const { return floatValue(responseTime()); }

 private:
  Pomel::String url_;
};

/// One row of velmorTcpProbeTable.
class TcpProbeEntry final : public ProbeEntry<ConnectivityMonitor::TcpStats> {
 public:
  using Ptr = Qiv::Ptr<TcpProbeEntry>;
  static constexpr std::string_view kTypeName = "ConnectivityMonitorSnmp::TcpProbeEntry";
  static constexpr std::array<std::string_view, 6> kArgumentNames = {"tcpStats", "client",  "host",
                                                                     "ipAddr",   "ifIndex", "port"};

  TcpProbeEntry(Snmp::String indexShortName, const ConnectivityMonitor::TcpStats& tcpStats,
                Pomel::String client, Pomel::String host, Snmp::InetAddress ipAddr,
                std::uint32_t ifIndex, std::uint32_t port);
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;
  [[nodiscard]] auto arguments() const {
    return std::tie(stats(), client(), host(), ipAddr_, ifIndexRef(), port_);
  }

  [[nodiscard]] const Snmp::InetAddress& ipAddr() const noexcept { return ipAddr_; }
  [[nodiscard]] std::uint32_t ipAddrType() const noexcept { return ipAddr_.type(); }
  [[nodiscard]] const Pomel::String& ipAddrBytes() const noexcept {
    return ipAddr_.octets().octets();
  }
  [[nodiscard]] std::uint32_t port() const noexcept { return port_; }
  [[nodiscard]] const ConnectivityMonitor::TcpStats& tcpStats() const noexcept { return stats(); }
  [[nodiscard]] float latency() const noexcept { return stats().latency; }
  [[nodiscard]] std::uint32_t latencyPrecision() const { return floatPrecision(latency()); }
  [[nodiscard]] std::int32_t latencyValue() const { return floatValue(latency()); }

 private:
  Snmp::InetAddress ipAddr_;
  std::uint32_t port_;
};

/// The only makers of rows, besides the framework's ...Is forms: arguments as for the constructors.
template <class Row, class... Args>
[[nodiscard]] Qiv::Ptr<Row> probeEntryFactory(Args&&... args) {
  return Qiv::make<Row>(std::forward<Args>(args)...);
}
template <class... Args>
[[nodiscard]] IcmpProbeEntry::Ptr icmpProbeEntryFactory(Args&&... args) {
  return probeEntryFactory<IcmpProbeEntry>(std::forward<Args>(args)...);
}
template <class... Args>
[[nodiscard]] HttpProbeEntry::Ptr httpProbeEntryFactory(Args&&... args) {
  return probeEntryFactory<HttpProbeEntry>(std::forward<Args>(args)...);
}
template <class... Args>
[[nodiscard]] TcpProbeEntry::Ptr tcpProbeEntryFactory(Args&&... args) {
  return probeEntryFactory<TcpProbeEntry>(std::forward<Args>(args)...);
}
template <class... Args>
[[nodiscard]] IcmpProbeEntry::Ptr IcmpProbeEntryIs(Args&&... args) {
  return icmpProbeEntryFactory(std::forward<Args>(args)...);
}
template <class... Args>
[[nodiscard]] HttpProbeEntry::Ptr HttpProbeEntryIs(Args&&... args) {
  return httpProbeEntryFactory(std::forward<Args>(args)...);
}
template <class... Args>
[[nodiscard]] TcpProbeEntry::Ptr TcpProbeEntryIs(Args&&... args) {
  return tcpProbeEntryFactory(std::forward<Args>(args)...);
}

}  // namespace ConnectivityMonitorSnmp
