#include "monitor/resolve/Resolver.h"

#include <algorithm>

namespace Monitor {

/// One name in one VRF, as long as anyone is interested.
class Resolver::Name {
 public:
  Name(Resolver& resolver, std::string vrf, std::string name)
      : resolver_(resolver),
        vrf_(std::move(vrf)),
        name_(std::move(name)),
        askTimer_(resolver.loop_.base, [this] { ask(); }),
        tellTimer_(resolver.loop_.base, [this] { tell(); }) {
    askTimer_.set({});
  }

  /// Asks now: the servers may be others, and their answer to a question under way never comes.
  void askAnew() {
    asking_.reset();
    askTimer_.set({});
  }

  void add(Following& following) { followings_.insert(&following); }
  /// True when it was the last.
  bool remove(Following& following) {
    followings_.erase(&following);
    return followings_.empty();
  }

  [[nodiscard]] const std::optional<NameAnswer>& latest() const { return latest_; }
  [[nodiscard]] const std::string& vrf() const { return vrf_; }
  [[nodiscard]] const std::string& text() const { return name_; }

 private:
  void ask();
  void found(Clock::time_point begin, AresChannel::Found found);
  void tell();

  Resolver& resolver_;
  std::string vrf_;
  std::string name_;
  /// Exists while a question is under way, which holds it weakly: an answer to a name that nobody
  /// follows any more, or that was asked for anew, falls on nothing.
  std::shared_ptr<Name*> asking_;
  std::optional<NameAnswer> latest_;
  std::chrono::nanoseconds retry_{};
  std::set<Following*> followings_;
  Timer askTimer_;
  Timer tellTimer_;
};

class Resolver::Following final : public Interest {
 public:
  Following(Resolver& resolver, Name& name, OnAnswer onAnswer)
      : resolver_(resolver), name_(name), onAnswer_(std::move(onAnswer)) {
    name_.add(*this);
  }
  ~Following() override {
    if (name_.remove(*this)) {
      resolver_.names_.erase(std::pair(name_.vrf(), name_.text()));
    }
  }

  [[nodiscard]] const std::optional<NameAnswer>& latest() const override { return name_.latest(); }
  [[nodiscard]] const OnAnswer& onAnswer() const { return onAnswer_; }

 private:
  Resolver& resolver_;
  Name& name_;
  OnAnswer onAnswer_;
};

void Resolver::Name::ask() {
  const auto channel = resolver_.channels_.find(vrf_);
  if (channel == resolver_.channels_.end()) {
    found(resolver_.loop_.now(), {{}, {}, "no such VRF"});
    return;
  }
  ++resolver_.asked_;
  asking_ = std::make_shared<Name*>(this);
  channel->second->ask(name_, [begin = resolver_.loop_.now(),
                               asking = std::weak_ptr(asking_)](AresChannel::Found answer) {
    if (const auto name = asking.lock()) {
      (*name)->found(begin, std::move(answer));
    }
  });
}

void Resolver::Name::found(Clock::time_point begin, AresChannel::Found answer) {
  const ResolvePace& pace = resolver_.pace_;
  asking_.reset();
  latest_ = NameAnswer{std::move(answer.addresses), std::move(answer.error),
                       resolver_.loop_.now() - begin};
  if (latest_->addresses.empty()) {
    ++resolver_.failed_;
    retry_ = std::clamp(retry_ * 2, pace.shortest, pace.longestRetry);
    askTimer_.set(retry_);
  } else {
    retry_ = {};
    askTimer_.set(std::clamp(std::chrono::nanoseconds(answer.ttl), pace.shortest, pace.longest));
  }
  // Those who hear of it may end their interest and this name with it, or change the VRFs, neither
  // of which c-ares could bear in the midst of its work.
  tellTimer_.set({});
}

void Resolver::Name::tell() {
  const NameAnswer answer = *latest_;
  // A callback may end interests, and with the last one this name. Whoever comes in mid-round sees
  // the answer in latest().
  const std::vector<Following*> round(followings_.begin(), followings_.end());
  const std::pair key(vrf_, name_);
  Resolver& resolver = resolver_;
  for (Following* following : round) {
    const auto self = resolver.names_.find(key);
    if (self == resolver.names_.end() || self->second.get() != this) {
      return;
    }
    if (followings_.contains(following)) {
      const OnAnswer call = following->onAnswer();
      call(answer);
    }
  }
}

Resolver::Resolver(Loop loop, ResolvePace pace) : loop_(std::move(loop)), pace_(pace) {}

Resolver::~Resolver() = default;

void Resolver::vrfsAre(const std::vector<VrfConfig>& vrfs) {
  std::map<std::string, std::unique_ptr<AresChannel>> channels;
  for (const VrfConfig& vrf : vrfs) {
    channels.emplace(vrf.name, std::make_unique<AresChannel>(loop_.base, vrf));
  }
  channels_.swap(channels);
  for (const auto& [key, name] : names_) {
    name->askAnew();
  }
}

std::unique_ptr<NameSource::Interest> Resolver::follow(const std::string& vrf,
                                                       const std::string& name, OnAnswer onAnswer) {
  auto& entry = names_[{vrf, name}];
  if (entry == nullptr) {
    entry = std::make_unique<Name>(*this, vrf, name);
  }
  return std::make_unique<Following>(*this, *entry, std::move(onAnswer));
}

std::vector<Counter> Resolver::counters() const {
  return {{"names", names_.size()}, {"questions", asked_}, {"failures", failed_}};
}

}  // namespace Monitor
