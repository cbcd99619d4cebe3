#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FakeNetwork.h"
#include "monitor/icmp/Engine.h"

namespace Monitor::Icmp::Testing {

using namespace std::chrono_literals;
using Verdict = RoundResult::Verdict;
using Request = FakeNetwork::Request;

/// Keeps what it is told.
struct Listener final : RoundListener {
  void roundEnded(const RoundResult& result) override {
    results.push_back(result);
    onResult();
  }
  /// Precondition: there is one.
  [[nodiscard]] const RoundResult& last() const { return results.back(); }

  std::vector<RoundResult> results;
  std::function<void()> onResult = [] {};
};

inline IpAddress address(const std::string& text) { return *IpAddress::parse(text); }

/// An engine in a time and a network of the test's own.
class EngineTest : public ::testing::Test {
 protected:
  static Target target(const std::string& text = "192.0.2.1") {
    return {address(text), 5, 20ms, 1s};
  }

  /// Lets time pass a millisecond at a time, and the engine work in each.
  void pass(Clock::duration duration) {
    for (const Clock::time_point end = now + duration; now < end;) {
      now += 1ms;
      engine.work();
    }
  }

  /// Answers request i of the round after delays[i]; a negative delay is no answer.
  void answer(std::vector<std::chrono::milliseconds> delays) {
    network.onRequest = [this, delays, i = std::size_t{0}](const Request& request) mutable {
      if (const auto delay = delays.at(i++ % delays.size()); delay >= 0ms) {
        network.reply(request, delay);
      }
    };
  }

  Clock::time_point now{1'000'000s};
  FakeNetwork network{now};
  std::uint64_t lastToken = 0;
  Engine engine{network, [this] { return now; },
                [this] { return lastToken += 0x9e3779b97f4a7c15; }};
};

}  // namespace Monitor::Icmp::Testing
