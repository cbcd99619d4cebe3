#include "monitor/tcp/TcpProber.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "tests/unit/monitor/ServerTesting.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using namespace Testing;

class TcpProberTest : public testing::Test {
 protected:
  static ProbeSpec to(const std::string& address, std::uint16_t port, const Binding& binding = {},
                      std::chrono::nanoseconds timeout = 30s) {
    return {binding, *IpAddress::parse(address), 60s, timeout, TcpParameters{port}};
  }

  TestLoop loop_;
  TcpProber prober_{loop_.loop()};
};

TEST_F(TcpProberTest, TheTimeOfAConnectionIsMeasured) {
  for (const char* address : {"127.0.0.1", "::1"}) {
    const UniqueFd server = listener(address);
    const auto begin = Clock::now();
    const Result result = roundOf(loop_, prober_, to(address, portOf(server.get())));
    const Milliseconds elapsed = Clock::now() - begin;
    EXPECT_EQ(result.outcome, Outcome::kAnswered) << result.text;
    EXPECT_EQ(result.text, "connected");
    const double measured = std::get<TcpMeasurement>(result.measured).connectMs;
    EXPECT_GT(measured, 0);
    EXPECT_LE(measured, elapsed.count());
  }
}

TEST_F(TcpProberTest, TheConnectionIsClosedAndNothingIsSentOnIt) {
  const UniqueFd server = listener("127.0.0.1");
  (void)roundOf(loop_, prober_, to("127.0.0.1", portOf(server.get())));
  UniqueFd accepted;
  ASSERT_TRUE(loop_.runUntil([&] {
    accepted = UniqueFd(::accept(server.get(), nullptr, nullptr));
    return static_cast<bool>(accepted);
  }));
  char byte = 0;
  EXPECT_EQ(::recv(accepted.get(), &byte, 1, 0), 0);
}

TEST_F(TcpProberTest, ARefusedConnectionIsNoAnswer) {
  const UniqueFd bound = boundSocket("127.0.0.1");
  const Result result = roundOf(loop_, prober_, to("127.0.0.1", portOf(bound.get())));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_EQ(result.text, "refused");
  EXPECT_EQ(result.error, ECONNREFUSED);
}

TEST_F(TcpProberTest, AConnectionThatNobodyAnswersTimesOut) {
  // Behind a full backlog the kernel drops what arrives.
  const UniqueFd server = listener("127.0.0.1", {}, 0);
  const std::uint16_t port = portOf(server.get());
  ASSERT_EQ(roundOf(loop_, prober_, to("127.0.0.1", port)).outcome, Outcome::kAnswered);
  const Result result = roundOf(loop_, prober_, to("127.0.0.1", port, {}, 50ms));
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_EQ(result.text, "timed out");
}

TEST_F(TcpProberTest, AConnectionMadeWhileTheLoopWasHeldUpBeyondTheTimeoutIsMeasured) {
  const UniqueFd server = listener("127.0.0.1");
  std::optional<Result> result;
  const auto probe = prober_.probe(to("127.0.0.1", portOf(server.get()), {}, 1ms),
                                   [&](const Result& got) { result = got; });
  probe->start();
  std::this_thread::sleep_for(20ms);
  ASSERT_TRUE(loop_.runUntil([&] { return result.has_value(); }));
  EXPECT_EQ(result->outcome, Outcome::kAnswered) << result->text;
}

TEST_F(TcpProberTest, AnUnusableBindingIsNotTheTargetsFailure) {
  const UniqueFd server = listener("127.0.0.1");
  const std::uint16_t port = portOf(server.get());
  Result result = roundOf(loop_, prober_, to("127.0.0.1", port, {"", "", "nosuchif0"}));
  EXPECT_EQ(result.outcome, Outcome::kNotMeasured);
  EXPECT_EQ(result.text, "interface nosuchif0: No such device");
  result = roundOf(loop_, prober_, to("127.0.0.1", port, {"no-such-netns", "", ""}));
  EXPECT_EQ(result.outcome, Outcome::kNotMeasured);
  EXPECT_EQ(result.text, "namespace no-such-netns: No such file or directory");
}

