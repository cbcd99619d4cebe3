#pragma once

#include <functional>
#include <vector>

#include "Ubo/YieldPolicy.h"
#include "agent/feed/OperationQueue.h"
#include "agent/feed/RecordBook.h"

namespace Agent {

/// Applies the queue's changes to the record book, one record at a time, so that a change that
/// touches many records can be cut at any of them. Changes are applied in order and one after the
/// other; nothing is applied while the gate is closed.
///
/// An interface that gets an index, its first or another, is handled in one order: the records
/// bound to it are withdrawn, the index is set, the records are published again. So no row stays
/// behind under an old key, and no single step has to replay all records of the interface.
///
/// Of an interface's index, a client knows better than the kernel: once a client has set it, only
/// clients change it. So the outcome does not depend on who was heard first.
class Applier {
 public:
  Applier(OperationQueue& queue, RecordBook& book) : queue_(queue), book_(book) {}
  Applier(const Applier&) = delete;
  Applier& operator=(const Applier&) = delete;

  /// Opened once the table state machines are ready. Closing takes effect between two records.
  void gateIs(bool open) noexcept { open_ = open; }

  /// Withdraws all records, to be published again by restoreAll(). What is under way is finished
  /// first; later changes wait. withdrawn() tells when it is done.
  void withdrawAll() noexcept { wanted_ = Wanted::kWithdrawn; }
  [[nodiscard]] bool withdrawn() const noexcept { return state_ == Wanted::kWithdrawn && !job_; }
  void restoreAll() noexcept { wanted_ = Wanted::kPublished; }

  [[nodiscard]] bool hasWork() const noexcept {
    return open_ &&
           (job_ || wanted_ != state_ || (state_ == Wanted::kPublished && !queue_.empty()));
  }
  /// Works until nothing is left or the policy says yield. True when there is more to do at once.
  bool work(Ubo::YieldPolicy& yield);

 private:
  enum class Wanted : bool { kPublished, kWithdrawn };
  /// One step of something that takes many; true when it was the last.
  using Job = std::function<bool()>;

  void startNext();
  /// Apply a change, or return the job that does.
  Job start(const Pomel::String& client, const SetInterface& change);
  Job start(const Pomel::String& client, const Put& change);
  Job start(const Pomel::String& client, const Remove& change);
  Job start(const Pomel::String& client, const RemoveHost& change);
  Job start(const Pomel::String& client, const RemoveClient& change);
  [[nodiscard]] Job withdrawAllJob();
  [[nodiscard]] Job publishAsideJob();

  OperationQueue& queue_;
  RecordBook& book_;
  bool open_ = false;
  Wanted wanted_ = Wanted::kPublished;
  Wanted state_ = Wanted::kPublished;  ///< Reached, or under way as job_.
  Job job_;
  bool fromQueue_ = false;        ///< Whether job_ is a change of the queue.
  std::vector<Withdrawn> aside_;  ///< What is withdrawn now and will be published again.
};

}  // namespace Agent
