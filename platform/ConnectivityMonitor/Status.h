#pragma once

#include "ConnectivityMonitor/Stats.h"
#include "Qiv/Entity.h"
#include "Qiv/HashMap.h"

namespace ConnectivityMonitor {

/// All results of one host in one VRF, by probe kind.
class HostStatus final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<HostStatus>;
  using PtrConst = Qiv::Ptr<const HostStatus>;
  using IcmpStatsMap = Qiv::HashMap<IcmpStatsKey, IcmpStats, Qiv::OwnKey>;
  using HttpStatsMap = Qiv::HashMap<HttpStatsKey, HttpStats, Qiv::OwnKey>;
  using TcpStatsMap = Qiv::HashMap<TcpStatsKey, TcpStats, Qiv::OwnKey>;

  explicit HostStatus(HostNameVrfKey key) : key_(std::move(key)) {}
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  /// The record's key in its directory.
  [[nodiscard]] const HostNameVrfKey& key() const noexcept { return key_; }
  [[nodiscard]] const IcmpStatsMap& icmpStats() const noexcept { return icmpStats_; }
  [[nodiscard]] const HttpStatsMap& httpStats() const noexcept { return httpStats_; }
  [[nodiscard]] const TcpStatsMap& tcpStats() const noexcept { return tcpStats_; }

  /// Enter a record under its own key, in place of the one there. True when that changed anything.
  bool icmpStatsIs(const IcmpStats& stats) { return icmpStats_.set(stats.key, stats); }
  bool httpStatsIs(const HttpStats& stats) { return httpStats_.set(stats.key, stats); }
  bool tcpStatsIs(const TcpStats& stats) { return tcpStats_.set(stats.key, stats); }
  /// Silent when absent.
  void icmpStatsDel(const IcmpStatsKey& key) { icmpStats_.erase(key); }
  void httpStatsDel(const HttpStatsKey& key) { httpStats_.erase(key); }
  void tcpStatsDel(const TcpStatsKey& key) { tcpStats_.erase(key); }

  [[nodiscard]] bool empty() const noexcept {
    return icmpStats_.empty() && httpStats_.empty() && tcpStats_.empty();
  }

 private:
  HostNameVrfKey key_;
  IcmpStatsMap icmpStats_;
  HttpStatsMap httpStats_;
  TcpStatsMap tcpStats_;
};

/// The hosts that one client of the connectivity monitor reports on.
class StatusDir final : public Qiv::NamedEntity {
 public:
  using Ptr = Qiv::Ptr<StatusDir>;
  using PtrConst = Qiv::Ptr<const StatusDir>;
  using HostStatusMap = Qiv::HashMap<HostNameVrfKey, HostStatus::Ptr>;

  explicit StatusDir(Pomel::String name) : NamedEntity(std::move(name)) {}
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const HostStatusMap& hostStatus() const noexcept { return hostStatus_; }
  [[nodiscard]] HostStatus::Ptr hostStatus(const HostNameVrfKey& key) const;
  /// The host's record, made if absent.
  HostStatus::Ptr hostStatusIs(const HostNameVrfKey& key);
  /// Silent when absent.
  void hostStatusDel(const HostNameVrfKey& key) { hostStatus_.erase(key); }
  void hostStatusDelAll() { hostStatus_.clear(); }

 private:
  HostStatusMap hostStatus_;
};

}  // namespace ConnectivityMonitor
