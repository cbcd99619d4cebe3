// Being slow must not look like a slow or lossy network; being unable to send must not look like a
// dead target.
#include <gtest/gtest.h>

#include <cerrno>

#include "EngineTesting.h"

namespace Monitor::Icmp::Testing {
namespace {

class EngineOverload : public EngineTest {
 protected:
  Listener listener;
  Engine::TargetId id = engine.add({}, target(), listener);
};

TEST_F(EngineOverload, AnswersReadLongAfterTheDeadlineStillCountWithTheirOwnTimes) {
  answer({10ms});
  engine.begin(id);
  pass(85ms);
  now += 10s;  // the event loop was elsewhere
  engine.work();
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 0);
  EXPECT_DOUBLE_EQ(listener.last().summary.mean.count(), 10);
}

TEST_F(EngineOverload, NothingIsJudgedWhileSomethingIsUnread) {
  answer({10ms});
  network.reading = false;
  network.allRead = false;
  engine.begin(id);
  pass(3s);
  EXPECT_TRUE(listener.results.empty());
  network.reading = network.allRead = true;
  pass(2ms);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 0);
}

TEST_F(EngineOverload, RequestsThatCouldNotBeSentInTimeEndTheRoundWithoutAVerdict) {
  answer({10ms});
  engine.begin(id);
  pass(30ms);
  now += 10s;
  pass(100ms);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_EQ(listener.last().verdict, Verdict::kOverloaded);
  EXPECT_EQ(engine.counters().overloaded, 1U);
}

TEST_F(EngineOverload, ASlightDelayOfSendingIsNoOverload) {
  answer({10ms});
  engine.begin(id);
  pass(30ms);
  now += 400ms;
  pass(500ms);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
  EXPECT_DOUBLE_EQ(listener.last().summary.mean.count(), 10);
}

TEST_F(EngineOverload, LossWhileTheSocketOverflowedIsNoLoss) {
  answer({10ms, -1ms});
  engine.begin(id);
  pass(50ms);
  network.overflowed = 1;
  pass(2s);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_EQ(listener.last().verdict, Verdict::kOverloaded);
  EXPECT_EQ(engine.counters().overflowed, 1U);
}

TEST_F(EngineOverload, ACompleteRoundIsMeasuredWhateverOverflowed) {
  answer({10ms});
  engine.begin(id);
  pass(50ms);
  network.overflowed = 1;
  pass(2s);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
}

TEST_F(EngineOverload, LossInARoundAfterTheOverflowIsLoss) {
  answer({10ms, -1ms});
  network.overflowed = 0;
  engine.begin(id);
  pass(2s);
  network.overflowed = 5;
  pass(2s);
  engine.begin(id);
  pass(2s);  // the socket is looked at when a round begins
  engine.begin(id);
  pass(2s);
  EXPECT_EQ(listener.results[0].verdict, Verdict::kMeasured);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 40);
  EXPECT_EQ(engine.counters().overflowed, 5U);
}

TEST_F(EngineOverload, AFullQueueIsTriedAgainWithoutLoss) {
  answer({10ms});
  network.sendError = ENOBUFS;
  int refusals = 3;
  network.onSend = [&](const IpAddress&) {
    return refusals-- > 0 ? Sent::Stop::kBusy : Sent::Stop::kNone;
  };
  engine.begin(id);
  pass(2s);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 0);
  EXPECT_EQ(engine.counters().busy, 3U);
  EXPECT_EQ(engine.counters().sent, 5U);
}

TEST_F(EngineOverload, AQueueThatStaysFullEndsInOverload) {
  network.sendError = ENOBUFS;
  network.onSend = [](const IpAddress&) { return Sent::Stop::kBusy; };
  engine.begin(id);
  pass(2s);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_EQ(listener.last().verdict, Verdict::kOverloaded);
  EXPECT_EQ(engine.nextWork(), std::nullopt);
}

TEST_F(EngineOverload, ATargetWithoutARouteIsLostAndTheOthersBehindItAreSent) {
  answer({10ms});
  network.sendError = ENETUNREACH;
  network.onSend = [](const IpAddress& to) {
    return to == address("192.0.2.66") ? Sent::Stop::kUnreachable : Sent::Stop::kNone;
  };
  Listener unreachable, behind;
  engine.begin(engine.add({}, target("192.0.2.66"), unreachable));
  engine.begin(id);
  engine.begin(engine.add({}, target("192.0.2.3"), behind));
  pass(2s);
  EXPECT_EQ(unreachable.last().verdict, Verdict::kMeasured);
  EXPECT_DOUBLE_EQ(unreachable.last().summary.lossPercent, 100);
  EXPECT_EQ(unreachable.last().text, "Network is unreachable");
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 0);
  EXPECT_DOUBLE_EQ(behind.last().summary.lossPercent, 0);
  EXPECT_EQ(engine.counters().unsendable, 5U);
  EXPECT_EQ(engine.counters().sent, 10U);
}

TEST_F(EngineOverload, ASocketThatBreaksFailsItsRoundsAndIsOpenedAgain) {
  answer({10ms});
  network.sendError = ENODEV;
  bool broken = true;
  network.onSend = [&](const IpAddress&) {
    return broken ? Sent::Stop::kBroken : Sent::Stop::kNone;
  };
  engine.begin(id);
  pass(10ms);
  ASSERT_EQ(listener.results.size(), 1U);
  EXPECT_EQ(listener.last().verdict, Verdict::kFailed);
  EXPECT_EQ(listener.last().text, "No such device");
  broken = false;
  pass(1s);
  engine.begin(id);
  pass(2s);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
  EXPECT_EQ(network.opened, 2);
}

TEST_F(EngineOverload, ReplacingASocketFailsTheRoundsThatUsedTheOldOne) {
  Listener other;
  const auto second = engine.add({}, {address("192.0.2.2"), 1, 20ms, 10s}, other);
  engine.begin(second);  // no answer for ten seconds
  pass(2s);
  network.current = false;
  engine.begin(id);
  network.current = true;
  pass(10s);
  EXPECT_EQ(network.opened, 2);
  ASSERT_EQ(other.results.size(), 1U);
  EXPECT_EQ(other.last().verdict, Verdict::kFailed);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
}

TEST_F(EngineOverload, APlaceThatIsNotThereIsNamedAndTriedOnceASecond) {
  network.openError = SocketError{ENODEV, "interface eth7: No such device"};
  engine.begin(id);
  pass(10ms);
  EXPECT_EQ(listener.last().verdict, Verdict::kFailed);
  EXPECT_EQ(listener.last().text, "interface eth7: No such device");
  network.openError.reset();
  engine.begin(id);
  pass(10ms);
  EXPECT_EQ(listener.last().verdict, Verdict::kFailed) << "tried again too soon";
  pass(1s);
  answer({1ms});
  engine.begin(id);
  pass(1s);
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
  EXPECT_EQ(engine.counters().failed, 2U);
}

}  // namespace
}  // namespace Monitor::Icmp::Testing
