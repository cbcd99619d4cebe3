#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "monitor/Prober.h"

namespace Monitor {

/// Measures by ICMP and ICMPv6 echo (RFC 792, RFC 4443): a burst of requests a round, over one
/// socket for each family and place, however many targets there are.
class IcmpProber final : public Prober {
 public:
  /// `loop` outlives it.
  explicit IcmpProber(const Loop& loop);
  ~IcmpProber() override;

  [[nodiscard]] std::optional<std::string> unavailable() const override;
  [[nodiscard]] std::unique_ptr<Probe> probe(const ProbeSpec& spec, OnResult onResult) override;
  [[nodiscard]] std::vector<Counter> counters() const override;

 private:
  struct Machine;
  std::unique_ptr<Machine> machine_;
};

}  // namespace Monitor
