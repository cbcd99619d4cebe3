#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"

/// The exact names of the ICMP table: its state machine, children and members, one forward
/// each to the one implementation. Nothing is decided here.

namespace ConnectivityMonitorSnmp {

class ConnectivityMonitorSnmpIcmpTableSm;

namespace PlyxCode::ConnectivityMonitorSnmpIcmpTableSm {

class IfMibSm0 final : public IfMibSm<IcmpTable> {
 public:
  using IfMibSm::IfMibSm;
};

class ClientDirSm1 final : public ClientDirSm<IcmpTable> {
 public:
  using ClientDirSm::ClientDirSm;
};

class EntityPtrSm2 final : public EntityPtrSm<IcmpTable> {
 public:
  using EntityPtrSm::EntityPtrSm;
};

class HostStatusSm3 final : public HostStatusSm<IcmpTable> {
 public:
  using HostStatusSm::HostStatusSm;
  void handleIcmpStats1(const Key& icmpStatsKey) { handleStats1(icmpStatsKey); }
  void handleIcmpStats1Reactor(const Key& icmpStatsKey) { handleStats1Reactor(icmpStatsKey); }
  [[nodiscard]] std::uint32_t versionIcmpStats() const { return versionStats(); }
};

class InputSmScanState final : public ::ConnectivityMonitorSnmp::InputSmScanState<IcmpTable> {
 public:
  [[nodiscard]] bool icmpStreamScan() const { return streamScan(); }
  [[nodiscard]] bool ifMibIcmpStreamScan() const { return ifMibStreamScan(); }
};

class OutputState final : public ::ConnectivityMonitorSnmp::OutputState<IcmpTable> {
 public:
  [[nodiscard]] bool intfToIcmpStatsBacklogIcmpStatsInfoSetOutputReady() const {
    return backlogReady();
  }
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReady() const {
    return mibReady();
  }
  [[nodiscard]] bool vrfRefCountVrfRefCountOutputReady() const { return vrfReady(); }
};

class LocalAttrStore final : public ::ConnectivityMonitorSnmp::LocalAttrStore<IcmpTable> {
 public:
  [[nodiscard]] const Backlog& intfToIcmpStatsBacklog() const { return intfToStatsBacklog(); }
};

using ConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputCollType = SeenRows<IcmpTable>;
using ConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputKeyType =
    SeenRows<IcmpTable>::KeyType;
using VrfRefCountVrfRefCountOutputKeyType = TableSm<IcmpTable>::VrfKey;

}  // namespace PlyxCode::ConnectivityMonitorSnmpIcmpTableSm

class ConnectivityMonitorSnmpIcmpTableSm final : public TableSm<IcmpTable> {
 public:
  using Ptr = Qiv::Ptr<ConnectivityMonitorSnmpIcmpTableSm>;
  using TableSm::TableSm;

  // Pipeline.
  void eventToIcmpStream(const Pomel::String& client, const HostKey& hostKey,
                         const StatsKey& icmpStatsKey) {
    eventToStream(client, hostKey, icmpStatsKey);
  }
  void eventToIfMibIcmpStream(const Lintu::IntfId& intfId,
                              Qiv::Optional<std::uint32_t> ifIndexOpt) {
    eventToIfMibStream(intfId, ifIndexOpt);
  }
  void eventToMaybeUpdateMibIcmpTable(const Pomel::String& client, const HostKey& hostKey,
                                      const StatsKey& icmpStatsKey, const Lintu::IntfId& intfId) {
    eventToMaybeUpdateMib(client, hostKey, icmpStatsKey, intfId);
  }

  // Output handlers and the tasks that call them again.
  void handleIntfToIcmpStatsBacklogIcmpStatsInfoSetOutputInputReady() {
    handleBacklogOutputInputReady();
  }
  void handleConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputInputReady() {
    handleMibOutputInputReady();
  }
  void handleVrfRefCountVrfRefCountOutputInputReady() { handleVrfOutputInputReady(); }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciliationTaskDispatch() {
    handleConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputInputReady();
  }
  void vrfRefCountVrfRefCountOutputReconciliationTaskDispatch() {
    handleVrfRefCountVrfRefCountOutputInputReady();
  }

