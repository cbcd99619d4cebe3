#pragma once

#include <compare>
#include <cstdint>
#include <ostream>
#include <string_view>

#include "ConnectivityMonitor/Keys.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"
#include "Qiv/Dir.h"
#include "Qiv/HashMap.h"
#include "Qiv/HashSet.h"

namespace ConnectivityMonitorSnmp {

/// Names one probe's statistics entry: whose (client), of which host, and which probe of it.
/// Immutable but for assignment as a whole; ordered and compared field by field.
template <class StatsKey>
class StatsInfo {
 public:
  StatsInfo() = default;
  StatsInfo(Pomel::String client, ConnectivityMonitor::HostNameVrfKey hostKey, StatsKey statsKey)
      : client_(std::move(client)), hostKey_(std::move(hostKey)), statsKey_(std::move(statsKey)) {}
  /// Reads the text form back. Throws std::invalid_argument when it is none, Qiv::RangeError when
  /// the VRF's name is too long.
  explicit StatsInfo(std::string_view text);

  [[nodiscard]] const Pomel::String& client() const noexcept { return client_; }
  [[nodiscard]] const ConnectivityMonitor::HostNameVrfKey& hostKey() const noexcept {
    return hostKey_;
  }
  [[nodiscard]] const StatsKey& statsKey() const noexcept { return statsKey_; }

  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept {
    return Pomel::hashMix(Pomel::hashMix(client_.hash(seed), hostKey_.hash(0)), statsKey_.hash(0));
  }
  /// True when the value differs from the default-constructed one.
  explicit operator bool() const noexcept { return !(*this == StatsInfo()); }
  friend bool operator==(const StatsInfo& a, const StatsInfo& b) noexcept {
    return &a == &b ||
           (a.client_ == b.client_ && a.hostKey_ == b.hostKey_ && a.statsKey_ == b.statsKey_);
  }
  friend std::strong_ordering operator<=>(const StatsInfo&, const StatsInfo&) = default;

 private:
  Pomel::String client_;
  ConnectivityMonitor::HostNameVrfKey hostKey_;
  StatsKey statsKey_;
};

/// The text form: the fields in order (Qiv/FieldText.h).
template <class StatsKey>
std::ostream& operator<<(std::ostream& out, const StatsInfo<StatsKey>& info);

class IcmpStatsInfo final : public StatsInfo<ConnectivityMonitor::IcmpStatsKey> {
 public:
  using StatsInfo::StatsInfo;
  [[nodiscard]] const ConnectivityMonitor::IcmpStatsKey& icmpStatsKey() const { return statsKey(); }
};

class HttpStatsInfo final : public StatsInfo<ConnectivityMonitor::HttpStatsKey> {
 public:
  using StatsInfo::StatsInfo;
  [[nodiscard]] const ConnectivityMonitor::HttpStatsKey& httpStatsKey() const { return statsKey(); }
};

class TcpStatsInfo final : public StatsInfo<ConnectivityMonitor::TcpStatsKey> {
 public:
  using StatsInfo::StatsInfo;
  [[nodiscard]] const ConnectivityMonitor::TcpStatsKey& tcpStatsKey() const { return statsKey(); }
};

/// A counted, inspectable set of stats infos.
template <class Info>
class StatsInfoSet : public Qiv::Entity {
 public:
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;
  [[nodiscard]] const Qiv::HashSet<Info>& infos() const noexcept { return infos_; }

 protected:
  Qiv::HashSet<Info> infos_;
};

class IcmpStatsInfoSet final : public StatsInfoSet<IcmpStatsInfo> {
 public:
  [[nodiscard]] const Qiv::HashSet<IcmpStatsInfo>& icmpStatsInfoSet() const { return infos_; }
  void icmpStatsInfoSetIs(const IcmpStatsInfo& info) { infos_.insert(info); }
  void icmpStatsInfoSetDel(const IcmpStatsInfo& info) { infos_.erase(info); }
  void icmpStatsInfoSetDelAll() { infos_.clear(); }
};

class HttpStatsInfoSet final : public StatsInfoSet<HttpStatsInfo> {
 public:
  [[nodiscard]] const Qiv::HashSet<HttpStatsInfo>& httpStatsInfoSet() const { return infos_; }
  void httpStatsInfoSetIs(const HttpStatsInfo& info) { infos_.insert(info); }
  void httpStatsInfoSetDel(const HttpStatsInfo& info) { infos_.erase(info); }
  void httpStatsInfoSetDelAll() { infos_.clear(); }
};

class TcpStatsInfoSet final : public StatsInfoSet<TcpStatsInfo> {
 public:
  [[nodiscard]] const Qiv::HashSet<TcpStatsInfo>& tcpStatsInfoSet() const { return infos_; }
  void tcpStatsInfoSetIs(const TcpStatsInfo& info) { infos_.insert(info); }
  void tcpStatsInfoSetDel(const TcpStatsInfo& info) { infos_.erase(info); }
  void tcpStatsInfoSetDelAll() { infos_.clear(); }
};

/// How often each VRF was written to, by name. One object is shared by the three table state
/// machines; the rules of counting are theirs, any value is stored as it is.
class VrfRefCount final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<VrfRefCount>;
  using Counts = Qiv::HashMap<Pomel::String, std::uint32_t>;

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const Counts& vrfRefCount() const noexcept { return counts_; }
  /// The count of a VRF, 0 when it has none.
  [[nodiscard]] std::uint32_t vrfRefCount(const Pomel::String& vrfName) const;
  void vrfRefCountIs(const Pomel::String& vrfName, std::uint32_t count) {
    counts_.set(vrfName, count);
  }
  /// Returns the removed count, 0 when there was none.
  std::uint32_t vrfRefCountDel(const Pomel::String& vrfName);
  void vrfRefCountDelAll() { counts_.clear(); }

 private:
  Counts counts_;
};

[[nodiscard]] VrfRefCount::Ptr vrfRefCountFactory();

/// The VRF's object in `conMonMibRoot`. Where the VRF has none, makes it and registers the MIB
/// module in the SNMP context of the VRF's name. Null when something else bears the name.
ConnectivityMonitorMib::Ptr conMonMibForVrf(const Pomel::String& vrfName,
                                            const Qiv::Dir::Ptr& conMonMibRoot);

/// Takes the MIB module out of the VRF's context and deletes the VRF's object. The default VRF
/// keeps both for the life of the process; a VRF that has no object is left alone.
void cleanUpConMonMibForVrf(const Pomel::String& vrfName, const Qiv::Dir::Ptr& conMonMibRoot);

}  // namespace ConnectivityMonitorSnmp
