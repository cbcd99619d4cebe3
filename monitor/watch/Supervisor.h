#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "monitor/config/Config.h"
#include "monitor/feed/FeedClient.h"
#include "monitor/loop/Event.h"
#include "monitor/resolve/Resolver.h"
#include "monitor/watch/OverloadReport.h"
#include "monitor/watch/Watch.h"

namespace Monitor {

/// Runs a configuration, and changes to the next one with as little disturbance as can be.
class Supervisor {
 public:
  Supervisor(const Loop& loop, const Probers& probers, Log& log);
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;

  /// Carries `config` out: probes that it does not change are not touched, others are restarted,
  /// added or removed. Throws std::runtime_error, and then the configuration of before goes on.
  void apply(Config config);

  [[nodiscard]] const Config& config() const noexcept { return config_; }
  [[nodiscard]] const Schedule& schedule() const noexcept { return schedule_; }
  [[nodiscard]] const OverloadReport& overload() const noexcept { return overload_; }
  [[nodiscard]] const Resolver& resolver() const noexcept { return resolver_; }
  [[nodiscard]] const Probers& probers() const noexcept { return context_.probers; }
  /// Null before the first configuration.
  [[nodiscard]] const FeedClient* feed() const noexcept { return feed_.get(); }
  [[nodiscard]] const std::map<std::string, std::unique_ptr<Watch>>& watches() const noexcept {
    return watches_;
  }

 private:
  void checkUsable(const Config& config) const;
  void applyProbes(std::vector<ProbeConfig> probes);
  void applyAgent(const Config& next);
  /// Lets the feed connect unless one that leaves still speaks for the same client: what that one
  /// asks for last would remove the new one's records.
  void waitForLeaving();
  void firstResult();
  void sweep();

  Loop loop_;
  Log& log_;
  Config config_;
  Timer scheduleTimer_;
  Schedule schedule_;
  OverloadReport overload_;
  Resolver resolver_;
  Mirror mirror_;
  WatchContext context_;
  std::map<std::string, std::unique_ptr<Watch>> watches_;  ///< By identity.
  std::size_t awaited_ = 0;                                ///< First results until the sweep.
  std::unique_ptr<FeedClient> feed_;
  std::map<const FeedClient*, std::unique_ptr<FeedClient>> leaving_;
  bool swept_ = false;  ///< The present records are worth more than an earlier process's.
  Timer sweepTimer_;
};

}  // namespace Monitor
