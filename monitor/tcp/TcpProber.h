#pragma once

#include <array>

#include "monitor/Prober.h"

namespace Monitor {

/// Measures how long a TCP connection takes to be made. The connection is closed at once, nothing
/// is sent on it.
class TcpProber final : public Prober {
 public:
  explicit TcpProber(Loop loop) : loop_(std::move(loop)) {}

  [[nodiscard]] std::optional<std::string> unavailable() const override { return std::nullopt; }
  [[nodiscard]] std::unique_ptr<Probe> probe(const ProbeSpec& spec, OnResult onResult) override;
  [[nodiscard]] std::vector<Counter> counters() const override;

 private:
  friend class TcpProbe;
  struct Counts {
    std::uint64_t connected = 0, noAnswer = 0, notMeasured = 0;
  };

  Loop loop_;
  Counts counts_;
};

}  // namespace Monitor
