// Which packets the engine takes for answers.
#include <gtest/gtest.h>

#include <functional>

#include "EngineTesting.h"

namespace Monitor::Icmp::Testing {
namespace {

class EngineMatching : public EngineTest {
 protected:
  /// One round whose requests are dealt with by `onRequest`.
  const RoundResult& round(std::function<void(const Request&)> onRequest) {
    network.onRequest = std::move(onRequest);
    engine.begin(id);
    pass(2s);
    return listener.last();
  }
  static Clock::time_point soon(const Request& request) { return request.at + 5ms; }

  Listener listener;
  Engine::TargetId id = engine.add({}, target(), listener);
};

TEST_F(EngineMatching, DuplicatesAreCountedAndChangeNothing) {
  const RoundResult& result = round([this](const Request& request) {
    network.reply(request, 5ms);
    network.reply(request, 15ms);
    network.reply(request, 16ms);
  });
  EXPECT_DOUBLE_EQ(result.summary.mean.count(), 5);
  EXPECT_EQ(engine.counters().answered, 5U);
  EXPECT_EQ(engine.counters().duplicate, 10U);
}

TEST_F(EngineMatching, ReorderedRepliesAreCountedAndMeasured) {
  int i = 0;
  const RoundResult& result =
      round([&, this](const Request& request) { network.reply(request, i++ == 0 ? 100ms : 5ms); });
  EXPECT_DOUBLE_EQ(result.summary.mean.count(), 24);
  EXPECT_DOUBLE_EQ(result.summary.lossPercent, 0);
  EXPECT_EQ(engine.counters().reordered, 1U);
}

TEST_F(EngineMatching, LateRepliesAreLostAndCountedEvenInTheNextRound) {
  const RoundResult& result =
      round([this](const Request& request) { network.reply(request, 2500ms); });
  EXPECT_DOUBLE_EQ(result.summary.lossPercent, 100);
  EXPECT_EQ(engine.counters().late, 0U);
  const RoundResult& next = round([this](const Request& request) { network.reply(request, 1ms); });
  EXPECT_DOUBLE_EQ(next.summary.mean.count(), 1);
  EXPECT_EQ(engine.counters().late, 5U);
  EXPECT_EQ(engine.counters().answered, 5U);
  EXPECT_EQ(engine.counters().foreign, 0U);
}

TEST_F(EngineMatching, AReplyBeyondItsTimeoutWithinItsRoundIsLate) {
  int i = 0;
  const RoundResult& result =
      round([&, this](const Request& request) { network.reply(request, i++ == 0 ? 1010ms : 5ms); });
  EXPECT_DOUBLE_EQ(result.summary.lossPercent, 20);
  EXPECT_DOUBLE_EQ(result.summary.mean.count(), 5);
  EXPECT_EQ(engine.counters().late, 1U);
  EXPECT_EQ(engine.counters().answered, 4U);
}

TEST_F(EngineMatching, AReplyFromAnotherAddressIsForeign) {
  const RoundResult& result = round([](const Request&) {});
  EXPECT_DOUBLE_EQ(result.summary.lossPercent, 100);
  round([this](const Request& request) {
    network.arrive(soon(request), request, FakeNetwork::replyTo(request), address("192.0.2.2"));
  });
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 100);
  EXPECT_EQ(engine.counters().foreign, 5U);
}

TEST_F(EngineMatching, AReplyWithAGuessedTokenIsForeign) {
  round([this](const Request& request) {
    Request forged = request;
    forged.bytes[8 + 7] ^= 1;
    network.arrive(soon(request), request, FakeNetwork::replyTo(forged), request.to);
  });
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 100);
  EXPECT_EQ(engine.counters().foreign, 5U);
}

TEST_F(EngineMatching, AnyAlteredOctetOfTheHeaderOrTheMarkMakesAReplyForeign) {
  for (std::size_t octet = 4; octet < 24; ++octet) {
    round([&, this](const Request& request) {
      Request altered = request;
      altered.bytes[octet] ^= 0x40;
      network.arrive(soon(request), request, FakeNetwork::replyTo(altered), request.to);
    });
    EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 100) << octet;
  }
  EXPECT_EQ(engine.counters().foreign, 100U);
}

