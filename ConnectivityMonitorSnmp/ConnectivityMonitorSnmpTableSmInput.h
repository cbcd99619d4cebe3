#pragma once

#include <cstdint>
#include <string>

#include "ConnectivityMonitor/Status.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmScan.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmTable.h"
#include "IntfSnmp/IfMib.h"
#include "Qiv/Dir.h"
#include "Qiv/TypeInfo.h"
#include "Ubo/Scheduler.h"
#include "Yex/InputSm.h"

namespace ConnectivityMonitorSnmp {

/// The child machines of a table state machine: one per watched collection, a tree.
///
///   IfMibSm       ifMib.ifIndexByIntfId
///   ClientDirSm   clientDir.entityPtr           and an EntityPtrSm per client
///   EntityPtrSm   StatusDir.hostStatus          and a HostStatusSm per host
///   HostStatusSm  HostStatus.<table>Stats
///
/// Each turns every changed key into one event of the pipeline and scans its collection once per
/// pass. Invariants: a child exists exactly for the entities that its parent has handled; a scan's
/// state is set before anything is published about it, as publishing re-enters; a machine that is
/// no longer in the tree is switched off.
///
/// Events lead to rows, rows to subscribers, and subscribers may change the inputs or drop the
/// agent. So whoever calls into a machine holds it, and every way in from outside (a reactor, a
/// slice) holds the table state machine as well.

template <class Table>
class TableSm;
/// The exactly named classes and members of a table; specialised beside them.
template <class Table>
struct Shells;

/// What the four have in common. `Key` is the key of the watched collection.
template <class Table, class Key>
class ScanningSm : public Yex::InputSm {
 public:
  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;
  [[nodiscard]] virtual TableSm<Table>& tableSm() const noexcept = 0;
  [[nodiscard]] InputScan<Key>& inputScan() noexcept { return scan_; }
  [[nodiscard]] InputScanState scanState() const noexcept { return scan_.state; }
  /// The key that the next slice begins with; null unless the scan is resumable.
  [[nodiscard]] const Key* scanBookmark() const noexcept { return scan_.bookmark.get(); }
  /// Nothing is left to visit in the present pass.
  [[nodiscard]] bool scanComplete() const;
  [[nodiscard]] bool synchronous() const;
  [[nodiscard]] bool initialScanDone() const;

 protected:
  void scanYieldsAt(const Key& bookmark);
  /// Ends the present pass. True when it was the one with events.
  bool scanEnds();
  [[nodiscard]] static bool asksToYield(const Ubo::Task::Ptr& task, bool synchronous,
                                        Yielding yielding);

  /// A reactor's run: the machine is marked, and held together with the table state machine, which
  /// what is handled may be the end of.
  class Reacting {
   public:
    explicit Reacting(ScanningSm& sm) : tableSm_(&sm.tableSm()), marked_(sm) {}

   private:
    Qiv::Ptr<TableSm<Table>> tableSm_;
    Yex::InputSm::Reacting marked_;
  };

 private:
  InputScan<Key> scan_;
};

template <class Table>
class IfMibSm : public ScanningSm<Table, Lintu::IntfId> {
 public:
  using Key = Lintu::IntfId;
  IfMibSm(TableSm<Table>& tableSm, IntfSnmp::IfMib::PtrConst ifMib);
  ~IfMibSm() override;
  [[nodiscard]] TableSm<Table>& tableSm() const noexcept override { return tableSm_; }

  void hasNotificationActiveIs(bool active);
  void doInputScan();
  void doInputScan0();
  void task0Dispatch() { doInputScan0(); }
  void task0Del();
  void handleIfIndexByIntfId0(const Key& intfId);
  void handleIfIndexByIntfId0Reactor(const Key& intfId);
  /// Tells the pipeline that every interface is gone.
  void doDeleteAll();

  [[nodiscard]] const Ubo::Task::Ptr& task0() const noexcept { return task0_; }
  [[nodiscard]] bool inTask0() const { return task0_ && task0_->running(); }
  [[nodiscard]] bool shouldYield0() const { return shouldYield(Yielding::kAsTaskSays); }
  [[nodiscard]] InputScanState inputScanState0() const noexcept { return this->scanState(); }
  [[nodiscard]] const Key* inputScanBookmark0() const noexcept { return this->scanBookmark(); }
  [[nodiscard]] bool inputScanComplete0() const { return this->scanComplete(); }
  [[nodiscard]] std::uint32_t versionIfIndexByIntfId() const noexcept { return version_; }

  // For runScanSlice.
  [[nodiscard]] const IntfSnmp::IfMib::IfIndexByIntfId* items() const;
  void scanItem(const Key& intfId) { handleIfIndexByIntfId0(intfId); }
  bool scanChild(const Key& /*intfId*/, Yielding /*yielding*/) { return false; }
  [[nodiscard]] bool shouldYield(Yielding yielding) const;
  void scanYields(std::string_view reason, std::uint64_t count, const Key& bookmark);
  void scanFinishes(std::uint64_t count);

