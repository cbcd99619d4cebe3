#pragma once

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"

/// The exact names of the HTTP table: its state machine, children and members, one forward
/// each to the one implementation. Nothing is decided here.

namespace ConnectivityMonitorSnmp {

class ConnectivityMonitorSnmpHttpTableSm;

namespace PlyxCode::ConnectivityMonitorSnmpHttpTableSm {

class IfMibSm4 final : public IfMibSm<HttpTable> {
 public:
  using IfMibSm::IfMibSm;
};

class ClientDirSm5 final : public ClientDirSm<HttpTable> {
 public:
  using ClientDirSm::ClientDirSm;
};

class EntityPtrSm6 final : public EntityPtrSm<HttpTable> {
 public:
  using EntityPtrSm::EntityPtrSm;
};

class HostStatusSm7 final : public HostStatusSm<HttpTable> {
 public:
  using HostStatusSm::HostStatusSm;
  void handleHttpStats1(const Key& httpStatsKey) { handleStats1(httpStatsKey); }
  void handleHttpStats1Reactor(const Key& httpStatsKey) { handleStats1Reactor(httpStatsKey); }
  [[nodiscard]] std::uint32_t versionHttpStats() const { return versionStats(); }
};

class InputSmScanState final : public ::ConnectivityMonitorSnmp::InputSmScanState<HttpTable> {
 public:
  [[nodiscard]] bool httpStreamScan() const { return streamScan(); }
  [[nodiscard]] bool ifMibHttpStreamScan() const { return ifMibStreamScan(); }
};

class OutputState final : public ::ConnectivityMonitorSnmp::OutputState<HttpTable> {
 public:
  [[nodiscard]] bool intfToHttpStatsBacklogHttpStatsInfoSetOutputReady() const {
    return backlogReady();
  }
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReady() const {
    return mibReady();
  }
  [[nodiscard]] bool vrfRefCountVrfRefCountOutputReady() const { return vrfReady(); }
};

class LocalAttrStore final : public ::ConnectivityMonitorSnmp::LocalAttrStore<HttpTable> {
 public:
  [[nodiscard]] const Backlog& intfToHttpStatsBacklog() const { return intfToStatsBacklog(); }
};

using ConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputCollType = SeenRows<HttpTable>;
using ConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputKeyType =
    SeenRows<HttpTable>::KeyType;
using VrfRefCountVrfRefCountOutputKeyType = TableSm<HttpTable>::VrfKey;

}  // namespace PlyxCode::ConnectivityMonitorSnmpHttpTableSm

class ConnectivityMonitorSnmpHttpTableSm final : public TableSm<HttpTable> {
 public:
  using Ptr = Qiv::Ptr<ConnectivityMonitorSnmpHttpTableSm>;
  using TableSm::TableSm;

  // Pipeline.
  void eventToHttpStream(const Pomel::String& client, const HostKey& hostKey,
                         const StatsKey& httpStatsKey) {
    eventToStream(client, hostKey, httpStatsKey);
  }
  void eventToIfMibHttpStream(const Lintu::IntfId& intfId,
                              Qiv::Optional<std::uint32_t> ifIndexOpt) {
    eventToIfMibStream(intfId, ifIndexOpt);
  }
  void eventToMaybeUpdateMibHttpTable(const Pomel::String& client, const HostKey& hostKey,
                                      const StatsKey& httpStatsKey, const Lintu::IntfId& intfId) {
    eventToMaybeUpdateMib(client, hostKey, httpStatsKey, intfId);
  }

  // Output handlers and the tasks that call them again.
  void handleIntfToHttpStatsBacklogHttpStatsInfoSetOutputInputReady() {
    handleBacklogOutputInputReady();
  }
  void handleConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputInputReady() {
    handleMibOutputInputReady();
  }
  void handleVrfRefCountVrfRefCountOutputInputReady() { handleVrfOutputInputReady(); }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciliationTaskDispatch() {
    handleConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputInputReady();
  }
  void vrfRefCountVrfRefCountOutputReconciliationTaskDispatch() {
    handleVrfRefCountVrfRefCountOutputInputReady();
  }