  // Reconciliation of the rows.
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciling()
      const {
    return mibPass().reconciling;
  }
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputUseBookmark()
      const {
    return mibPass().useBookmark;
  }
  [[nodiscard]] const MibPtr&
  connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrBookmark() const {
    return mibPass().bookmark.mib;
  }
  [[nodiscard]] const Snmp::String&
  connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputBookmark() const {
    return mibPass().bookmark.key;
  }
  [[nodiscard]] const Ubo::Task::Ptr&
  connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciliationTask() const {
    return mibPass().task;
  }
  [[nodiscard]] const MibSeen&
  connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeen() const {
    return mibSeen();
  }
  Qiv::Ptr<Seen> connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeenIs(
      const MibPtr& mib) {
    return mibSeenIs(mib);
  }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeenDel(
      const MibPtr& mib) {
    mibSeenDel(mib);
  }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputPtrSeenDelAll() {
    mibSeenDelAll();
  }

  // Reconciliation of the VRF counts.
  [[nodiscard]] bool vrfRefCountVrfRefCountOutputReconciling() const {
    return vrfPass().reconciling;
  }
  [[nodiscard]] bool vrfRefCountVrfRefCountOutputUseBookmark() const {
    return vrfPass().useBookmark;
  }
  [[nodiscard]] const Pomel::String& vrfRefCountVrfRefCountOutputBookmark() const {
    return vrfPass().bookmark;
  }
  [[nodiscard]] const Ubo::Task::Ptr& vrfRefCountVrfRefCountOutputReconciliationTask() const {
    return vrfPass().task;
  }
  [[nodiscard]] const Qiv::HashSet<VrfKey>& vrfRefCountVrfRefCountOutputSeen() const {
    return vrfSeen();
  }
  void vrfRefCountVrfRefCountOutputSeenIs(const VrfKey& vrfName) { vrfSeenIs(vrfName); }
  void vrfRefCountVrfRefCountOutputSeenDel(const VrfKey& vrfName) { vrfSeenDel(vrfName); }
  void vrfRefCountVrfRefCountOutputSeenDelAll() { vrfSeenDelAll(); }

  // Children.
  void clientDirSm1Is() { clientDirSmIs(); }
  void ifMibSm0Is() { ifMibSmIs(); }
  [[nodiscard]] const Qiv::Ptr<ClientDirSm<IcmpTable>>& clientDirSm1() const {
    return clientDirSm();
  }
  [[nodiscard]] const Qiv::Ptr<IfMibSm<IcmpTable>>& ifMibSm0() const { return ifMibSm(); }
};

/// Makes and initializes a state machine. The four pointers are mandatory: a null one is fatal.
[[nodiscard]] ConnectivityMonitorSnmpIcmpTableSm::Ptr connectivityMonitorSnmpIcmpTableSmFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib,
    VrfRefCount::Ptr vrfRefCount, const Yex::SmControl& smControl);

template <>
struct Shells<IcmpTable> {
  using Sm = ConnectivityMonitorSnmpIcmpTableSm;
  using IfMibSm = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::IfMibSm0;
  using ClientDirSm = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::ClientDirSm1;
  using EntityPtrSm = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::EntityPtrSm2;
  using HostStatusSm = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::HostStatusSm3;
  using InputSmScanState = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::InputSmScanState;
  using OutputState = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::OutputState;
  using LocalAttrStore = PlyxCode::ConnectivityMonitorSnmpIcmpTableSm::LocalAttrStore;

  static constexpr auto kClientDirSmIs = &Sm::clientDirSm1Is;
  static constexpr auto kIfMibSmIs = &Sm::ifMibSm0Is;
  static constexpr auto kEventToStream = &Sm::eventToIcmpStream;
  static constexpr auto kEventToIfMibStream = &Sm::eventToIfMibIcmpStream;
  static constexpr auto kEventToMaybeUpdateMib = &Sm::eventToMaybeUpdateMibIcmpTable;
  static constexpr auto kBacklogOutputInputReady =
      &Sm::handleIntfToIcmpStatsBacklogIcmpStatsInfoSetOutputInputReady;
  static constexpr auto kMibOutputInputReady =
      &Sm::handleConnectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputInputReady;
  static constexpr auto kVrfOutputInputReady = &Sm::handleVrfRefCountVrfRefCountOutputInputReady;
  static constexpr auto kMibTaskDispatch =
      &Sm::
          connectivityMonitorSnmpConnectivityMonitorMibPtrIcmpTableOutputReconciliationTaskDispatch;
  static constexpr auto kVrfTaskDispatch =
      &Sm::vrfRefCountVrfRefCountOutputReconciliationTaskDispatch;
  static constexpr auto kHandleStats1 = &HostStatusSm::handleIcmpStats1;
  static constexpr auto kHandleStats1Reactor = &HostStatusSm::handleIcmpStats1Reactor;
};

}  // namespace ConnectivityMonitorSnmp
