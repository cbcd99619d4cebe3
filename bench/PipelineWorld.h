#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ConnectivityMonitor/Status.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSm.h"
#include "Qiv/Dir.h"

namespace bench {

/// A state store of `count` ICMP probes, one per host, all of one client and of the default VRF,
/// with one state machine over it. The VRF's object is entered by hand, so nothing is registered
/// with an SNMP agent; the machine's notifications are off, so that records and events can be timed
/// apart.
class PipelineWorld {
 public:
  using Key = ConnectivityMonitor::IcmpStatsKey;
  using HostKey = ConnectivityMonitor::HostNameVrfKey;
  struct Probe {
    HostKey host;
    ConnectivityMonitor::IcmpStats stats;
  };

  explicit PipelineWorld(std::size_t count) {
    ifMib_->ifIndexByIntfIdIs(Lintu::IntfId("eth1"), 7);
    mib_ = ConnectivityMonitorSnmp::connectivityMonitorMibFactory("default");
    conMonMibRoot_->entityIs("default", mib_);
    clientDir_->entityIs(client_, statusDir_);
    probes_.reserve(count);
    for (std::size_t at = 0; at < count; ++at) {
      probes_.push_back(probe(at));
    }
    // Neither container is served in its own order.
    std::ranges::shuffle(probes_, std::mt19937_64(4711));
    Yex::SmControl control;
    control.mode = Yex::SmControl::Mode::kSynchronous;
    sm_ = ConnectivityMonitorSnmp::connectivityMonitorSnmpIcmpTableSmFactory(
        clientDir_, conMonMibRoot_, ifMib_, vrfRefCount_, control);
  }

  void notificationsAre(bool on) { sm_->hasNotificationActiveIs(on); }
  void writeRecords(float latency) {
    for (Probe& each : probes_) {
      each.stats.latency = latency;
      statusDir_->hostStatusIs(each.host)->icmpStatsIs(each.stats);
    }
  }
  void removeRecords() { statusDir_->hostStatusDelAll(); }
  void sendEvents() {
    for (const Probe& each : probes_) {
      sm_->eventToIcmpStream(client_, each.host, each.stats.key);
    }
  }
  /// The keys of the rows, in the order of the events.
  [[nodiscard]] std::vector<Snmp::String> rowKeys() const {
    std::vector<Snmp::String> keys;
    keys.reserve(probes_.size());
    for (const Probe& each : probes_) {
      const std::string name = client_.stdString() + each.host.hostName().stdString() +
                               each.stats.key.ipAddr.stringValue() + "7";
      keys.push_back(ConnectivityMonitorSnmp::ConnectivityMonitorMib::uniqueKey(name));
    }
    return keys;
  }
  [[nodiscard]] const std::vector<Probe>& probes() const { return probes_; }
  [[nodiscard]] std::size_t rows() const { return mib_->icmpTable().size(); }

  [[nodiscard]] const Qiv::Dir::Ptr& clientDir() const { return clientDir_; }
  [[nodiscard]] const Qiv::Dir::Ptr& conMonMibRoot() const { return conMonMibRoot_; }
  [[nodiscard]] const IntfSnmp::IfMib::Ptr& ifMib() const { return ifMib_; }
  [[nodiscard]] const ConnectivityMonitorSnmp::VrfRefCount::Ptr& vrfRefCount() const {
    return vrfRefCount_;
  }

 private:
  static Probe probe(std::size_t at) {
    const auto octet = [&](unsigned shift) { return static_cast<std::uint8_t>(at >> shift); };
    ConnectivityMonitor::IcmpStats stats;
    stats.key = {.intfName = "eth1",
                 .ipAddr = Lintu::IpGenAddr::ipv4({10, octet(16), octet(8), octet(0)})};
    stats.jitter = 0.25F;
    return {HostKey("host" + std::to_string(at), "default"), stats};
  }

  Pomel::String client_ = "bench";
  Qiv::Dir::Ptr clientDir_ = Qiv::make<Qiv::Dir>("clientDir");
  Qiv::Dir::Ptr conMonMibRoot_ = Qiv::make<Qiv::Dir>("conMonMib");
  ConnectivityMonitor::StatusDir::Ptr statusDir_ =
      Qiv::make<ConnectivityMonitor::StatusDir>(client_);
  IntfSnmp::IfMib::Ptr ifMib_ = Qiv::make<IntfSnmp::IfMib>();
  ConnectivityMonitorSnmp::VrfRefCount::Ptr vrfRefCount_ =
      ConnectivityMonitorSnmp::vrfRefCountFactory();
  ConnectivityMonitorSnmp::ConnectivityMonitorMib::Ptr mib_;
  std::vector<Probe> probes_;
  ConnectivityMonitorSnmp::ConnectivityMonitorSnmpIcmpTableSm::Ptr sm_;
};

}  // namespace bench
