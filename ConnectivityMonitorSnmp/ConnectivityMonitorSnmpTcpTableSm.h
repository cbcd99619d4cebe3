#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"

/// The exact names of the TCP table: its state machine, children and members, one forward
/// each to the one implementation. Nothing is decided here.

namespace ConnectivityMonitorSnmp {

class ConnectivityMonitorSnmpTcpTableSm;

namespace PlyxCode::ConnectivityMonitorSnmpTcpTableSm {

class IfMibSm8 final : public IfMibSm<TcpTable> {
 public:
  using IfMibSm::IfMibSm;
};

class ClientDirSm9 final : public ClientDirSm<TcpTable> {
 public:
  using ClientDirSm::ClientDirSm;
};

class EntityPtrSm10 final : public EntityPtrSm<TcpTable> {
 public:
  using EntityPtrSm::EntityPtrSm;
};

class HostStatusSm11 final : public HostStatusSm<TcpTable> {
 public:
  using HostStatusSm::HostStatusSm;
  void handleTcpStats1(const Key& tcpStatsKey) { handleStats1(tcpStatsKey); }
  void handleTcpStats1Reactor(const Key& tcpStatsKey) { handleStats1Reactor(tcpStatsKey); }
  [[nodiscard]] std::uint32_t versionTcpStats() const { return versionStats(); }
};

class InputSmScanState final : public ::ConnectivityMonitorSnmp::InputSmScanState<TcpTable> {
 public:
  [[nodiscard]] bool tcpStreamScan() const { return streamScan(); }
  [[nodiscard]] bool ifMibTcpStreamScan() const { return ifMibStreamScan(); }
};

class OutputState final : public ::ConnectivityMonitorSnmp::OutputState<TcpTable> {
 public:
  [[nodiscard]] bool intfToTcpStatsBacklogTcpStatsInfoSetOutputReady() const {
    return backlogReady();
  }
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReady() const {
    return mibReady();
  }
  [[nodiscard]] bool vrfRefCountVrfRefCountOutputReady() const { return vrfReady(); }
};

class LocalAttrStore final : public ::ConnectivityMonitorSnmp::LocalAttrStore<TcpTable> {
 public:
  [[nodiscard]] const Backlog& intfToTcpStatsBacklog() const { return intfToStatsBacklog(); }
};

using ConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputCollType = SeenRows<TcpTable>;
using ConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputKeyType =
    SeenRows<TcpTable>::KeyType;
using VrfRefCountVrfRefCountOutputKeyType = TableSm<TcpTable>::VrfKey;

}  // namespace PlyxCode::ConnectivityMonitorSnmpTcpTableSm

class ConnectivityMonitorSnmpTcpTableSm final : public TableSm<TcpTable> {
 public:
  using Ptr = Qiv::Ptr<ConnectivityMonitorSnmpTcpTableSm>;
  using TableSm::TableSm;

  // Pipeline.
  void eventToTcpStream(const Pomel::String& client, const HostKey& hostKey,
                        const StatsKey& tcpStatsKey) {
    eventToStream(client, hostKey, tcpStatsKey);
  }
  void eventToIfMibTcpStream(const Lintu::IntfId& intfId, Qiv::Optional<std::uint32_t> ifIndexOpt) {
    eventToIfMibStream(intfId, ifIndexOpt);
  }
  void eventToMaybeUpdateMibTcpTable(const Pomel::String& client, const HostKey& hostKey,
                                     const StatsKey& tcpStatsKey, const Lintu::IntfId& intfId) {
    eventToMaybeUpdateMib(client, hostKey, tcpStatsKey, intfId);
  }

  // Output handlers and the tasks that call them again.
  void handleIntfToTcpStatsBacklogTcpStatsInfoSetOutputInputReady() {
    handleBacklogOutputInputReady();
  }
  void handleConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputInputReady() {
    handleMibOutputInputReady();
  }
  void handleVrfRefCountVrfRefCountOutputInputReady() { handleVrfOutputInputReady(); }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciliationTaskDispatch() {
    handleConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputInputReady();
  }
  void vrfRefCountVrfRefCountOutputReconciliationTaskDispatch() {
    handleVrfRefCountVrfRefCountOutputInputReady();
  }

