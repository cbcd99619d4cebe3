#include "agent/store/StoreFeed.h"

#include <cmath>

namespace Agent {

namespace {

using ConnectivityMonitor::HostNameVrfKey;
using ConnectivityMonitor::HostStatus;
using ConnectivityMonitor::HttpStats;
using ConnectivityMonitor::HttpStatsKey;
using ConnectivityMonitor::IcmpStats;
using ConnectivityMonitor::IcmpStatsKey;
using ConnectivityMonitor::StatusDir;
using ConnectivityMonitor::TcpStats;
using ConnectivityMonitor::TcpStatsKey;

HostNameVrfKey hostKeyOf(const ProbeKey& key) { return {key.at.host, key.at.vrf}; }

IcmpStatsKey statsKeyOf(const Pomel::String& interface, const IcmpTarget& target) {
  return {interface, target.address};
}
HttpStatsKey statsKeyOf(const Pomel::String& interface, const HttpTarget& target) {
  return {interface, target.url};
}
TcpStatsKey statsKeyOf(const Pomel::String& interface, const TcpTarget& target) {
  return {interface, target.port, target.address};
}

// Measurements to a record and back.

IcmpStats statsOf(IcmpStatsKey key, const Measurements& measured) {
  IcmpStats stats;
  stats.key = std::move(key);
  stats.result = measured.result;
  stats.latency = measured.latency;
  stats.jitter = measured.jitter;
  stats.lossRatio = measured.packetLoss;
  stats.packetLoss = static_cast<std::uint8_t>(std::lround(measured.packetLoss));
  return stats;
}
HttpStats statsOf(HttpStatsKey key, const Measurements& measured) {
  HttpStats stats;
  stats.key = std::move(key);
  stats.result = measured.result;
  stats.responseTime = measured.responseTime;
  stats.statusCode = measured.statusCode;
  return stats;
}
TcpStats statsOf(TcpStatsKey key, const Measurements& measured) {
  TcpStats stats;
  stats.key = std::move(key);
  stats.result = measured.result;
  stats.latency = measured.latency;
  stats.errorCode = measured.errorCode;
  return stats;
}

Measurements measuredOf(const IcmpStats& stats) {
  Measurements measured;
  measured.result = stats.result;
  measured.latency = stats.latency;
  measured.jitter = stats.jitter;
  measured.packetLoss = stats.lossRatio;
  return measured;
}
Measurements measuredOf(const HttpStats& stats) {
  Measurements measured;
  measured.result = stats.result;
  measured.responseTime = stats.responseTime;
  measured.statusCode = stats.statusCode;
  return measured;
}
Measurements measuredOf(const TcpStats& stats) {
  Measurements measured;
  measured.result = stats.result;
  measured.latency = stats.latency;
  measured.errorCode = stats.errorCode;
  return measured;
}

bool enter(HostStatus& host, const IcmpStats& stats) { return host.icmpStatsIs(stats); }
bool enter(HostStatus& host, const HttpStats& stats) { return host.httpStatsIs(stats); }
bool enter(HostStatus& host, const TcpStats& stats) { return host.tcpStatsIs(stats); }

void erase(HostStatus& host, const IcmpStatsKey& key) { host.icmpStatsDel(key); }
void erase(HostStatus& host, const HttpStatsKey& key) { host.httpStatsDel(key); }
void erase(HostStatus& host, const TcpStatsKey& key) { host.tcpStatsDel(key); }

const IcmpStats& find(const HostStatus& host, const IcmpStatsKey& key) {
  return *host.icmpStats().find(key);
}
const HttpStats& find(const HostStatus& host, const HttpStatsKey& key) {
  return *host.httpStats().find(key);
}
const TcpStats& find(const HostStatus& host, const TcpStatsKey& key) {
  return *host.tcpStats().find(key);
}

}  // namespace

void StoreFeed::ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex) {
  ifMib_->ifIndexByIntfIdIs(Lintu::IntfId(interface), ifIndex);
}

StatusDir::Ptr StoreFeed::statusDir(const Pomel::String& client) const {
  return Qiv::ptrCast<StatusDir>(clientDir_->entityPtr(client));
}

StatusDir::Ptr StoreFeed::statusDirIs(const Pomel::String& client) {
  StatusDir::Ptr status = statusDir(client);
  if (!status) {
    status = Qiv::make<StatusDir>(client);
    clientDir_->entityIs(client, status);
  }
  return status;
}

bool StoreFeed::recordIs(const Pomel::String& client, const ProbeKey& key,
                         const Measurements& measured) {
  const HostStatus::Ptr host = statusDirIs(client)->hostStatusIs(hostKeyOf(key));
  return std::visit(
      [&](const auto& target) {
        return enter(*host, statsOf(statsKeyOf(key.interface, target), measured));
      },
      key.target);
}

void StoreFeed::recordDel(const Pomel::String& client, const ProbeKey& key) {
  const StatusDir::Ptr status = statusDir(client);
  const HostNameVrfKey hostKey = hostKeyOf(key);
  const HostStatus::Ptr host = status->hostStatus(hostKey);
  std::visit([&](const auto& target) { erase(*host, statsKeyOf(key.interface, target)); },
             key.target);
  if (host->empty()) {
    status->hostStatusDel(hostKey);
  }
  if (status->hostStatus().empty()) {
    clientDir_->entityDel(client);
  }
}

Measurements StoreFeed::record(const Pomel::String& client, const ProbeKey& key) const {
  const HostStatus::Ptr host = statusDir(client)->hostStatus(hostKeyOf(key));
  return std::visit(
      [&](const auto& target) {
        return measuredOf(find(*host, statsKeyOf(key.interface, target)));
      },
      key.target);
}

}  // namespace Agent
