#include "Qiv/Publisher.h"

namespace Qiv {

namespace {
/// Orders joins against rounds: a subscription belongs to a round exactly when it joined at or
/// before the round's beginning. 64 bits do not wrap within a process's life.
std::uint64_t joinClock = 0;
}  // namespace

Round* Round::innermost_ = nullptr;

void SubscriptionBase::link(PublisherBase& publisher) noexcept {
  unlink();
  SubscriptionBase** end = &publisher.first_;
  while (*end != nullptr) {
    end = &(*end)->next_;
  }
  *end = this;
  link_ = end;
  joined_ = ++joinClock;
}

void SubscriptionBase::unlink() noexcept {
  if (link_ == nullptr) {
    return;
  }
  for (Round* round = Round::innermost_; round != nullptr; round = round->outer_) {
    if (round->cursor_ == this) {
      round->cursor_ = next_;
    }
  }
  *link_ = next_;
  if (next_ != nullptr) {
    next_->link_ = link_;
  }
  next_ = nullptr;
  link_ = nullptr;
}

PublisherBase::~PublisherBase() {
  // That also brings every round in progress to its end.
  while (first_ != nullptr) {
    first_->unlink();
  }
}

Round::Round(const PublisherBase& publisher) noexcept
    : cursor_(publisher.first_), began_(joinClock), outer_(innermost_) {
  innermost_ = this;
}

Round::~Round() { innermost_ = outer_; }

SubscriptionBase* Round::next() noexcept {
  while (cursor_ != nullptr && cursor_->joined_ > began_) {
    cursor_ = cursor_->next_;
  }
  SubscriptionBase* current = cursor_;
  if (current != nullptr) {
    cursor_ = current->next_;
  }
  return current;
}

}  // namespace Qiv
