#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmInput.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmPrint.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmState.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmText.h"
#include "Trace/Trace.h"
#include "Yex/SmControl.h"

namespace ConnectivityMonitorSnmp {

/// Keeps one table of every VRF equal to the status records. All behaviour of the three table state
/// machines; the exactly named classes of ConnectivityMonitorSnmpTableSm.h forward to it.
///
/// Four concerns, a source file each:
///   Pipeline   one event: what a changed key means for rows, counts and backlog
///   Input      the child machines and their scans (ConnectivityMonitorSnmpTableSmInput.h)
///   Reconcile  the initial scan's two passes, and what is deleted after them
///   Lifecycle  construction, switching on and off, destruction
///
/// An event carries keys only; what it means is read from the inputs as they are. Rows and counts
/// have no other writer than the three machines, and outlive them.
///
/// Whatever publishes may lead to the release of this object: such members hold a reference to it
/// for as long as they run.
template <class Table>
class TableSm : public Qiv::Entity {
 public:
  using StatsKey = typename Table::StatsKey;
  using HostKey = ConnectivityMonitor::HostNameVrfKey;
  using MibPtr = ConnectivityMonitorMib::Ptr;
  using Seen = SeenRows<Table>;
  using MibSeen = Qiv::HashMap<MibPtr, Qiv::Ptr<Seen>>;
  using VrfKey = OutputKey<Pomel::String, Table>;
  struct RowBookmark {
    MibPtr mib;
    Snmp::String key;
  };

  /// The first stage of construction; use the factory of the exactly named class.
  TableSm(Qiv::Dir::PtrConst clientDir, Qiv::Dir::Ptr conMonMibRoot,
          IntfSnmp::IfMib::PtrConst ifMib, VrfRefCount::Ptr vrfRefCount, Yex::SmControl control);
  ~TableSm() override;
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  // Lifecycle.
  /// The second stage of construction, once the object is held by a counted pointer.
  void handleInitialized();
  void hasNotificationActiveIs(bool active);
  /// All three outputs are reconciled.
  [[nodiscard]] bool ready() const { return outputState_ && outputState_->ready(); }
  [[nodiscard]] bool idle() const;
  [[nodiscard]] bool synchronous() const noexcept { return synchronous_; }
  [[nodiscard]] bool initialScanDone() const noexcept { return initialScanDone_; }
  [[nodiscard]] const Ubo::Scheduler::Ptr& taskScheduler() const noexcept {
    return control_.taskScheduler;
  }
  [[nodiscard]] int taskPriority() const noexcept { return control_.taskPriority; }
  [[nodiscard]] const Qiv::Ptr<InputSmScanState<Table>>& inputSmScanState() const noexcept {
    return scanState_;
  }
  [[nodiscard]] const Qiv::Ptr<OutputState<Table>>& outputState() const noexcept {
    return outputState_;
  }
  [[nodiscard]] const Qiv::Ptr<LocalAttrStore<Table>>& localAttrStore() const noexcept {
    return localAttrStore_;
  }
  [[nodiscard]] const Qiv::Ptr<ClientDirSm<Table>>& clientDirSm() const noexcept {
    return clientDirSm_;
  }
  [[nodiscard]] const Qiv::Ptr<IfMibSm<Table>>& ifMibSm() const noexcept { return ifMibSm_; }

  // Pipeline. Event entries have no effect before the initial scan's first pass is done.
  void eventToStream(const Pomel::String& client, const HostKey& hostKey, const StatsKey& statsKey);
  void eventToIfMibStream(const Lintu::IntfId& intfId, Qiv::Optional<std::uint32_t> ifIndexOpt);
  void eventToMaybeUpdateMib(const Pomel::String& client, const HostKey& hostKey,
                             const StatsKey& statsKey, const Lintu::IntfId& intfId);
  void doDeleteAll();

  // Reconcile.
  void handleInitialScanDone();
  void inputSmScanStateDispatch(const std::string_view& attribute);
  void handleBacklogOutputInputReady();
  void handleMibOutputInputReady();
  void handleVrfOutputInputReady();
  [[nodiscard]] const DeletionPass<RowBookmark>& mibPass() const noexcept { return mibPass_; }
  [[nodiscard]] const DeletionPass<Pomel::String>& vrfPass() const noexcept { return vrfPass_; }
  [[nodiscard]] const MibSeen& mibSeen() const noexcept { return mibSeen_; }
  [[nodiscard]] const Qiv::HashSet<VrfKey>& vrfSeen() const noexcept { return vrfSeen_; }

  /// This machine as its exactly named class.
  [[nodiscard]] auto& shell() noexcept { return static_cast<typename Shells<Table>::Sm&>(*this); }