  // Reconciliation of the rows.
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciling()
      const {
    return mibPass().reconciling;
  }
  [[nodiscard]] bool connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputUseBookmark()
      const {
    return mibPass().useBookmark;
  }
  [[nodiscard]] const MibPtr&
  connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrBookmark() const {
    return mibPass().bookmark.mib;
  }
  [[nodiscard]] const Snmp::String&
  connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputBookmark() const {
    return mibPass().bookmark.key;
  }
  [[nodiscard]] const Ubo::Task::Ptr&
  connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciliationTask() const {
    return mibPass().task;
  }
  [[nodiscard]] const MibSeen&
  connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeen() const {
    return mibSeen();
  }
  Qiv::Ptr<Seen> connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeenIs(
      const MibPtr& mib) {
    return mibSeenIs(mib);
  }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeenDel(
      const MibPtr& mib) {
    mibSeenDel(mib);
  }
  void connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputPtrSeenDelAll() {
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
  void clientDirSm5Is() { clientDirSmIs(); }
  void ifMibSm4Is() { ifMibSmIs(); }
  [[nodiscard]] const Qiv::Ptr<ClientDirSm<HttpTable>>& clientDirSm5() const {
    return clientDirSm();
  }
  [[nodiscard]] const Qiv::Ptr<IfMibSm<HttpTable>>& ifMibSm4() const { return ifMibSm(); }
};

/// Makes and initializes a state machine. The four pointers are mandatory: a null one is fatal.
[[nodiscard]] ConnectivityMonitorSnmpHttpTableSm::Ptr connectivityMonitorSnmpHttpTableSmFactory(
    Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot, IntfSnmp::IfMib::PtrConst ifMib,
    VrfRefCount::Ptr vrfRefCount, const Yex::SmControl& smControl);

template <>
struct Shells<HttpTable> {
  using Sm = ConnectivityMonitorSnmpHttpTableSm;
  using IfMibSm = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::IfMibSm4;
  using ClientDirSm = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::ClientDirSm5;
  using EntityPtrSm = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::EntityPtrSm6;
  using HostStatusSm = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::HostStatusSm7;
  using InputSmScanState = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::InputSmScanState;
  using OutputState = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::OutputState;
  using LocalAttrStore = PlyxCode::ConnectivityMonitorSnmpHttpTableSm::LocalAttrStore;

  static constexpr auto kClientDirSmIs = &Sm::clientDirSm5Is;
  static constexpr auto kIfMibSmIs = &Sm::ifMibSm4Is;
  static constexpr auto kEventToStream = &Sm::eventToHttpStream;
  static constexpr auto kEventToIfMibStream = &Sm::eventToIfMibHttpStream;
  static constexpr auto kEventToMaybeUpdateMib = &Sm::eventToMaybeUpdateMibHttpTable;
  static constexpr auto kBacklogOutputInputReady =
      &Sm::handleIntfToHttpStatsBacklogHttpStatsInfoSetOutputInputReady;
  static constexpr auto kMibOutputInputReady =
      &Sm::handleConnectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputInputReady;
  static constexpr auto kVrfOutputInputReady = &Sm::handleVrfRefCountVrfRefCountOutputInputReady;
  static constexpr auto kMibTaskDispatch =
      &Sm::
          connectivityMonitorSnmpConnectivityMonitorMibPtrHttpTableOutputReconciliationTaskDispatch;
  static constexpr auto kVrfTaskDispatch =
      &Sm::vrfRefCountVrfRefCountOutputReconciliationTaskDispatch;
  static constexpr auto kHandleStats1 = &HostStatusSm::handleHttpStats1;
  static constexpr auto kHandleStats1Reactor = &HostStatusSm::handleHttpStats1Reactor;
};

}  // namespace ConnectivityMonitorSnmp
