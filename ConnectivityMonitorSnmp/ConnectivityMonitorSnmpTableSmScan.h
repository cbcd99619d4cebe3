#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Pomel/Fatal.h"
#include "Qiv/Ptr.h"

namespace ConnectivityMonitorSnmp {

/// How far one child machine is with the scan of its collection.
enum class InputScanState : std::uint8_t {
  kNotStarted = 0,
  kResumable = 1,       ///< A slice ended early; the bookmark is the next key to visit.
  kComplete = 2,        ///< Every entry was visited with events flowing.
  kCompleteInitial = 3  ///< Every entry was visited, before the pipeline took events.
};

/// Who decides when a slice ends: the scan's task, or nobody (the scan of a child that a reactor
/// made must be over when the reactor returns, as no later slice would come to it).
enum class Yielding : std::uint8_t { kAsTaskSays, kNever };

/// Progress of one scan. The bookmark is a key: entries may come and go between slices.
template <class Key>
struct InputScan {
  InputScanState state = InputScanState::kNotStarted;
  std::unique_ptr<Key> bookmark;  ///< Only while resumable; most scans never need one.
};

/// Why a slice ended early, for the trace.
inline constexpr std::string_view kYieldedByChild = "child";
inline constexpr std::string_view kYieldedBySelf;

/// Runs one slice of a child machine's input scan: one item after the other, a child's own scan
/// before the next item, until the collection or the slice's share is used up. The state machine
/// supplies what differs:
///   items()             the collection; null is a caller's bug
///   scanItem(key)       handles one key, as if it had been notified
///   scanChild(key, y)   scans the child of that key; true when that child is not through
///   shouldYield(y)      whether the slice has had its share
///   scanYields(...)     records a slice that ended early
///   scanFinishes(count) records the end of the scan
template <class Sm>
void runScanSlice(Sm& sm, Yielding yielding) {
  if (!sm.hasNotificationActive() || sm.scanComplete()) {
    return;
  }
  if (sm.items() == nullptr) {
    Pomel::fatal("Sm args can only be null if marked as Optional in the SM type declaration");
  }
  // What is handled may take the machine out of its parent, or end the whole agent.
  const Qiv::Ptr kept(&sm);
  const Qiv::Ptr keptTableSm(&sm.tableSm());
  const auto& items = *sm.items();
  auto& scan = sm.inputScan();
  auto at =
      scan.state == InputScanState::kResumable ? items.lowerBound(*scan.bookmark) : items.begin();
  std::uint64_t count = 0;
  while (at != items.end()) {
    const auto key = at->key;
    sm.scanItem(key);
    if (sm.scanChild(key, yielding)) {
      sm.scanYields(kYieldedByChild, count, key);
      return;
    }
    ++count;
    const bool yield = sm.shouldYield(yielding);
    // By key: handling the item may have changed the collection.
    at = items.upperBound(key);
    if (yield && at != items.end()) {
      sm.scanYields(kYieldedBySelf, count, at->key);
      return;
    }
  }
  sm.scanFinishes(count);
}

}  // namespace ConnectivityMonitorSnmp
