// Any network against a model that knows what it did to each request.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "EngineTesting.h"

namespace Monitor::Icmp::Testing {
namespace {

constexpr std::uint16_t kRequests = 5;
constexpr auto kTimeout = 300ms;

/// What the network decided for one request.
struct Fate {
  bool answered = false;
  Milliseconds trip{};
};

class EngineModel : public EngineTest {
 protected:
  static Summary expected(const std::vector<Fate>& fates) {
    Summary summary;
    summary.sent = static_cast<std::uint32_t>(fates.size());
    double total = 0, differences = 0;
    std::vector<double> trips;
    for (const Fate& fate : fates) {
      if (fate.answered && fate.trip <= kTimeout) {
        trips.push_back(fate.trip.count());
        total += fate.trip.count();
      }
    }
    for (std::size_t i = 1; i < trips.size(); ++i) {
      differences += std::abs(trips[i] - trips[i - 1]);
    }
    const auto count = static_cast<double>(trips.size());
    summary.mean = Milliseconds(trips.empty() ? 0 : total / count);
    if (trips.size() > 1) {
      summary.jitter = Milliseconds(differences / (count - 1));
    }
    summary.lossPercent = 100 * (1 - count / kRequests);
    return summary;
  }

  void play(unsigned seed) {
    std::mt19937 random(seed);
    const auto chance = [&](unsigned percent) { return random() % 100 < percent; };
    std::map<IpAddress, std::vector<Fate>> fates;
    network.onRequest = [&](const Request& request) {
      Fate fate;
      const auto trip = std::chrono::microseconds(random() % 400'000);
      if (!chance(20)) {
        fate = {true, trip};
        network.reply(request, trip);
        if (chance(20)) {  // a duplicate, always behind
          network.reply(request, trip + std::chrono::microseconds(random() % 900'000));
        }
      }
      if (chance(10)) {
        network.arrive(now + 1ms, request, FakeNetwork::replyTo(request), address("203.0.113.9"));
      }
      fates[request.to].push_back(fate);
    };
    std::vector<std::unique_ptr<Listener>> listeners;
    std::vector<IpAddress> addresses;
    std::vector<Engine::TargetId> ids;
    for (int i = 0; i < 20; ++i) {
      addresses.push_back(
          address((i % 2 == 0 ? "192.0.2." : "2001:db8::") + std::to_string(i + 1)));
      listeners.push_back(std::make_unique<Listener>());
      ids.push_back(
          engine.add({}, {addresses.back(), kRequests, 20ms, kTimeout}, *listeners.back()));
    }
    for (std::size_t round = 1; round <= 5; ++round) {
      fates.clear();
      for (const auto id : ids) {
        engine.begin(id);
        now += std::chrono::microseconds(random() % 5000);
      }
      for (const auto end = now + 3s; now < end;) {
        // Mostly on time, at times far behind, but never too late to send.
        now += std::chrono::milliseconds(chance(3) ? 200 : 1 + random() % 4);
        engine.work();
      }
      for (std::size_t i = 0; i < ids.size(); ++i) {
        ASSERT_EQ(listeners[i]->results.size(), round);
        const RoundResult& got = listeners[i]->last();
        const Summary wanted = expected(fates[addresses[i]]);
        ASSERT_EQ(got.verdict, Verdict::kMeasured);
        ASSERT_NEAR(got.summary.mean.count(), wanted.mean.count(), 1e-9);
        ASSERT_EQ(got.summary.jitter.has_value(), wanted.jitter.has_value());
        if (wanted.jitter) {
          ASSERT_NEAR(got.summary.jitter->count(), wanted.jitter->count(), 1e-9);
        }
        ASSERT_NEAR(got.summary.lossPercent, wanted.lossPercent, 1e-9);
      }
    }
    for (const auto id : ids) {
      engine.remove(id);
    }
  }
};

TEST_F(EngineModel, EveryRoundSaysWhatTheNetworkDidToIt) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    play(seed);
    if (HasFatalFailure()) {
      return;
    }
  }
}

}  // namespace
}  // namespace Monitor::Icmp::Testing