TEST_F(TcpProberTest, AProbeThroughAnInterfaceReachesOnlyWhatLiesBehindIt) {
  const UniqueFd server = listener("127.0.0.1");
  const std::uint16_t port = portOf(server.get());
  EXPECT_EQ(roundOf(loop_, prober_, to("127.0.0.1", port, {"", "", "lo"})).outcome,
            Outcome::kAnswered);
  const TestNamespace netns("conmon-tcp-if");
  shell("ip -n " + netns.name() + " link add va type veth peer name vb && ip -n " + netns.name() +
        " link set va up");
  const UniqueFd inside = listener("127.0.0.1", {netns.name(), "", ""});
  const auto through = [&](const std::string& interface) {
    const Binding binding{netns.name(), "", interface};
    return roundOf(loop_, prober_, to("127.0.0.1", portOf(inside.get()), binding, 200ms)).outcome;
  };
  EXPECT_EQ(through("lo"), Outcome::kAnswered);
  EXPECT_EQ(through("va"), Outcome::kNoAnswer);
}

TEST_F(TcpProberTest, AProbeOfANamespaceReachesTheServerThereAndNoOther) {
  const TestNamespace netns("conmon-tcp");
  const Binding inside{netns.name(), "", ""};
  const UniqueFd server = listener("127.0.0.1", inside);
  const std::uint16_t port = portOf(server.get());
  EXPECT_EQ(roundOf(loop_, prober_, to("127.0.0.1", port, inside)).outcome, Outcome::kAnswered);
  EXPECT_EQ(roundOf(loop_, prober_, to("127.0.0.1", port)).text, "refused");
  const UniqueFd own = listener("127.0.0.1");
  EXPECT_EQ(roundOf(loop_, prober_, to("127.0.0.1", portOf(own.get()), inside)).text, "refused");
}

TEST_F(TcpProberTest, AStoppedRoundHasNoResultAndTheNextOneHas) {
  const UniqueFd server = listener("127.0.0.1");
  int results = 0;
  const auto probe =
      prober_.probe(to("127.0.0.1", portOf(server.get())), [&](const Result&) { ++results; });
  probe->start();
  probe->stop();
  loop_.runReady();
  EXPECT_EQ(results, 0);
  probe->start();
  EXPECT_TRUE(loop_.runUntil([&] { return results == 1; }));
}

TEST_F(TcpProberTest, ARoundThatFailedAtOnceCanBeStoppedToo) {
  int results = 0;
  const auto probe =
      prober_.probe(to("127.0.0.1", 1, {"", "", "nosuchif0"}), [&](const Result&) { ++results; });
  probe->start();
  probe->stop();
  loop_.runReady();
  EXPECT_EQ(results, 0);
}

TEST_F(TcpProberTest, TheCallbackMayDestroyTheProbeOrStartItAgain) {
  const UniqueFd server = listener("127.0.0.1");
  const ProbeSpec spec = to("127.0.0.1", portOf(server.get()));
  int results = 0;
  std::unique_ptr<Probe> probe;
  probe = prober_.probe(spec, [&](const Result&) {
    ++results;
    if (results == 1) {
      probe->start();
    } else {
      probe.reset();
    }
  });
  probe->start();
  EXPECT_TRUE(loop_.runUntil([&] { return probe == nullptr; }));
  EXPECT_EQ(results, 2);
}

TEST_F(TcpProberTest, OutcomesAreCounted) {
  const UniqueFd server = listener("127.0.0.1");
  const UniqueFd bound = boundSocket("127.0.0.1");
  (void)roundOf(loop_, prober_, to("127.0.0.1", portOf(server.get())));
  (void)roundOf(loop_, prober_, to("127.0.0.1", portOf(bound.get())));
  (void)roundOf(loop_, prober_, to("127.0.0.1", portOf(bound.get())));
  (void)roundOf(loop_, prober_, to("127.0.0.1", 1, {"", "", "nosuchif0"}));
  std::vector<std::uint64_t> values;
  for (const Counter& counter : prober_.counters()) {
    values.push_back(counter.value);
  }
  EXPECT_THAT(values, testing::ElementsAre(1, 2, 1));
}

}  // namespace
}  // namespace Monitor
