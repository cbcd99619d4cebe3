#pragma once

#include <cstdint>
#include <memory>
#include <optional>
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
  bool visiting = false;          ///< A slice is at work now; it never runs inside itself.
  std::unique_ptr<Key> bookmark;  ///< Only while resumable; most scans never need one.
};

/// Why a slice ended early, for the trace.
inline constexpr std::string_view kYieldedByChild = "child";
inline constexpr std::string_view kYieldedBySelf;

/// The work of runScanSlice: where the next slice is to begin, or nothing when the scan is through.
template <class Sm, class Key = typename Sm::Key>
std::optional<Key> visitItems(Sm& sm, Yielding yielding, std::uint64_t& count,
                              std::string_view& reason) {
  struct Visiting {
    explicit Visiting(bool& mark) noexcept : mark_(mark) { mark_ = true; }
    Visiting(const Visiting&) = delete;
    Visiting& operator=(const Visiting&) = delete;
    ~Visiting() { mark_ = false; }  // Also when an event throws.
    bool& mark_;
  };
  auto& scan = sm.inputScan();
  const Visiting visiting(scan.visiting);
  const auto& items = *sm.items();
  auto at =
      scan.state == InputScanState::kResumable ? items.lowerBound(*scan.bookmark) : items.begin();
  while (at != items.end()) {
    const Key key = at->key;
    sm.scanItem(key);
    if (sm.scanChild(key, yielding)) {
      reason = kYieldedByChild;
      return key;
    }
    ++count;
    const bool yield = sm.shouldYield(yielding);
    // By key: handling the item may have changed the collection.
    at = items.upperBound(key);
    const bool last = at == items.end();
    if (!sm.hasNotificationActive()) {
      // Switched off by what was handled. A scan does nothing then, not even come to its end: the
      // last item is visited again.
      return last ? key : at->key;
    }
    if (yield && !last) {
      return at->key;
    }
  }
  return std::nullopt;
}

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
  if (!sm.hasNotificationActive() || sm.inputScan().visiting || sm.scanComplete()) {
    return;
  }
  if (sm.items() == nullptr) {
    Pomel::fatal("Sm args can only be null if marked as Optional in the SM type declaration");
  }
  // What is handled may take the machine out of its parent, or end the whole agent.
  const Qiv::Ptr keptTableSm(&sm.tableSm());
  const Qiv::Ptr kept(&sm);
  std::uint64_t count = 0;
  std::string_view reason = kYieldedBySelf;
  if (const auto bookmark = visitItems(sm, yielding, count, reason)) {
    sm.scanYields(reason, count, *bookmark);
  } else {
    sm.scanFinishes(count);
  }
}

}  // namespace ConnectivityMonitorSnmp
