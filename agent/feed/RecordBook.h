#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_set>

#include "agent/feed/FeedStore.h"
#include "agent/feed/Ledger.h"

namespace Agent {

/// A record out of the store, with all it takes to put it back.
struct Withdrawn {
  Pomel::String client;
  ProbeKey key;
  Measurements measured;
  std::uint64_t turn = 0;
};

/// Publishes records one at a time such that the plug-in's rules hold, whatever the feed says.
/// The only writer of the store and of the ledger, which it keeps in step. Standing orders:
///
///  * Records that share a row: all are kept, the one that was put last shows. When one of them
///    goes, the plug-in deletes the row with it; the last put of the others is then put again. Each
///    sharing is warned of once.
///  * A VRF's count moves up with every event of a present record and down with every removal, so
///    updates make it drift upwards. Before it can wrap it is set back to what removals will take
///    from it: the number of the VRF's records that have a row.
class RecordBook {
 public:
  using Warn = std::function<void(const std::string&)>;
  /// What became of the records of one kind so far.
  struct Events {
    std::uint64_t published = 0;  ///< New, changed or published again.
    std::uint64_t unchanged = 0;  ///< Equal to what the store had.
    std::uint64_t removed = 0;
  };
  using EventsByKind = std::array<Events, std::variant_size_v<Target>>;  ///< As Target's.

  /// Far enough below 2^31 that nobody has to count to the last.
  static constexpr std::uint32_t kCountCeiling = 0x7fff'0000;

  RecordBook(FeedStore& store, Warn warn, std::uint32_t countCeiling = kCountCeiling)
      : store_(store), warn_(std::move(warn)), countCeiling_(countCeiling) {}

  [[nodiscard]] Ledger& ledger() noexcept { return ledger_; }
  [[nodiscard]] const Ledger& ledger() const noexcept { return ledger_; }
  [[nodiscard]] const EventsByKind& events() const noexcept { return events_; }
  /// Pairs of records that met in one row so far, up to the last that was warned of.
  [[nodiscard]] std::size_t sharings() const noexcept { return warned_.size(); }

  void put(const Pomel::String& client, const ProbeKey& key, const Measurements& measured);
  /// Silent when absent.
  void remove(const Pomel::String& client, const ProbeKey& key);
  void remove(Ledger::Record& record);
  /// Takes a record out for a while. In between, its interface may get another index; restore()
  /// puts it back as what it was put before others or after them.
  Withdrawn withdraw(Ledger::Record& record);
  void restore(const Withdrawn& record);
  /// Precondition: no record is bound to the interface.
  void ifIndexIs(const Pomel::String& interface, std::uint32_t ifIndex, const Pomel::String& setBy);
  /// The plug-in's agent was replaced, and counts from zero again. Precondition: no records.
  void agentReplaced() { counts_.clear(); }

 private:
  bool publish(Ledger::Record& record, const Measurements& measured);
  void showAgain(Ledger::Record& record);
  void countUp(const Pomel::String& vrf);
  void countDown(const Pomel::String& vrf);
  void warnOfSharing(const Ledger::Record& later, const Ledger::Record& earlier);

  FeedStore& store_;
  Warn warn_;
  std::uint32_t countCeiling_;
  Ledger ledger_;
  EventsByKind events_{};
  std::map<Pomel::String, std::uint32_t> counts_;  ///< What the plug-in counts, VRF by VRF.
  std::unordered_set<std::size_t> warned_;         ///< Hashes of the sharings that were warned of.
};

}  // namespace Agent