  /// A trace line of this table: `Pattern` is formed at compile time
  /// (ConnectivityMonitorSnmpTableSmText.h), the arguments are printed only when the level is on.
  template <Literal Pattern, class... Args>
  void trace(int level, const Args&... args) const {
    if (trace_.on(level)) [[unlikely]] {
      traceLine(level, kText<Table, Pattern>, printed(args)...);
    }
  }

 protected:
  // Children: make the machine and start its first scan.
  void clientDirSmIs();
  void ifMibSmIs();

  // Seen collections.
  Qiv::Ptr<Seen> mibSeenIs(const MibPtr& mib);
  void mibSeenDel(const MibPtr& mib) { mibSeen_.erase(mib); }
  void mibSeenDelAll() { mibSeen_.clear(); }
  void vrfSeenIs(const VrfKey& vrfName) { vrfSeen_.insert(vrfName); }
  void vrfSeenDel(const VrfKey& vrfName) { vrfSeen_.erase(vrfName); }
  void vrfSeenDelAll() { vrfSeen_.clear(); }

 private:
  using Shell = Shells<Table>;
  using RowValue = typename Table::RowValue;
  class MibCursor;
  class VrfCursor;

  /// What every trace line may show: texts, numbers and truth values as they are, pipeline values
  /// by plyxPrint.
  template <class Value>
  [[nodiscard]] static std::string printed(const Value& value) {
    if constexpr (std::is_convertible_v<Value, std::string_view>) {
      return std::string(std::string_view(value));
    } else if constexpr (std::is_same_v<Value, bool>) {
      return value ? "true" : "false";
    } else if constexpr (std::is_integral_v<Value>) {
      return std::to_string(value);
    } else {
      return PlyxCode::plyxPrint(value);
    }
  }
  template <class... Texts>
  void traceLine(int level, std::string_view pattern, const Texts&... texts) const {
    trace_.write(level, fmt::vformat(pattern, fmt::make_format_args(texts...)), {});
  }

  // Pipeline.
  [[nodiscard]] const typename Table::Stats* findStats(const Pomel::String& client,
                                                       const HostKey& hostKey,
                                                       const StatsKey& statsKey) const;
  void updateRow(const Pomel::String& client, const HostKey& hostKey, const StatsKey& statsKey,
                 std::uint32_t ifIndex, const typename Table::Stats* stats);
  void writeVrfRefCount(const Pomel::String& vrfName, std::uint32_t count);
  template <class UpToDate>
  void writeRow(ConnectivityMonitorMib& mib, const Snmp::String& index,
                const Qiv::Optional<RowValue>& value, const UpToDate& upToDate);
  void updateBacklog(const Pomel::String& client, const HostKey& hostKey, const StatsKey& statsKey,
                     const Lintu::IntfId& intfId, bool waiting);
  void cleanUpVrf(const Pomel::String& vrfName);

  // Reconcile.
  void handleOutputs();
  [[nodiscard]] bool mayReconcile(bool alreadyReady);
  template <class Cursor, class Pass>
  [[nodiscard]] bool runDeletionPass(Cursor cursor, Pass& pass);
  void forgetMibSeen();
  void forgettingDispatch();

  // Lifecycle.
  void createTasks();

  Trace::Handle& trace_;
  std::uint64_t mergedEvents_ = 0;  ///< Tells an event whether others have run inside it.
  Qiv::Dir::PtrConst clientDir_;
  Qiv::Dir::Ptr conMonMibRoot_;
  IntfSnmp::IfMib::PtrConst ifMib_;
  VrfRefCount::Ptr vrfRefCount_;
  Yex::SmControl control_;
  bool synchronous_ = false;
  bool initialScanDone_ = false;
  bool initialized_ = false;
  Qiv::Ptr<InputSmScanState<Table>> scanState_;
  Qiv::Ptr<OutputState<Table>> outputState_;
  Qiv::Ptr<LocalAttrStore<Table>> localAttrStore_;
  Qiv::Ptr<ClientDirSm<Table>> clientDirSm_;
  Qiv::Ptr<IfMibSm<Table>> ifMibSm_;
  DeletionPass<RowBookmark> mibPass_;
  DeletionPass<Pomel::String> vrfPass_;
  ForgettingPass<Table> forgetting_;
  MibSeen mibSeen_;
  Qiv::HashSet<VrfKey> vrfSeen_;
  Qiv::Subscription<&TableSm::inputSmScanStateDispatch, std::string_view> subscription_{*this};
};

}  // namespace ConnectivityMonitorSnmp