 private:
  void recordVersion();

  TableSm<Table>& tableSm_;
  IntfSnmp::IfMib::PtrConst ifMib_;
  Ubo::Task::Ptr task0_;
  std::uint32_t version_ = 0;
  Qiv::Subscription<&IfMibSm::handleIfIndexByIntfId0Reactor, Key> subscription_{*this};
};

template <class Table>
class EntityPtrSm;
template <class Table>
class HostStatusSm;

template <class Table>
class ClientDirSm : public ScanningSm<Table, Pomel::String> {
 public:
  using Key = Pomel::String;
  using Child = EntityPtrSm<Table>;
  struct KeyOfChild {
    const Key& operator()(const Qiv::Ptr<Child>& child) const;
  };
  using Children = Qiv::HashTable<Qiv::Ptr<Child>, KeyOfChild>;

  ClientDirSm(TableSm<Table>& tableSm, Qiv::Dir::PtrConst clientDir);
  ~ClientDirSm() override;
  [[nodiscard]] TableSm<Table>& tableSm() const noexcept override { return tableSm_; }

  void hasNotificationActiveIs(bool active);
  void doInputScan();
  void doInputScan1();
  void task1Dispatch() { doInputScan1(); }
  void task1Del();
  void handleEntityPtr1(const Key& name);
  void handleEntityPtr1Reactor(const Key& name);
  void onChildEvent1(const Key& client, const ConnectivityMonitor::HostNameVrfKey& hostKey,
                     const typename Table::StatsKey& statsKey);
  /// Tells the pipeline of every statistics entry of every client, as gone.
  void doDeleteAll();

  [[nodiscard]] const Children& childSmEntityPtrConnectivityMonitorStatusDirPtrConst() const {
    return children_;
  }
  [[nodiscard]] Qiv::Ptr<Child> child(const Key& name) const;
  Qiv::Ptr<Child> childSmEntityPtrConnectivityMonitorStatusDirPtrConstIs(
      const Key& name, ConnectivityMonitor::StatusDir::PtrConst statusDir);
  void childSmEntityPtrConnectivityMonitorStatusDirPtrConstDel(const Key& name);

  [[nodiscard]] const Ubo::Task::Ptr& task1() const noexcept { return task1_; }
  [[nodiscard]] bool inTask1() const { return task1_ && task1_->running(); }
  [[nodiscard]] bool shouldYield1() const { return shouldYield(Yielding::kAsTaskSays); }
  [[nodiscard]] InputScanState inputScanState1() const noexcept { return this->scanState(); }
  [[nodiscard]] const Key* inputScanBookmark1() const noexcept { return this->scanBookmark(); }
  [[nodiscard]] bool inputScanComplete1() const { return this->scanComplete(); }

  // For runScanSlice.
  [[nodiscard]] const Qiv::Dir::Entities* items() const;
  void scanItem(const Key& name) { handleEntityPtr1(name); }
  bool scanChild(const Key& name, Yielding yielding);
  [[nodiscard]] bool shouldYield(Yielding yielding) const;
  void scanYields(std::string_view reason, std::uint64_t count, const Key& bookmark);
  void scanFinishes(std::uint64_t count);

 private:
  TableSm<Table>& tableSm_;
  Qiv::Dir::PtrConst clientDir_;
  Ubo::Task::Ptr task1_;
  Children children_;
  Qiv::Subscription<&ClientDirSm::handleEntityPtr1Reactor, Key> subscription_{*this};
};

template <class Table>
class EntityPtrSm : public ScanningSm<Table, ConnectivityMonitor::HostNameVrfKey> {
 public:
  using Key = ConnectivityMonitor::HostNameVrfKey;
  using Child = HostStatusSm<Table>;
  struct KeyOfChild {
    const Key& operator()(const Qiv::Ptr<Child>& child) const;
  };
  using Children = Qiv::HashTable<Qiv::Ptr<Child>, KeyOfChild>;

  EntityPtrSm(ClientDirSm<Table>& parent, Pomel::String client,
              ConnectivityMonitor::StatusDir::PtrConst statusDir);
  [[nodiscard]] TableSm<Table>& tableSm() const noexcept override { return parent_.tableSm(); }

  void hasNotificationActiveIs(bool active);
  void doInputScan(Yielding yielding = Yielding::kAsTaskSays);
  void doInputScan1(Yielding yielding = Yielding::kAsTaskSays);
  void handleHostStatus1(const Key& hostKey);
  void handleHostStatus1Reactor(const Key& hostKey);
  void onChildEvent1(const Key& hostKey, const typename Table::StatsKey& statsKey);
  void doDeleteAll();

