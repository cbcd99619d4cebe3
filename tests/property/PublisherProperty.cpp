// Rounds against a model that takes a list of all subscribers when the round begins and skips those
// that have left since.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "Qiv/Publisher.h"

namespace Properties {
namespace {

constexpr int kSubscribers = 5;

/// What a subscriber does in one of its calls.
struct Act {
  enum Kind { kNothing, kJoin, kLeave, kDestroy, kMake, kPublish, kEndPublisher } kind;
  int whom;
};
std::ostream& operator<<(std::ostream& out, const Act& act) {
  static constexpr const char* kNames[] = {"nothing", "join",    "leave",        "destroy",
                                           "make",    "publish", "end publisher"};
  return out << kNames[act.kind] << ' ' << act.whom;
}

/// The acts in the order in which calls happen, and who was called: the same script drives both
/// sides, so equal call sequences mean equal behaviour throughout.
class Script {
 public:
  explicit Script(const std::vector<Act>& acts) : acts_(acts) {}
  Act called(int whom, int change) {
    calls.push_back(whom * 100 + change);
    return next_ < acts_.size() ? acts_[next_++] : Act{Act::kNothing, 0};
  }
  std::vector<int> calls;

 private:
  const std::vector<Act>& acts_;
  std::size_t next_ = 0;
};

/// One side. Derived does the acts.
class Side {
 public:
  explicit Side(const std::vector<Act>& acts) : script(acts) {}
  Side(const Side&) = delete;
  Side& operator=(const Side&) = delete;
  virtual ~Side() = default;

  void act(const Act& act) {
    switch (act.kind) {
      case Act::kNothing:
        break;
      case Act::kJoin:
        join(act.whom);
        break;
      case Act::kLeave:
        leave(act.whom);
        break;
      case Act::kDestroy:
        destroy(act.whom);
        break;
      case Act::kMake:
        make(act.whom);
        break;
      case Act::kPublish:
        if (depth_ < 4) {
          ++depth_;
          publish(++change_);
          --depth_;
        }
        break;
      case Act::kEndPublisher:
        endPublisher();
        break;
    }
  }
  virtual void join(int whom) = 0;
  virtual void leave(int whom) = 0;
  virtual void destroy(int whom) = 0;
  virtual void make(int whom) = 0;
  virtual void publish(int change) = 0;
  virtual void endPublisher() = 0;

  Script script;

 private:
  int depth_ = 0;
  int change_ = 0;
};

class Real final : public Side {
 public:
  using Side::Side;
  void join(int whom) override {
    if (subscriber(whom)) {
      subscriber(whom)->subscription.subscribe(*publisher_);
    }
  }
  void leave(int whom) override {
    if (subscriber(whom)) {
      subscriber(whom)->subscription.unsubscribe();
    }
  }
  void destroy(int whom) override { subscriber(whom).reset(); }
  void make(int whom) override {
    if (!subscriber(whom)) {
      subscriber(whom) = std::make_unique<Subscriber>(*this, whom);
    }
  }
  void publish(int change) override { publisher_->publish(change); }
  void endPublisher() override { publisher_ = std::make_unique<Qiv::Publisher<int>>(); }

 private:
  struct Subscriber {
    Subscriber(Real& realSide, int id) : real(realSide), whom(id) {}
    void handle(const int& change) {
      Real& side = real;  // This subscriber may go.
      side.act(side.script.called(whom, change));
    }
    Real& real;
    int whom;
    Qiv::Subscription<&Subscriber::handle, int> subscription{*this};
  };
  std::unique_ptr<Subscriber>& subscriber(int whom) {
    return subscribers_[static_cast<std::size_t>(whom)];
  }
  std::unique_ptr<Qiv::Publisher<int>> publisher_ = std::make_unique<Qiv::Publisher<int>>();
  std::vector<std::unique_ptr<Subscriber>> subscribers_ =
      std::vector<std::unique_ptr<Subscriber>>(kSubscribers);
};

class Model final : public Side {
 public:
  using Side::Side;
  void join(int whom) override {
    leave(whom);
    if (exists_[static_cast<std::size_t>(whom)]) {
      members_.push_back({whom, ++memberships_});
    }
  }
  void leave(int whom) override {
    std::erase_if(members_, [&](const Member& member) { return member.whom == whom; });
  }
  void destroy(int whom) override {
    leave(whom);
    exists_[static_cast<std::size_t>(whom)] = false;
  }
  void make(int whom) override { exists_[static_cast<std::size_t>(whom)] = true; }
  void publish(int change) override {
    const std::vector<Member> called = members_;
    for (const Member& member : called) {
      const bool still = std::ranges::any_of(
          members_, [&](const Member& present) { return present.membership == member.membership; });
      if (still) {
        act(script.called(member.whom, change));
      }
    }
  }
  void endPublisher() override { members_.clear(); }

 private:
  struct Member {
    int whom;
    int membership;  // A new one each time somebody joins.
  };
  std::vector<Member> members_;
  std::vector<bool> exists_ = std::vector<bool>(kSubscribers, false);
  int memberships_ = 0;
};

rc::Gen<Act> act() {
  return rc::gen::construct<Act>(rc::gen::weightedElement<Act::Kind>({{8, Act::kNothing},
                                                                      {8, Act::kJoin},
                                                                      {5, Act::kLeave},
                                                                      {4, Act::kDestroy},
                                                                      {6, Act::kMake},
                                                                      {8, Act::kPublish},
                                                                      {1, Act::kEndPublisher}}),
                                 rc::gen::inRange(0, kSubscribers));
}

RC_GTEST_PROP(PublisherProperty, RoundsCallWhomTheModelCallsWhateverTheSubscribersDo, ()) {
  const auto fromOutside = *rc::gen::container<std::vector<Act>>(act());
  const auto fromInside = *rc::gen::container<std::vector<Act>>(act());
  Real real(fromInside);
  Model model(fromInside);
  for (Side* side : {static_cast<Side*>(&real), static_cast<Side*>(&model)}) {
    for (int whom = 0; whom < kSubscribers; ++whom) {
      side->make(whom);
      side->join(whom);
    }
    for (const Act& outside : fromOutside) {
      side->act(outside);
    }
    side->act({Act::kPublish, 0});
  }
  RC_ASSERT(real.script.calls == model.script.calls);
  RC_CLASSIFY(real.script.calls.size() > 20);
}

}  // namespace
}  // namespace Properties
