#pragma once

#include "monitor/Prober.h"
#include "monitor/http/CurlMulti.h"

namespace Monitor {

/// Measures HTTP and HTTPS exchanges, each on a connection of its own, from the connect to the last
/// byte of the answer. Redirects are not followed and proxies not used: what is measured is the
/// server that was named.
class HttpProber final : public Prober {
 public:
  explicit HttpProber(const Loop& loop) : loop_(loop), multi_(loop.base) {}

  [[nodiscard]] std::optional<std::string> unavailable() const override { return std::nullopt; }
  [[nodiscard]] std::unique_ptr<Probe> probe(const ProbeSpec& spec, OnResult onResult) override;
  [[nodiscard]] std::vector<Counter> counters() const override;

 private:
  friend class HttpProbe;
  struct Counts {
    std::uint64_t answered = 0, unexpected = 0, noAnswer = 0, notMeasured = 0, overloaded = 0;
  };

  Loop loop_;
  CurlMulti multi_;
  Counts counts_;
};

}  // namespace Monitor