  // Reconciliation of the rows.
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciling()
      const {
    return mibPass().reconciling;
  }
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputUseBookmark()
      const {
    return mibPass().useBookmark;
  }
  [[nodiscard]] const MibPtr&
  connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrBookmark() const {
    return mibPass().bookmark.mib;
  }
  [[nodiscard]] const Snmp::String&
  connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputBookmark() const {
    return mibPass().bookmark.key;
  }
  [[nodiscard]] const Ubo::Task::Ptr&
  connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciliationTask() const {
    return mibPass().task;
  }
  [[nodiscard]] const MibSeen&
  connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeen() const {
    return mibSeen();
  }
  Qiv::Ptr<Seen> connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeenIs(
      const MibPtr& mib) {
    return mibSeenIs(mib);
  }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeenDel(const MibPtr& mib) {
    mibSeenDel(mib);
  }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputPtrSeenDelAll() {
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
  void clientDirSm9Is() { clientDirSmIs(); }
  void ifMibSm8Is() { ifMibSmIs(); }
  [[nodiscard]] const Qiv::Ptr<ClientDirSm<TcpTable>>& clientDirSm9() const {
    return clientDirSm();
  }
  [[nodiscard]] const Qiv::Ptr<IfMibSm<TcpTable>>& ifMibSm8() const { return ifMibSm(); }
};

/// Makes and initializes a state machine. The four pointers are mandatory: a null one is fatal.
[[nodiscard]] ConnectivityMonitorSnmpTcpTableSm::Ptr connectivityMonitorSnmpTcpTableSmFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib,
    VrfRefCount::Ptr vrfRefCount, const Yex::SmControl& smControl);

template <>
struct Shells<TcpTable> {
  using Sm = ConnectivityMonitorSnmpTcpTableSm;
  using IfMibSm = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::IfMibSm8;
  using ClientDirSm = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::ClientDirSm9;
  using EntityPtrSm = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::EntityPtrSm10;
  using HostStatusSm = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::HostStatusSm11;
  using InputSmScanState = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::InputSmScanState;
  using OutputState = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::OutputState;
  using LocalAttrStore = PlyxCode::ConnectivityMonitorSnmpTcpTableSm::LocalAttrStore;

  static constexpr auto kClientDirSmIs = &Sm::clientDirSm9Is;
  static constexpr auto kIfMibSmIs = &Sm::ifMibSm8Is;
  static constexpr auto kEventToStream = &Sm::eventToTcpStream;
  static constexpr auto kEventToIfMibStream = &Sm::eventToIfMibTcpStream;
  static constexpr auto kEventToMaybeUpdateMib = &Sm::eventToMaybeUpdateMibTcpTable;
  static constexpr auto kBacklogOutputInputReady =
      &Sm::handleIntfToTcpStatsBacklogTcpStatsInfoSetOutputInputReady;
  static constexpr auto kMibOutputInputReady =
      &Sm::handleConnectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputInputReady;
  static constexpr auto kVrfOutputInputReady = &Sm::handleVrfRefCountVrfRefCountOutputInputReady;
  static constexpr auto kMibTaskDispatch =
      &Sm::connectivityMonitorSnmpConnectivityMonitorMibPtrTcpTableOutputReconciliationTaskDispatch;
  static constexpr auto kVrfTaskDispatch =
      &Sm::vrfRefCountVrfRefCountOutputReconciliationTaskDispatch;
  static constexpr auto kHandleStats1 = &HostStatusSm::handleTcpStats1;
  static constexpr auto kHandleStats1Reactor = &HostStatusSm::handleTcpStats1Reactor;
};

}  // namespace ConnectivityMonitorSnmp
