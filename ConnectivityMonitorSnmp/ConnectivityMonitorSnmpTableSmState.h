#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"
#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmText.h"
#include "Lintu/IntfId.h"
#include "Qiv/Entity.h"
#include "Qiv/HashMap.h"
#include "Qiv/HashSet.h"
#include "Qiv/Optional.h"
#include "Qiv/TypeInfo.h"
#include "Ubo/Scheduler.h"

namespace ConnectivityMonitorSnmp {

/// How far the input scans are. A flag publishes its name when it flips.
template <class Table>
class InputSmScanState : public Qiv::Entity {
 public:
  static constexpr std::string_view kStreamScan{kText<Table, "@StreamScan">};
  static constexpr std::string_view kIfMibStreamScan{kText<Table, "ifMib#StreamScan">};
  static constexpr std::string_view kIdle = "idle";

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  /// The present pass over the client directory is finished.
  [[nodiscard]] bool streamScan() const noexcept { return streamScan_; }
  /// The present pass over the interface MIB is finished.
  [[nodiscard]] bool ifMibStreamScan() const noexcept { return ifMibStreamScan_; }
  /// The initial scan was found done.
  [[nodiscard]] bool idle() const noexcept { return idle_; }

  void streamScanIs(bool on) { set(streamScan_, on, kStreamScan); }
  void ifMibStreamScanIs(bool on) { set(ifMibStreamScan_, on, kIfMibStreamScan); }
  void idleIs(bool on) { set(idle_, on, kIdle); }

 private:
  void set(bool& flag, bool on, std::string_view name) {
    if (flag != on) {
      flag = on;
      changes().publish(name);
    }
  }

  bool streamScan_ = false;
  bool ifMibStreamScan_ = false;
  bool idle_ = false;
};

/// Which outputs are reconciled. `ready` follows from the three and publishes when it changes.
template <class Table>
class OutputState : public Qiv::Entity {
 public:
  static constexpr std::string_view kBacklogReady{
      kText<Table, "intfTo#StatsBacklog#StatsInfoSetOutputReady">};
  static constexpr std::string_view kMibReady{
      kText<Table, "connectivityMonitorSnmpConnectivityMonitorMibPtr#TableOutputReady">};
  static constexpr std::string_view kVrfReady = "vrfRefCountVrfRefCountOutputReady";
  static constexpr std::string_view kReady = "ready";

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] bool backlogReady() const noexcept { return backlogReady_; }
  [[nodiscard]] bool mibReady() const noexcept { return mibReady_; }
  [[nodiscard]] bool vrfReady() const noexcept { return vrfReady_; }
  [[nodiscard]] bool ready() const noexcept { return ready_; }

  void backlogReadyIs() { set(backlogReady_, true, kBacklogReady); }
  void mibReadyIs() { set(mibReady_, true, kMibReady); }
  void vrfReadyIs() { set(vrfReady_, true, kVrfReady); }
  void handleReady() { set(ready_, backlogReady_ && mibReady_ && vrfReady_, kReady); }

 private:
  void set(bool& flag, bool on, std::string_view name) {
    if (flag != on) {
      flag = on;
      changes().publish(name);
    }
  }

  bool backlogReady_ = false;
  bool mibReady_ = false;
  bool vrfReady_ = false;
  bool ready_ = false;
};

/// What a table state machine keeps for itself: the probes whose interface has a name but no
/// ifIndex yet, by interface. Invariant: no interface has an empty set.
template <class Table>
class LocalAttrStore : public Qiv::Entity {
 public:
  using InfoSetPtr = Qiv::Ptr<typename Table::InfoSet>;
  using Backlog = Qiv::HashMap<Lintu::IntfId, InfoSetPtr>;

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;
  [[nodiscard]] const Backlog& intfToStatsBacklog() const noexcept { return backlog_; }

  void backlogInfoIs(const Lintu::IntfId& intfId, const typename Table::Info& info);
  /// Silent when absent.
  void backlogInfoDel(const Lintu::IntfId& intfId, const typename Table::Info& info);

 private:
  Backlog backlog_;
};

/// A key of an output that the pipeline has written: a type of its own per output.
template <class Key, class Tag>
class OutputKey {
 public:
  explicit OutputKey(Key key) : key_(std::move(key)) {}
  [[nodiscard]] const Key& key() const noexcept { return key_; }
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept { return key_.hash(seed); }
  friend bool operator==(const OutputKey&, const OutputKey&) = default;
  friend std::strong_ordering operator<=>(const OutputKey&, const OutputKey&) = default;

 private:
  Key key_;
};

/// The rows seen in one MIB object.
template <class Table>
class SeenRows final : public Qiv::RefCounted {
 public:
  using KeyType = OutputKey<Snmp::String, Table>;

  [[nodiscard]] const Qiv::HashSet<KeyType>& seen() const noexcept { return seen_; }
  void seenIs(const KeyType& key) { seen_.insert(key); }
  /// False when it was not there.
  bool seenDel(const KeyType& key) { return seen_.erase(key); }
  void seenDelAll() { seen_.clear(); }
  /// Takes one out, any; false when there is none. `from` as Qiv::HashSet::eraseFirst has it.
  bool seenDelFirst(std::uint32_t& from) { return seen_.eraseFirst(from); }

 private:
  Qiv::HashSet<KeyType> seen_;
};

/// The deletion pass over one output: whether it is still to do, where it goes on, and the task
/// that runs its slices.
template <class Bookmark>
struct DeletionPass {
  bool reconciling = false;
  bool useBookmark = false;
  Bookmark bookmark{};
  Ubo::Task::Ptr task;
};

/// What was seen and not asked for, the names of rows that went while the scan ran: as many as may
/// be, so they are freed in slices.
template <class Table>
struct ForgettingPass {
  std::vector<Qiv::Ptr<SeenRows<Table>>> seen;
  std::uint32_t from = 0;  ///< Where the last of `seen` goes on.
  Ubo::Task::Ptr task;     ///< Null when there is nothing to forget.
};

}  // namespace ConnectivityMonitorSnmp
