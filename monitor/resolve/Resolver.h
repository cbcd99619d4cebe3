#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "monitor/Prober.h"
#include "monitor/config/Config.h"
#include "monitor/resolve/AresChannel.h"
#include "monitor/resolve/NameSource.h"

namespace Monitor {

/// When a name is asked for again.
struct ResolvePace {
  /// Bounds of the time that an answer is used for; within them its TTL decides.
  std::chrono::nanoseconds shortest = std::chrono::seconds(5);
  std::chrono::nanoseconds longest = std::chrono::hours(1);
  /// After failures: at first after `shortest`, then each time after twice as long, up to this.
  std::chrono::nanoseconds longestRetry = std::chrono::minutes(1);
};

/// Resolves names through c-ares, each in its VRF. A name that many probes share is asked for once.
class Resolver final : public NameSource {
 public:
  explicit Resolver(Loop loop, ResolvePace pace = {});
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;
  /// All interests have ended.
  ~Resolver() override;

  /// Where names can be asked for. Reads the lists of name servers anew; names are kept. Throws
  /// std::runtime_error, and then nothing has changed.
  void vrfsAre(const std::vector<VrfConfig>& vrfs);

  [[nodiscard]] std::unique_ptr<Interest> follow(const std::string& vrf, const std::string& name,
                                                 OnAnswer onAnswer) override;

  [[nodiscard]] std::vector<Counter> counters() const;

 private:
  class Name;
  class Following;

  Loop loop_;
  ResolvePace pace_;
  std::map<std::string, std::unique_ptr<AresChannel>> channels_;                ///< By VRF.
  std::map<std::pair<std::string, std::string>, std::unique_ptr<Name>> names_;  ///< By VRF, name.
  std::uint64_t asked_ = 0, failed_ = 0;
};

}  // namespace Monitor
