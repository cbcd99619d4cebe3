#pragma once

/// From the first scan to ready.
///
/// The inputs are scanned twice. The first pass builds the child machines while the pipeline is
/// deaf; when both inputs are through, the second replays every entry as an event. Then each output
/// is reconciled: what the second pass did not write, an earlier life of this machine left behind,
/// and it is deleted, in slices. Everything that the pipeline writes from the beginning until an
/// output is ready is recorded as seen, so a row written between two slices is never deleted.

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSmCore.h"

namespace ConnectivityMonitorSnmp {

template <class Table>
void TableSm<Table>::inputSmScanStateDispatch(const std::string_view& attribute) {
  if (attribute != InputSmScanState<Table>::kIdle) {
    handleOutputs();
  }
}

template <class Table>
void TableSm<Table>::handleOutputs() {
  const Qiv::Ptr<TableSm> kept(this);
  (shell().*Shell::kBacklogOutputInputReady)();
  (shell().*Shell::kMibOutputInputReady)();
  (shell().*Shell::kVrfOutputInputReady)();
}

template <class Table>
void TableSm<Table>::handleInitialScanDone() {
  if (initialScanDone_) {
    return;
  }
  if (!scanState_->streamScan()) {
    trace<" @Stream scan is false">(9);
    return;
  }
  if (!scanState_->ifMibStreamScan()) {
    trace<" ifMib#Stream scan is false">(9);
    return;
  }
  if (!clientDirSm_ || !ifMibSm_) {
    trace<"Initial scan yielding for child SM ConnectivityMonitorSnmp#TableSm.">(9);
    return;
  }
  trace<"Initial scan done for child SMs. Now scanning with events triggered.">(9);
  initialScanDone_ = true;
  scanState_->streamScanIs(false);
  scanState_->ifMibStreamScanIs(false);
  if (clientDirSm_->hasNotificationActive()) {
    clientDirSm_->doInputScan();
  }
  if (ifMibSm_->hasNotificationActive()) {
    ifMibSm_->doInputScan();
  }
  scanState_->idleIs(true);
  handleOutputs();
}

/// Whether an output that is not ready may be reconciled now; hands over to the initial scan where
/// that is what comes next.
template <class Table>
bool TableSm<Table>::mayReconcile(bool alreadyReady) {
  if (alreadyReady) {
    trace<" already ready, not reconciling.">(9);
    return false;
  }
  if (!scanState_->streamScan() || !scanState_->ifMibStreamScan()) {
    return false;
  }
  if (!initialScanDone_) {
    handleInitialScanDone();
    return false;
  }
  return true;
}

template <class Table>
void TableSm<Table>::handleBacklogOutputInputReady() {
  const Qiv::Ptr<TableSm> kept(this);
  if (!initialized_) {
    return;
  }
  trace<"handleIntfTo#StatsBacklog#StatsInfoSetOutputInputReady">(9);
  if (!mayReconcile(outputState_->backlogReady())) {
    return;
  }
  trace<"Input scans for intfTo#StatsBacklog#StatsInfoSetOutput complete">(9);
  outputState_->backlogReadyIs();
  outputState_->handleReady();
}

/// The rows of the MIB objects in which something was seen, object by object, in key order.
template <class Table>
class TableSm<Table>::MibCursor {
 public:
  explicit MibCursor(TableSm& sm) : sm_(sm) {
    if (sm.mibPass_.useBookmark) {
      const RowBookmark& bookmark = sm.mibPass_.bookmark;
      settle(sm.mibSeen_.lowerBound(bookmark.mib), &bookmark);
    } else {
      settle(sm.mibSeen_.begin(), nullptr);
    }
  }

  [[nodiscard]] bool atEnd() const { return !mib_; }
  /// Whether the row was seen, which nobody asks again: forgetting it here leaves nothing to free
  /// in one go at the end, which would take as long as there are rows.
  [[nodiscard]] bool takeSeen() {
    const auto* const rows = sm_.mibSeen_.find(mib_);
    return rows != nullptr && (*rows)->seenDel(typename Seen::KeyType(key_));
  }
  void deleteItem() { ((*mib_).*Table::kRowDel)(key_); }
  void advance() {
    if (const auto* const row = ((*mib_).*Table::kRows)().upperBound(key_)) {
      key_ = row->indexShortName();
    } else {
      settle(sm_.mibSeen_.upperBound(mib_), nullptr);
    }
  }
  [[nodiscard]] RowBookmark bookmark() const { return {mib_, key_}; }

 private:
  /// Settles on the first row at or after `at`; within the bookmark's own object, at or after its
  /// key.
  void settle(typename MibSeen::const_iterator at, const RowBookmark* bookmark) {
    for (; at != sm_.mibSeen_.end(); ++at) {
      const auto& rows = ((*at->key).*Table::kRows)();
      const auto* const row = bookmark != nullptr && at->key == bookmark->mib
                                  ? rows.lowerBound(bookmark->key)
                                  : rows.first();
      if (row != nullptr) {
        mib_ = at->key;
        key_ = row->indexShortName();
        return;
      }
    }
    mib_ = nullptr;
  }

