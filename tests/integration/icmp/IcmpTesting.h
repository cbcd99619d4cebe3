#pragma once

#include <event2/event.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Lab.h"
#include "Unavailable.h"
#include "monitor/icmp/IcmpProber.h"
#include "monitor/loop/Event.h"

namespace Monitor::Testing {

using namespace std::chrono_literals;

/// A prober with its event loop, and rounds run to their end.
class ProberUnderTest {
 public:
  ProberUnderTest()
      : base_(event_base_new(), event_base_free), loop_{base_.get()}, prober_(loop_) {}

  [[nodiscard]] IcmpProber& prober() { return prober_; }

  static ProbeSpec spec(const Binding& binding, const std::string& address,
                        std::uint16_t requests = 5, std::chrono::nanoseconds timeout = 1s) {
    ProbeSpec spec;
    spec.binding = binding;
    spec.address = *IpAddress::parse(address);
    spec.interval = 1s;
    spec.timeout = timeout;
    spec.parameters = IcmpParameters{requests, 20ms};
    return spec;
  }

  /// One round of each, all at the same time. A round in which this process was held up for too
  /// long says nothing, so all are held again when there is one.
  std::vector<Result> rounds(const std::vector<ProbeSpec>& specs) {
    constexpr int kMost = 20;
    std::vector<Result> results = roundsOnce(specs);
    const auto overloaded = [](const Result& result) {
      return result.outcome == Outcome::kOverloaded;
    };
    for (int i = 1; i < kMost && std::any_of(results.begin(), results.end(), overloaded); ++i) {
      results = roundsOnce(specs);
    }
    return results;
  }
  Result round(const ProbeSpec& spec) { return rounds({spec}).front(); }
  std::vector<Result> roundsOnce(const std::vector<ProbeSpec>& specs) {
    std::vector<Result> results(specs.size());
    std::vector<std::unique_ptr<Probe>> probes;
    std::size_t missing = specs.size();
    for (std::size_t i = 0; i < specs.size(); ++i) {
      probes.push_back(prober_.probe(specs[i], [&, i](const Result& result) {
        results[i] = result;
        --missing;
      }));
      probes.back()->start();
    }
    runUntil([&] { return missing == 0; });
    return results;
  }

  void runUntil(const std::function<bool()>& reached) {
    Timer limit(base_.get(), [] { throw std::runtime_error("the test waited in vain"); });
    limit.set(60s);
    while (!reached()) {
      event_base_loop(base_.get(), EVLOOP_ONCE);
    }
  }
  void run(std::chrono::nanoseconds time) {
    bool over = false;
    Timer timer(base_.get(), [&] { over = true; });
    timer.set(time);
    runUntil([&] { return over; });
  }

  [[nodiscard]] std::uint64_t counter(std::string_view name) const {
    for (const Counter& counter : prober_.counters()) {
      if (counter.name == name) {
        return counter.value;
      }
    }
    throw std::runtime_error("no such counter: " + std::string(name));
  }

 private:
  std::unique_ptr<event_base, decltype(&event_base_free)> base_;
  Loop loop_;
  IcmpProber prober_;
};

inline const IcmpMeasurement& measured(const Result& result) {
  return std::get<IcmpMeasurement>(result.measured);
}

/// Tests in a network of their own, or loudly none.
class LabTest : public ::testing::Test {
 protected:
  void SetUp() override {
    try {
      lab.emplace(Netlab::uniqueName());
    } catch (const std::exception& error) {
      GTEST_SKIP() << Netlab::unavailable("tun", error.what());
    }
  }
  [[nodiscard]] Binding inLab() const { return {lab->prober().name(), "", ""}; }
  [[nodiscard]] std::vector<Netlab::Passage> passages(const std::string& address) {
    return lab->wire().passages(*IpAddress::parse(address));
  }
  void impair(const std::string& address, const Netlab::Impairment& impairment) {
    lab->wire().impair(*IpAddress::parse(address), impairment);
  }
  /// Which kind of socket the prober's side gets.
  void allowPingSockets(bool allow) {
    lab->prober().run(allow ? "echo 0 2147483647 > /proc/sys/net/ipv4/ping_group_range"
                            : "echo 1 0 > /proc/sys/net/ipv4/ping_group_range");
  }

  std::optional<Netlab::Lab> lab;
};

}  // namespace Monitor::Testing
