#include "agent/feed/Applier.h"

#include <utility>

namespace Agent {

bool Applier::work(Ubo::YieldPolicy& yield) {
  while (hasWork()) {
    if (!job_) {
      startNext();
    } else if (job_()) {
      job_ = nullptr;
      if (fromQueue_) {
        queue_.applied();
      } else {
        queue_.withdrawnIs(state_ == Wanted::kWithdrawn);
      }
    }
    if (yield.shouldYield()) {
      break;
    }
  }
  return hasWork();
}

void Applier::startNext() {
  fromQueue_ = wanted_ == state_;
  if (!fromQueue_) {
    state_ = wanted_;
    queue_.withdrawnIs(true);
    job_ = state_ == Wanted::kWithdrawn ? withdrawAllJob() : publishAsideJob();
    return;
  }
  const OperationQueue::Entry entry = queue_.pop();
  job_ = std::visit([&](const auto& change) { return start(entry.client, change); }, entry.change);
  if (!job_) {
    queue_.applied();
  }
}

Applier::Job Applier::start(const Pomel::String& client, const Put& change) {
  book_.put(client, change.key, change.measured);
  return nullptr;
}

Applier::Job Applier::start(const Pomel::String& client, const Remove& change) {
  book_.remove(client, change.key);
  return nullptr;
}

Applier::Job Applier::start(const Pomel::String& client, const RemoveHost& change) {
  return [this, client, at = change.at] {
    Ledger::Record* record = book_.ledger().anyOf(client, at);
    if (record != nullptr) {
      book_.remove(*record);
    }
    return record == nullptr;
  };
}

Applier::Job Applier::start(const Pomel::String& client, const RemoveClient& /*change*/) {
  return [this, client] {
    Ledger::Record* record = book_.ledger().anyOf(client);
    if (record != nullptr) {
      book_.remove(*record);
    }
    return record == nullptr;
  };
}

Applier::Job Applier::start(const Pomel::String& client, const SetInterface& change) {
  const bool fromKernel = client.empty();
  if (fromKernel && book_.ledger().isSetByClient(change.name)) {
    return nullptr;
  }
  if (book_.ledger().ifIndex(change.name) == change.ifIndex) {
    book_.ledger().setByIs(change.name, client);
    return nullptr;
  }
  return [this, client, change, publish = Job()]() mutable {
    if (publish) {
      return publish();
    }
    if (Ledger::Record* record = book_.ledger().firstOn(change.name)) {
      aside_.push_back(book_.withdraw(*record));
      return false;
    }
    book_.ifIndexIs(change.name, change.ifIndex, client);
    publish = publishAsideJob();
    return false;
  };
}

Applier::Job Applier::withdrawAllJob() {
  return [this] {
    Ledger::Record* record = book_.ledger().any();
    if (record != nullptr) {
      aside_.push_back(book_.withdraw(*record));
    }
    return record == nullptr;
  };
}

Applier::Job Applier::publishAsideJob() {
  return [this, next = std::size_t{0}]() mutable {
    if (next < aside_.size()) {
      book_.restore(std::exchange(aside_[next], {}));
      ++next;
      return false;
    }
    aside_ = {};
    return true;
  };
}

}  // namespace Agent