  TableSm& sm_;
  MibPtr mib_;
  Snmp::String key_;
};

/// The VRFs that have a count, whoever counted them.
template <class Table>
class TableSm<Table>::VrfCursor {
 public:
  explicit VrfCursor(TableSm& sm) : sm_(sm) {
    settle(sm.vrfPass_.useBookmark ? counts().lowerBound(sm.vrfPass_.bookmark) : counts().begin());
  }

  [[nodiscard]] bool atEnd() const { return atEnd_; }
  [[nodiscard]] bool takeSeen() { return sm_.vrfSeen_.erase(VrfKey(vrfName_)); }
  void deleteItem() { sm_.vrfRefCount_->vrfRefCountDel(vrfName_); }
  void advance() { settle(counts().upperBound(vrfName_)); }
  [[nodiscard]] const Pomel::String& bookmark() const { return vrfName_; }

 private:
  [[nodiscard]] const VrfRefCount::Counts& counts() const {
    return sm_.vrfRefCount_->vrfRefCount();
  }
  void settle(VrfRefCount::Counts::const_iterator at) {
    atEnd_ = at == counts().end();
    if (!atEnd_) {
      vrfName_ = at->key;
    }
  }

  TableSm& sm_;
  bool atEnd_ = true;
  Pomel::String vrfName_;
};

/// One run of a deletion pass; true when it is through. A run that no task made handles one item
/// and leaves the rest to the task.
template <class Table>
template <class Cursor, class Pass>
bool TableSm<Table>::runDeletionPass(Cursor cursor, Pass& pass) {
  std::uint64_t items = 0;
  std::uint64_t deletions = 0;
  for (; !cursor.atEnd(); cursor.advance(), ++items) {
    const bool mayStop = items != 0 && !synchronous_;
    if (mayStop && (!pass.task->running() || pass.task->taskShouldYield())) {
      pass.bookmark = cursor.bookmark();
      pass.useBookmark = true;
      trace<
          "Yielding in reconciliation processing after processing {} items, including {} "
          "deletions .">(9, items, deletions);
      pass.task->taskWorkCountInc(items);
      pass.task->scheduleTask();
      return false;
    }
    if (!cursor.takeSeen()) {
      cursor.deleteItem();
      ++deletions;
    }
  }
  trace<
      "Deletion scan for reconciliation is done, last task run processed {} items, deleting {} "
      "items.">(9, items, deletions);
  pass.task->taskWorkCountInc(items);
  pass.task->taskDel();
  pass = {};
  return true;
}

template <class Table>
void TableSm<Table>::handleMibOutputInputReady() {
  const Qiv::Ptr<TableSm> kept(this);
  if (!initialized_) {
    return;
  }
  trace<"handleConnectivityMonitorSnmpConnectivityMonitorMibPtr#TableOutputInputReady">(9);
  if (!mayReconcile(outputState_->mibReady())) {
    return;
  }
  trace<"Input scans for connectivityMonitorSnmpConnectivityMonitorMibPtr#TableOutput complete">(9);
  if (runDeletionPass(MibCursor(*this), mibPass_)) {
    forgetMibSeen();
    outputState_->mibReadyIs();
    outputState_->handleReady();
  }
}

/// Empties the seen collection: at once, but for what would take long to free.
template <class Table>
void TableSm<Table>::forgetMibSeen() {
  if (!synchronous_) {
    for (const auto& entry : mibSeen_) {
      if (!entry.value->seen().empty()) {
        forgetting_.seen.push_back(entry.value);
      }
    }
  }
  mibSeenDelAll();
  if (!forgetting_.seen.empty()) {
    constexpr auto kName = kText<Table, "ConnectivityMonitorSnmp#TableSm-forgettingTask">;
    forgetting_.task = Qiv::make<Ubo::MemberTask<&TableSm::forgettingDispatch>>(
        *this, *taskScheduler(), Pomel::String(kName), taskPriority());
    forgetting_.task->scheduleTask();
  }
}

template <class Table>
void TableSm<Table>::forgettingDispatch() {
  for (auto& seen = forgetting_.seen; !seen.empty(); seen.pop_back(), forgetting_.from = 0) {
    while (seen.back()->seenDelFirst(forgetting_.from)) {
      if (forgetting_.task->taskShouldYield()) {
        forgetting_.task->scheduleTask();
        return;
      }
    }
  }
  forgetting_ = {};
}

template <class Table>
void TableSm<Table>::handleVrfOutputInputReady() {
  const Qiv::Ptr<TableSm> kept(this);
  if (!initialized_) {
    return;
  }
  trace<"handleVrfRefCountVrfRefCountOutputInputReady">(9);
  if (!mayReconcile(outputState_->vrfReady())) {
    return;
  }
  trace<"Input scans for vrfRefCountVrfRefCountOutput complete">(9);
  if (runDeletionPass(VrfCursor(*this), vrfPass_)) {
    vrfSeenDelAll();
    outputState_->vrfReadyIs();
    outputState_->handleReady();
  }
}

template <class Table>
Qiv::Ptr<SeenRows<Table>> TableSm<Table>::mibSeenIs(const MibPtr& mib) {
  if (const auto* const present = mibSeen_.find(mib)) {
    return *present;
  }
  auto made = Qiv::make<Seen>();
  mibSeen_.set(mib, made);
  return made;
}

}  // namespace ConnectivityMonitorSnmp
