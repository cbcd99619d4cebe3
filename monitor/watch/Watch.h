#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "monitor/config/Config.h"
#include "monitor/feed/Mirror.h"
#include "monitor/log/Log.h"
#include "monitor/resolve/NameSource.h"
#include "monitor/schedule/Schedule.h"

namespace Monitor {

/// One prober a protocol.
struct Probers {
  Prober& icmp;
  Prober& tcp;
  Prober& http;

  [[nodiscard]] Prober& of(const ProbeConfig& probe) const;
};

/// What all watches share. It outlives them.
struct WatchContext {
  Schedule& schedule;
  NameSource& names;
  Probers probers;
  Mirror& mirror;
  Log& log;
  std::function<void()> onFirstResult;  ///< Called once for each watch.
  std::function<void()> onOverloaded;   ///< Called for each round that ended so.
};

/// One configured probe at work: finds its address, measures at its turns, publishes its record,
/// and says in the log when something changes.
///
///  1. A record is replaced by the next one and never missing in between, also when settings or the
///     name's address change.
///  2. A name that can't be resolved any more keeps its last address.
///  3. What the prober could not measure leaves the record as it is; after several such rounds on
///     end the record is withdrawn, as an old figure would be taken for a new one. Overloaded
///     rounds don't count towards these: the next one may well be held.
class Watch {
 public:
  Watch(WatchContext& context, ProbeConfig config);
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  /// Withdraws the record.
  ~Watch();

  /// Other settings; the identity is the same.
  void configIs(ProbeConfig config);

  [[nodiscard]] const ProbeConfig& config() const noexcept { return config_; }
  [[nodiscard]] const std::optional<IpAddress>& address() const noexcept { return address_; }
  /// Null before the first round has ended.
  [[nodiscard]] const std::optional<Result>& last() const noexcept { return last_; }
  [[nodiscard]] std::uint64_t rounds() const noexcept { return rounds_; }
  [[nodiscard]] std::uint64_t failures() const noexcept { return failures_; }
  /// How long the latest answer to the name took; null for an address.
  [[nodiscard]] std::optional<Milliseconds> resolveTime() const;

 private:
  void begin();
  void startRound();
  void roundDone(const Result& result);
  void publish(const Result& result);
  void withdraw();
  void report(const Result& result);
  void nameAnswered(const NameAnswer& answer);
  void addressIs(const IpAddress& address);
  [[nodiscard]] std::string title() const;

  WatchContext& context_;
  ProbeConfig config_;
  std::optional<IpAddress> address_;
  std::string key_;           ///< Of the record; empty as long as it can't be known.
  std::string publishedKey_;  ///< Empty: no record.
  std::optional<Result> last_;
  unsigned unmeasured_ = 0;  ///< Rounds on end.
  std::uint64_t rounds_ = 0, failures_ = 0;
  bool nameFailureSaid_ = false;
  std::unique_ptr<NameSource::Interest> name_;
  std::unique_ptr<Probe> probe_;
  std::optional<Schedule::Place> place_;
};

}  // namespace Monitor
