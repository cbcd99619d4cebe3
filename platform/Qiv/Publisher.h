#pragma once

#include <cstdint>

namespace Qiv {

class PublisherBase;
class Round;

/// One place in a publisher's list. Being destroyed takes it out of the list, also in the middle of
/// a round; a publisher that dies first leaves it unlinked.
class SubscriptionBase {
 public:
  SubscriptionBase(const SubscriptionBase&) = delete;
  SubscriptionBase& operator=(const SubscriptionBase&) = delete;

  [[nodiscard]] bool linked() const noexcept { return link_ != nullptr; }

 protected:
  SubscriptionBase() = default;
  ~SubscriptionBase() { unlink(); }

  void link(PublisherBase& publisher) noexcept;
  void unlink() noexcept;

 private:
  friend class PublisherBase;
  friend class Round;

  SubscriptionBase* next_ = nullptr;
  SubscriptionBase** link_ = nullptr;  ///< What points at this subscription; null when unlinked.
  std::uint64_t joined_ = 0;
};

/// The untyped half of Publisher: an ordered list of subscriptions, one word wide.
class PublisherBase {
 public:
  PublisherBase() = default;
  PublisherBase(const PublisherBase&) = delete;
  PublisherBase& operator=(const PublisherBase&) = delete;
  ~PublisherBase();

  [[nodiscard]] bool hasSubscribers() const noexcept { return first_ != nullptr; }

 private:
  friend class SubscriptionBase;
  friend class Round;

  SubscriptionBase* first_ = nullptr;
};

/// One delivery of one change. Rounds nest (a reactor may publish again, on the same publisher
/// too). Rules, for every round in progress:
///  1. a subscription that joined after the round began is not called in it;
///  2. a subscription that left is not called any more;
///  3. the publisher may die; the round then ends.
class Round {
 public:
  explicit Round(const PublisherBase& publisher) noexcept;
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;
  ~Round();

  /// The next subscription to call, or null at the end.
  [[nodiscard]] SubscriptionBase* next() noexcept;

 private:
  friend class SubscriptionBase;

  static Round* innermost_;

  SubscriptionBase* cursor_;
  std::uint64_t began_;
  Round* outer_;
};

/// Subscriptions to changes that are told by `Args...`.
template <class... Args>
class Listener : public SubscriptionBase {
 public:
  virtual void notify(const Args&... args) = 0;

 protected:
  Listener() = default;
  ~Listener() = default;
};

/// Tells its subscribers, in the order in which they joined and before `publish` returns, that
/// something changed. The arguments name what changed and must outlive the call.
template <class... Args>
class Publisher : public PublisherBase {
 public:
  void publish(const Args&... args) const {
    if (!hasSubscribers()) {
      return;
    }
    Round round(*this);
    while (SubscriptionBase* subscription = round.next()) {
      static_cast<Listener<Args...>*>(subscription)->notify(args...);
    }
  }
};

/// A subscription as a member object of its reactor: its lifetime is the subscription.
/// `Reactor` is the member function that is called, bound at compile time:
/// `Subscription<&HostStatusSm::handleIcmpStats1Reactor, Key> subscription_{*this};`
template <auto Reactor, class... Args>
class Subscription;

template <class Owner, class... Args, void (Owner::*Reactor)(const Args&...)>
class Subscription<Reactor, Args...> final : public Listener<Args...> {
 public:
  explicit Subscription(Owner& owner) noexcept : owner_(owner) {}
  Subscription(Owner& owner, Publisher<Args...>& publisher) noexcept : owner_(owner) {
    this->link(publisher);
  }

  /// Joins `publisher` (leaving the one it was with). Joining where it is already is a no-op only
  /// through activeIs(); here it moves to the end of the list.
  void subscribe(Publisher<Args...>& publisher) noexcept { this->link(publisher); }
  void unsubscribe() noexcept { this->unlink(); }

  /// Joined when `active`, else not; idempotent.
  void activeIs(bool active, Publisher<Args...>& publisher) noexcept {
    if (active == this->linked()) {
      return;
    }
    active ? this->link(publisher) : this->unlink();
  }

  void notify(const Args&... args) override { (owner_.*Reactor)(args...); }

 private:
  Owner& owner_;
};

}  // namespace Qiv