  /// The client's name: the key of this machine in its parent.
  [[nodiscard]] const Pomel::String& key() const noexcept { return client_; }
  [[nodiscard]] const ConnectivityMonitor::StatusDir::PtrConst& statusDir() const noexcept {
    return statusDir_;
  }
  [[nodiscard]] const Children& childSmHostStatusConnectivityMonitorHostStatusPtrConst() const {
    return children_;
  }
  [[nodiscard]] Qiv::Ptr<Child> child(const Key& hostKey) const;
  Qiv::Ptr<Child> childSmHostStatusConnectivityMonitorHostStatusPtrConstIs(
      const Key& hostKey, ConnectivityMonitor::HostStatus::PtrConst hostStatus);
  void childSmHostStatusConnectivityMonitorHostStatusPtrConstDel(const Key& hostKey);

  [[nodiscard]] bool inTask1() const { return parent_.inTask1(); }
  [[nodiscard]] bool shouldYield1() const { return parent_.shouldYield1(); }
  [[nodiscard]] InputScanState inputScanState1() const noexcept { return this->scanState(); }
  [[nodiscard]] const Key* inputScanBookmark1() const noexcept { return this->scanBookmark(); }
  [[nodiscard]] bool inputScanComplete1() const { return this->scanComplete(); }

  // For runScanSlice.
  [[nodiscard]] const ConnectivityMonitor::StatusDir::HostStatusMap* items() const;
  void scanItem(const Key& hostKey) { handleHostStatus1(hostKey); }
  bool scanChild(const Key& hostKey, Yielding yielding);
  [[nodiscard]] bool shouldYield(Yielding yielding) const { return parent_.shouldYield(yielding); }
  void scanYields(std::string_view reason, std::uint64_t count, const Key& bookmark);
  void scanFinishes(std::uint64_t count);

 private:
  ClientDirSm<Table>& parent_;
  Pomel::String client_;
  ConnectivityMonitor::StatusDir::PtrConst statusDir_;
  Children children_;
  Qiv::Subscription<&EntityPtrSm::handleHostStatus1Reactor, Key> subscription_{*this};
};

/// There is one per host and table: what it carries counts. It is its own listener.
template <class Table>
class HostStatusSm : public ScanningSm<Table, typename Table::StatsKey>,
                     private Qiv::Listener<typename Table::StatsKey> {
 public:
  using Key = typename Table::StatsKey;
  HostStatusSm(EntityPtrSm<Table>& parent, ConnectivityMonitor::HostStatus::PtrConst hostStatus);
  [[nodiscard]] TableSm<Table>& tableSm() const noexcept override { return parent_.tableSm(); }

  void hasNotificationActiveIs(bool active);
  void doInputScan(Yielding yielding = Yielding::kAsTaskSays);
  void doInputScan1(Yielding yielding = Yielding::kAsTaskSays);
  void handleStats1(const Key& statsKey);
  void handleStats1Reactor(const Key& statsKey);
  void doDeleteAll();

  /// The host: the key of this machine in its parent.
  [[nodiscard]] const ConnectivityMonitor::HostNameVrfKey& key() const noexcept {
    return hostStatus_->key();
  }
  [[nodiscard]] const ConnectivityMonitor::HostStatus::PtrConst& hostStatus() const noexcept {
    return hostStatus_;
  }
  [[nodiscard]] bool inTask1() const { return parent_.inTask1(); }
  [[nodiscard]] bool shouldYield1() const { return parent_.shouldYield1(); }
  [[nodiscard]] InputScanState inputScanState1() const noexcept { return this->scanState(); }
  [[nodiscard]] const Key* inputScanBookmark1() const noexcept { return this->scanBookmark(); }
  [[nodiscard]] bool inputScanComplete1() const { return this->scanComplete(); }
  [[nodiscard]] std::uint32_t versionStats() const noexcept { return version_; }

  // For runScanSlice.
  [[nodiscard]] const typename Table::StatsMap* items() const;
  void scanItem(const Key& statsKey);
  bool scanChild(const Key& /*statsKey*/, Yielding /*yielding*/) { return false; }
  [[nodiscard]] bool shouldYield(Yielding yielding) const { return parent_.shouldYield(yielding); }
  void scanYields(std::string_view reason, std::uint64_t count, const Key& bookmark);
  void scanFinishes(std::uint64_t count);

 private:
  [[nodiscard]] auto& shell() noexcept {
    return static_cast<typename Shells<Table>::HostStatusSm&>(*this);
  }
  void notify(const Key& statsKey) override;
  void recordVersion();

  EntityPtrSm<Table>& parent_;
  ConnectivityMonitor::HostStatus::PtrConst hostStatus_;
  std::uint32_t version_ = 0;
};

}  // namespace ConnectivityMonitorSnmp
