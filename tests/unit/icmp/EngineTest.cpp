#include "monitor/icmp/Engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <set>

#include "EngineTesting.h"

namespace Monitor::Icmp::Testing {
namespace {

TEST_F(EngineTest, ARoundMeasuresMeanJitterAndLoss) {
  answer({10ms, 30ms, -1ms, 30ms, 50ms});
  Listener listener;
  engine.begin(engine.add({}, target(), listener));
  pass(2s);
  ASSERT_EQ(listener.results.size(), 1U);
  const RoundResult& result = listener.last();
  EXPECT_EQ(result.verdict, Verdict::kMeasured);
  EXPECT_DOUBLE_EQ(result.summary.mean.count(), 30);
  EXPECT_DOUBLE_EQ(result.summary.jitter.value().count(), 40.0 / 3);
  EXPECT_DOUBLE_EQ(result.summary.lossPercent, 20);
  EXPECT_EQ(engine.counters().lost, 1U);
}

TEST_F(EngineTest, RequestsKeepTheirDistance) {
  Listener listener;
  engine.begin(engine.add({}, target(), listener));
  pass(2s);
  ASSERT_EQ(network.requests.size(), 5U);
  for (std::size_t i = 1; i < 5; ++i) {
    const auto gap = network.requests[i].at - network.requests[i - 1].at;
    EXPECT_GE(gap, 20ms - Engine::kTick);
    EXPECT_LE(gap, 20ms + Engine::kTick);
  }
}

TEST_F(EngineTest, ARoundEndsWithItsLastAnswerNotWithItsTimeout) {
  answer({5ms});
  Listener listener;
  engine.begin(engine.add({}, target(), listener));
  pass(95ms);
  EXPECT_EQ(listener.results.size(), 1U);
}

TEST_F(EngineTest, ARoundWithoutAnswersEndsATimeoutAfterItsLastRequest) {
  Listener listener;
  engine.begin(engine.add({}, target(), listener));
  pass(1s);
  EXPECT_TRUE(listener.results.empty());
  pass(100ms);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 100);
  EXPECT_EQ(engine.nextWork(), std::nullopt);
}

TEST_F(EngineTest, NothingEndsWithinBegin) {
  network.openError = SocketError{ENODEV, "interface eth7: No such device"};
  Listener listener;
  engine.begin(engine.add({}, target(), listener));
  EXPECT_TRUE(listener.results.empty());
  EXPECT_EQ(engine.nextWork(), now);
}

TEST_F(EngineTest, TheKernelsTimesOfSendingAreUsed) {
  answer({10ms});
  Listener listener;
  engine.begin(engine.add({}, target(), listener));
  for (std::size_t stamped = 0; stamped < 5;) {
    pass(1ms);
    for (; stamped < network.requests.size(); ++stamped) {
      network.stamp(network.requests[stamped], 3ms);
    }
  }
  pass(1s);
  EXPECT_DOUBLE_EQ(listener.last().summary.mean.count(), 7);
}

TEST_F(EngineTest, ManyTargetsOfAPlaceShareASocketForEachFamily) {
  std::vector<std::unique_ptr<Listener>> listeners;
  for (int i = 0; i < 50; ++i) {
    listeners.push_back(std::make_unique<Listener>());
    engine.begin(engine.add({}, target("192.0.2." + std::to_string(i + 1)), *listeners.back()));
    listeners.push_back(std::make_unique<Listener>());
    engine.begin(engine.add({}, target("2001:db8::" + std::to_string(i + 1)), *listeners.back()));
  }
  EXPECT_EQ(network.opened, 2);
  Listener elsewhere;
  engine.begin(engine.add({"blue", {}, {}}, target(), elsewhere));
  engine.begin(engine.add({{}, {}, "eth1"}, target(), elsewhere));
  EXPECT_EQ(network.opened, 4);
}

TEST_F(EngineTest, ASocketIsClosedWithTheLastTargetThatUsesIt) {
  Listener listener;
  const auto first = engine.add({}, target(), listener);
  const auto second = engine.add({}, target(), listener);
  engine.begin(first);
  engine.remove(first);
  EXPECT_EQ(network.closed, 0);
  engine.remove(second);
  EXPECT_EQ(network.closed, 1);
}

TEST_F(EngineTest, TokensOfRoundsDiffer) {
  answer({1ms});
  Listener listener;
  const auto id = engine.add({}, target(), listener);
  std::set<std::uint64_t> tokens;
  for (int i = 0; i < 10; ++i) {
    engine.begin(id);
    pass(1s);
    tokens.insert(parseQuotation(network.requests.back().bytes, Framing::kIcmpv4)->mark.token);
  }
  EXPECT_EQ(tokens.size(), 10U);
}

TEST_F(EngineTest, ARoundThatIsCancelledIsNeverHeardOf) {
  answer({30ms});
  Listener listener;
  const auto id = engine.add({}, target(), listener);
  for (const auto after : {0ms, 1ms, 25ms, 85ms, 100ms}) {
    engine.begin(id);
    pass(after);
    engine.cancel(id);
    pass(2s);
    EXPECT_TRUE(listener.results.empty());
  }
  engine.begin(id);
  pass(2s);
  EXPECT_EQ(listener.results.size(), 1U);
}

TEST_F(EngineTest, AnEndedRoundThatIsCancelledBeforeItIsToldIsNeverHeardOf) {
  network.openError = SocketError{ENODEV, "gone"};
  Listener listener;
  const auto id = engine.add({}, target(), listener);
  engine.begin(id);
  engine.cancel(id);
  pass(2s);
  EXPECT_TRUE(listener.results.empty());
}

TEST_F(EngineTest, AListenerMayBeginTheNextRound) {
  answer({1ms});
  Listener listener;
  const auto id = engine.add({}, target(), listener);
  listener.onResult = [&] {
    if (listener.results.size() < 3) {
      engine.begin(id);
    }
  };
  engine.begin(id);
  pass(3s);
  EXPECT_EQ(listener.results.size(), 3U);
}

TEST_F(EngineTest, AListenerMayRemoveItsTargetAndOthersAndAddMany) {
  answer({1ms});
  Listener first, second, added;
  const auto one = engine.add({}, target("192.0.2.1"), first);
  const auto two = engine.add({}, target("192.0.2.2"), second);
  const auto removeBoth = [&] {
    engine.remove(one);
    engine.remove(two);
    for (int i = 0; i < 100; ++i) {
      engine.begin(engine.add({}, target("192.0.2.3"), added));
    }
  };
  first.onResult = second.onResult = removeBoth;
  engine.begin(one);
  engine.begin(two);
  pass(3s);
  EXPECT_EQ(first.results.size() + second.results.size(), 1U);
  EXPECT_EQ(added.results.size(), 100U);
}

TEST_F(EngineTest, SendingIsPaced) {
  Settings settings;
  settings.packetsPerSecond = 1000;
  Engine paced(
      network, [this] { return now; }, [this] { return ++lastToken; }, settings);
  Listener listener;
  for (int i = 0; i < 200; ++i) {
    paced.begin(paced.add({}, {address("192.0.2.1"), 1, 20ms, 1s}, listener));
  }
  std::size_t before = 0;
  for (int i = 0; i < 100; ++i) {
    now += 1ms;
    paced.work();
    EXPECT_LE(network.requests.size() - before, 5U);
    before = network.requests.size();
    EXPECT_LE(before, 6U + static_cast<std::size_t>(i));
  }
  EXPECT_GE(before, 99U);
}

TEST_F(EngineTest, SocketsTakeTurnsWhenThePacerIsShort) {
  Settings settings;
  settings.packetsPerSecond = 1000;
  Engine paced(
      network, [this] { return now; }, [this] { return ++lastToken; }, settings);
  Listener listener;
  for (int i = 0; i < 100; ++i) {
    paced.begin(paced.add({}, {address("192.0.2.1"), 1, 20ms, 1s}, listener));
    paced.begin(paced.add({}, {address("2001:db8::1"), 1, 20ms, 1s}, listener));
  }
  for (int i = 0; i < 50; ++i) {
    now += 1ms;
    paced.work();
  }
  const auto v6 = std::count_if(network.requests.begin(), network.requests.end(),
                                [](const Request& request) { return request.to.isV6(); });
  EXPECT_GE(v6, 15);
  EXPECT_GE(static_cast<std::ptrdiff_t>(network.requests.size()) - v6, 15);
}

TEST_F(EngineTest, TimesOfSendingAreAskedForWhileLittleIsSent) {
  answer({1ms});
  Listener listener;
  std::vector<Engine::TargetId> ids;
  for (int i = 0; i < 1000; ++i) {
    ids.push_back(engine.add({}, {address("192.0.2.1"), 5, 1ms, 1s}, listener));
  }
  engine.begin(ids[0]);
  pass(300ms);
  EXPECT_EQ(network.stampings, 1);
  for (int i = 0; i < 20; ++i) {  // 50,000 requests a second
    for (const auto id : ids) {
      engine.begin(id);
    }
    pass(100ms);
  }
  EXPECT_EQ(network.stampings, 0);
  pass(5s);
  EXPECT_EQ(network.stampings, 1);
}

TEST_F(EngineTest, EachRequestOfABatchHasItsOwnTimeOfSendingWithoutTheKernels) {
  // Two microseconds pass in the system call for each request.
  network.onRequest = [this](const Request& request) {
    network.reply(request, 1ms);
    now += 2us;
  };
  std::deque<Listener> listeners(1000);
  std::vector<Engine::TargetId> ids;
  for (Listener& listener : listeners) {
    ids.push_back(engine.add({}, {address("192.0.2.1"), 5, 1ms, 1s}, listener));
  }
  for (int i = 0; i < 6; ++i) {
    for (const auto id : ids) {
      engine.begin(id);
    }
    pass(100ms);
  }
  ASSERT_EQ(network.stampings, 0) << "too little is sent for this test";
  network.batches.clear();
  for (const auto id : ids) {
    engine.begin(id);
  }
  pass(200ms);
  EXPECT_GT(*std::max_element(network.batches.begin(), network.batches.end()), 1U);
  for (const Listener& listener : listeners) {
    EXPECT_NEAR(listener.last().summary.mean.count(), 1.0, 1e-5);
    EXPECT_NEAR(listener.last().summary.jitter.value().count(), 0.0, 1e-5);
  }
}

}  // namespace
}  // namespace Monitor::Icmp::Testing
