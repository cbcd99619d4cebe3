#include "monitor/watch/Supervisor.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

namespace Monitor {

namespace {

/// Longest time that records of an earlier process are left for the sake of probes that have no
/// result yet. First rounds begin within ten seconds.
constexpr std::chrono::seconds kSweepAfter{15};

}  // namespace

Supervisor::Supervisor(const Loop& loop, const Probers& probers, Log& log)
    : loop_(loop),
      log_(log),
      scheduleTimer_(loop.base, [this] { schedule_.run(); }),
      schedule_(loop.now, [this](Clock::time_point at) { scheduleTimer_.set(at - loop_.now()); }),
      overload_(loop, schedule_, log),
      resolver_(loop),
      context_{schedule_,
               resolver_,
               probers,
               mirror_,
               log,
               [this] { firstResult(); },
               [this] { overload_.roundLost(); }},
      sweepTimer_(loop.base, [this] { sweep(); }) {
  sweepTimer_.set(kSweepAfter);
}

void Supervisor::apply(Config config) {
  checkUsable(config);
  resolver_.vrfsAre(config.vrfs);
  applyProbes(config.probes);
  const bool first = feed_ == nullptr;
  applyAgent(config);
  config_ = std::move(config);
  if (first) {
    awaited_ = watches_.size();
    if (awaited_ == 0) {
      sweep();
    }
  }
}

void Supervisor::checkUsable(const Config& config) const {
  std::set<const Prober*> asked;
  for (const ProbeConfig& probe : config.probes) {
    const Prober& prober = context_.probers.of(probe);
    if (!asked.insert(&prober).second) {
      continue;
    }
    if (const auto why = prober.unavailable()) {
      throw std::runtime_error(*why);
    }
  }
}

void Supervisor::applyProbes(std::vector<ProbeConfig> probes) {
  std::set<std::string> present;
  for (const ProbeConfig& probe : probes) {
    present.insert(probe.identity());
  }
  std::erase_if(watches_, [&](const auto& watch) { return !present.contains(watch.first); });
  for (ProbeConfig& probe : probes) {
    auto& watch = watches_[probe.identity()];
    if (watch == nullptr) {
      watch = std::make_unique<Watch>(context_, std::move(probe));
    } else if (watch->config() != probe) {
      watch->configIs(std::move(probe));
    }
  }
}

void Supervisor::applyAgent(const Config& next) {
  const bool same = feed_ != nullptr && next.client == config_.client &&
                    next.agent.socket == config_.agent.socket;
  if (same) {
    if (next.agent.hold != config_.agent.hold) {
      feed_->holdIs(next.agent.hold);
    }
    return;
  }
  if (feed_ != nullptr) {
    // What was published under the old name, or to the old agent, is not to stay there.
    FeedClient* const old = feed_.get();
    leaving_.emplace(old, std::move(feed_));
    old->leave([this, old] {
      leaving_.erase(old);
      waitForLeaving();
    });
  }
  feed_ = std::make_unique<FeedClient>(loop_, next.client, next.agent, mirror_, log_);
  feed_->holdBack();
  waitForLeaving();
  if (swept_) {
    feed_->sweep();
  }
}

void Supervisor::waitForLeaving() {
  const bool sameLeaves = std::ranges::any_of(
      leaving_, [&](const auto& each) { return each.first->speaksLike(*feed_); });
  if (!sameLeaves) {
    feed_->goOn();
  }
}

void Supervisor::firstResult() {
  if (awaited_ > 0 && --awaited_ == 0) {
    sweep();
  }
}

void Supervisor::sweep() {
  if (!swept_ && feed_ != nullptr) {
    swept_ = true;
    feed_->sweep();
  }
}

}  // namespace Monitor