TEST_F(EngineMatching, AReplyToAnotherTargetOfTheSameSocketIsNotMistaken) {
  Listener silent;
  const auto other = engine.add({}, target("192.0.2.2"), silent);
  engine.begin(other);
  round([this](const Request& request) {
    if (request.to == address("192.0.2.1")) {
      network.reply(request, 1ms);
      network.arrive(soon(request), request, FakeNetwork::replyTo(request), address("192.0.2.2"));
    }
  });
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 0);
  EXPECT_DOUBLE_EQ(silent.last().summary.lossPercent, 100);
  EXPECT_EQ(engine.counters().foreign, 5U);
}

TEST_F(EngineMatching, AReplyOnAnotherSocketIsNotMistaken) {
  Listener elsewhere;
  const auto other = engine.add({"blue", {}, {}}, target(), elsewhere);
  PacketSink* blue = nullptr;
  network.onRequest = [&](const Request& request) { blue = request.sink; };
  engine.begin(other);
  pass(2s);
  ASSERT_NE(blue, nullptr);
  round([&, this](const Request& request) {
    Request moved = request;
    moved.sink = blue;
    network.reply(moved, 5ms);
  });
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 100);
  EXPECT_EQ(engine.counters().foreign, 5U);
}

TEST_F(EngineMatching, AReplyToARemovedTargetIsForeign) {
  Listener gone;
  const auto other = engine.add({}, target(), gone);
  network.onRequest = [this](const Request& request) { network.reply(request, 500ms); };
  engine.begin(other);
  pass(200ms);
  engine.remove(other);
  Listener successor;
  const auto same = engine.add({}, target(), successor);
  EXPECT_EQ(same, other) << "the place is used again";
  pass(1s);
  EXPECT_EQ(engine.counters().foreign, 5U);
  EXPECT_TRUE(gone.results.empty());
}

TEST_F(EngineMatching, RubbishIsForeign) {
  round([this](const Request& request) {
    network.arrive(soon(request), request, {}, request.to);
    network.arrive(soon(request), request, {0, 0, 1}, request.to);
    network.arrive(soon(request), request, std::vector<std::uint8_t>(200, 0xff), request.to);
    network.reply(request, 6ms);
  });
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 0);
  EXPECT_EQ(engine.counters().foreign, 15U);
}

TEST_F(EngineMatching, ANetworkErrorEndsTheWaitAndGivesTheReason) {
  engine.begin(id);
  pass(90ms);
  ASSERT_EQ(network.requests.size(), 5U);
  for (const Request& request : network.requests) {
    FakeNetwork::refuse(request, "No route to host (192.0.2.254)", 24);
  }
  pass(2ms);
  ASSERT_EQ(listener.results.size(), 1U) << "nothing is left to wait for";
  EXPECT_EQ(listener.last().verdict, Verdict::kMeasured);
  EXPECT_DOUBLE_EQ(listener.last().summary.lossPercent, 100);
  EXPECT_EQ(listener.last().text, "No route to host (192.0.2.254)");
  EXPECT_EQ(engine.counters().refused, 5U);
}

TEST_F(EngineMatching, AnErrorWithoutOurMarkIsForeign) {
  engine.begin(id);
  pass(90ms);
  for (const Request& request : network.requests) {
    FakeNetwork::refuse(request, "No route to host", 23);
  }
  pass(2s);
  EXPECT_EQ(listener.last().text, "");
  EXPECT_EQ(engine.counters().refused, 0U);
  EXPECT_EQ(engine.counters().foreign, 5U);
}

TEST_F(EngineMatching, Ipv6AndRawIpv4RepliesAreMatchedAlike) {
  network.v4Framing = Framing::kIpv4Header;
  answer({7ms});
  Listener raw, v6;
  engine.begin(engine.add({}, target(), raw));
  engine.begin(engine.add({}, target("2001:db8::7"), v6));
  pass(2s);
  EXPECT_DOUBLE_EQ(raw.last().summary.mean.count(), 7);
  EXPECT_DOUBLE_EQ(v6.last().summary.mean.count(), 7);
  EXPECT_EQ(engine.counters().foreign, 0U);
}

}  // namespace
}  // namespace Monitor::Icmp::Testing
