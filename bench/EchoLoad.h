#pragma once

#include <event2/event.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "monitor/icmp/IcmpProber.h"

namespace bench {

using namespace std::chrono_literals;
using Monitor::Clock;

inline constexpr int kRequests = 5;  ///< A round, unless told otherwise.
inline constexpr auto kGap = 20ms;
inline constexpr auto kInterval = 1s;

[[nodiscard]] inline double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

[[nodiscard]] inline double cpuSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The n-th of the targets, in `network`/8.
[[nodiscard]] inline std::string addressOf(int network, int n) {
  return std::to_string(network) + "." + std::to_string(1 + n / 62500) + "." +
         std::to_string(n / 250 % 250) + "." + std::to_string(n % 250 + 1);
}

struct Figures {
  double cpu = 0;   ///< Seconds.
  double wall = 0;  ///< Seconds.
  long packets = 0;
  long lost = 0;
  long rounds = 0;
  long unmeasured = 0;
  double meanMs = 0;

  [[nodiscard]] double microsecondsEach() const { return cpu * 1e6 / static_cast<double>(packets); }
  [[nodiscard]] double cores() const { return cpu / wall; }
};

/// Targets measured every second, their rounds spread over it.
class EchoLoad {
 public:
  EchoLoad(int network, int targets, int requests)
      : requests_(requests), base_(event_base_new(), event_base_free), loop_{base_.get()} {
    prober_ = std::make_unique<Monitor::IcmpProber>(loop_);
    if (const auto why = prober_->unavailable()) {
      std::fprintf(stderr, "%s\n", why->c_str());
      std::exit(2);
    }
    for (int i = 0; i < targets; ++i) {
      Monitor::ProbeSpec spec;
      spec.address = *Monitor::IpAddress::parse(addressOf(network, i));
      spec.interval = kInterval;
      spec.timeout = kInterval - requests * kGap - 50ms;
      spec.parameters = Monitor::IcmpParameters{static_cast<std::uint16_t>(requests), kGap};
      probes_.push_back(prober_->probe(spec, [this, i](const Monitor::Result& result) {
        underWay_[static_cast<std::size_t>(i)] = false;
        count(result);
      }));
    }
    underWay_.resize(probes_.size());
  }

  Figures run(int intervals) {
    figures_ = {};
    next_ = 0;
    last_ = static_cast<long>(probes_.size()) * intervals;
    begun_ = Clock::now();
    const double cpu = cpuSeconds(RUSAGE_SELF);
    std::unique_ptr<event, decltype(&event_free)> beat(
        event_new(
            base_.get(), -1, EV_PERSIST,
            [](evutil_socket_t, short, void* self) { static_cast<EchoLoad*>(self)->start(); },
            this),
        event_free);
    const timeval tick{0, 2000};
    event_add(beat.get(), &tick);
    event_base_dispatch(base_.get());
    figures_.cpu = cpuSeconds(RUSAGE_SELF) - cpu;
    figures_.wall = std::chrono::duration<double>(Clock::now() - begun_).count();
    figures_.meanMs /= static_cast<double>(std::max(1L, figures_.rounds - figures_.unmeasured));
    return figures_;
  }

  void printCounters() const {
    for (const Monitor::Counter& counter : prober_->counters()) {
      if (counter.value > 0) {
        std::printf("    %-32s %12llu\n", std::string(counter.name).c_str(),
                    static_cast<unsigned long long>(counter.value));
      }
    }
  }

 private:
  void start() {
    const auto since = Clock::now() - begun_;
    const auto size = static_cast<long>(probes_.size());
    for (; next_ < last_ && kInterval * next_ / size <= since; ++next_) {
      const auto target = static_cast<std::size_t>(next_ % size);
      if (underWay_[target]) {  // its answers are more than an interval late
        count({});
        continue;
      }
      underWay_[target] = true;
      probes_[target]->start();
    }
    if (figures_.rounds == last_) {
      event_base_loopbreak(base_.get());
    }
  }

  void count(const Monitor::Result& result) {
    ++figures_.rounds;
    if (result.outcome == Monitor::Outcome::kNotMeasured ||
        result.outcome == Monitor::Outcome::kOverloaded) {
      ++figures_.unmeasured;
      return;
    }
    const auto& measured = std::get<Monitor::IcmpMeasurement>(result.measured);
    figures_.packets += requests_;
    figures_.lost += static_cast<long>(measured.lossPercent * requests_ / 100 + 0.5);
    figures_.meanMs += measured.meanMs;
  }

  int requests_;  ///< A round.
  std::unique_ptr<event_base, decltype(&event_base_free)> base_;
  Monitor::Loop loop_;
  std::unique_ptr<Monitor::IcmpProber> prober_;
  std::vector<std::unique_ptr<Monitor::Probe>> probes_;
  std::vector<bool> underWay_;
  Figures figures_;
  Clock::time_point begun_;
  long next_ = 0, last_ = 0;
};

}  // namespace bench
