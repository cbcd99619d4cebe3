// What is measured against what was injected, over each kind of socket. Bounds on times are ratios
// of the delay. What is measured too short is wrong at once; what is too long is tried again, as a
// busy machine delays packets now and then, and a wrong measurement is wrong every time.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "IcmpTesting.h"

namespace Monitor::Testing {
namespace {

constexpr double kMostAdded = 1.3;
constexpr int kTries = 20;

double milliseconds(Clock::duration duration) { return Milliseconds(duration).count(); }

struct Kind {
  bool v6 = false;
  bool ping = false;
};

class Impairment : public LabTest, public ::testing::WithParamInterface<Kind> {
 protected:
  void SetUp() override {
    LabTest::SetUp();
    if (!IsSkipped()) {
      allowPingSockets(GetParam().ping);
    }
  }
  static std::string target(int n = 2) {
    return GetParam().v6 ? "fd99::" + std::to_string(n)
                         : "10.99." + std::to_string(n / 250) + "." + std::to_string(n % 250 + 1);
  }
  [[nodiscard]] ProbeSpec spec(int n = 2, std::uint16_t requests = 5,
                               std::chrono::nanoseconds timeout = 20s) const {
    return ProberUnderTest::spec(inLab(), target(n), requests, timeout);
  }
  /// One round of target(), and what became of its requests.
  struct Trial {
    IcmpMeasurement measured;
    std::vector<Netlab::Passage> passages;
    double meanDelay = 0;  ///< Milliseconds.
  };
  Trial trial(std::uint16_t requests) {
    const Result result = under.round(spec(2, requests));
    EXPECT_EQ(result.outcome, Outcome::kAnswered) << result.text;
    Trial trial{measured(result), passages(target())};
    EXPECT_GE(trial.passages.size(), requests);
    trial.passages.erase(trial.passages.begin(), trial.passages.end() - requests);
    for (const Netlab::Passage& passage : trial.passages) {
      trial.meanDelay += milliseconds(passage.delayed) / requests;
    }
    EXPECT_DOUBLE_EQ(trial.measured.lossPercent, 0);
    EXPECT_GE(trial.measured.meanMs / trial.meanDelay, 1.0);
    return trial;
  }
  /// How many sockets of the kind that is expected the prober's side has.
  [[nodiscard]] int sockets() const {
    const std::string table =
        std::string(GetParam().ping ? "icmp" : "raw") + (GetParam().v6 ? "6" : "");
    const std::string file = "/tmp/" + lab->prober().name();
    lab->prober().run("tail -n +2 /proc/net/" + table + " > " + file);
    std::ifstream lines(file);
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
      ++count;
    }
    std::remove(file.c_str());
    return count;
  }

  ProberUnderTest under;
};

INSTANTIATE_TEST_SUITE_P(Sockets, Impairment,
                         ::testing::Values(Kind{false, false}, Kind{false, true}, Kind{true, false},
                                           Kind{true, true}),
                         [](const auto& instance) {
                           return std::string(instance.param.ping ? "Ping" : "Raw") +
                                  (instance.param.v6 ? "V6" : "V4");
                         });

TEST_P(Impairment, TheMeanIsTheInjectedDelay) {
  for (const auto delay : {30ms, 100ms, 250ms}) {
    impair(target(), {.delay = delay});
    double ratio = 0;
    for (int i = 0; i < kTries && (i == 0 || ratio > kMostAdded); ++i) {
      ratio = trial(5).measured.meanMs / milliseconds(delay);
      EXPECT_GE(ratio, 1.0);
    }
    EXPECT_LE(ratio, kMostAdded);
  }
}

TEST_P(Impairment, TheJitterIsThatOfTheInjectedDelays) {
  impair(target(), {.delay = 50ms, .spread = 200ms});
  const auto jitterRatio = [&] {
    const Trial trial = this->trial(20);
    double jitter = 0;
    for (std::size_t i = 1; i < trial.passages.size(); ++i) {
      jitter +=
          std::abs(milliseconds(trial.passages[i].delayed - trial.passages[i - 1].delayed)) / 19;
    }
    return trial.measured.jitterMs.value() / jitter;
  };
  const auto within = [](double ratio) { return ratio >= 1 / kMostAdded && ratio <= kMostAdded; };
  double ratio = jitterRatio();
  for (int i = 1; i < kTries && !within(ratio); ++i) {
    ratio = jitterRatio();
  }
  EXPECT_TRUE(within(ratio)) << ratio;
}

TEST_P(Impairment, TheLossIsExactlyTheInjectedLoss) {
  constexpr int kTargets = 40;
  constexpr std::uint16_t kRequests = 10;
  std::vector<ProbeSpec> specs;
  for (int i = 0; i < kTargets; ++i) {
    impair(target(2 + i), {.lost = static_cast<unsigned>(i % 4) * 25});
    specs.push_back(spec(2 + i, kRequests, 3s));
  }
  const std::vector<Result> results = under.rounds(specs);
  int lostInAll = 0;
  for (int i = 0; i < kTargets; ++i) {
    const auto passages = this->passages(target(2 + i));
    ASSERT_GE(passages.size(), kRequests) << target(2 + i);
    const auto lost = std::count_if(passages.end() - kRequests, passages.end(),
                                    [](const Netlab::Passage& passage) { return passage.lost; });
    EXPECT_DOUBLE_EQ(measured(results[static_cast<std::size_t>(i)]).lossPercent,
                     10.0 * static_cast<double>(lost));
    lostInAll += static_cast<int>(lost);
  }
  EXPECT_GT(lostInAll, 0);
}

TEST_P(Impairment, NothingIsLostOverAGoodWireAndOneSocketServesAllTargets) {
  std::vector<ProbeSpec> specs;
  for (int i = 0; i < 200; ++i) {
    specs.push_back(spec(2 + i));
  }
  std::vector<std::unique_ptr<Probe>> probes;
  int ended = 0;
  for (const ProbeSpec& each : specs) {
    probes.push_back(under.prober().probe(each, [&](const Result& result) {
      ++ended;
      EXPECT_EQ(result.outcome, Outcome::kAnswered) << result.text;
      EXPECT_DOUBLE_EQ(measured(result).lossPercent, 0);
      EXPECT_GT(measured(result).meanMs, 0);
    }));
    probes.back()->start();
  }
  EXPECT_EQ(sockets(), 1);
  under.runUntil([&] { return ended == 200; });
  EXPECT_EQ(under.counter("requests sent"), 1000U);
  EXPECT_EQ(under.counter("requests answered"), 1000U);
  EXPECT_EQ(under.counter("foreign replies"), 0U);
}

TEST_P(Impairment, DoubledPacketsAreCountedOnce) {
  impair(target(), {.delay = 10ms, .doubled = 60});
  const auto watched = under.prober().probe(spec(2, 20), [](const Result&) {});
  const Result result = under.round(spec(3));  // opens the socket before the round that counts
  ASSERT_EQ(result.outcome, Outcome::kAnswered);
  bool ended = false;
  const auto probe = under.prober().probe(spec(2, 20), [&](const Result& got) {
    ended = true;
    EXPECT_DOUBLE_EQ(measured(got).lossPercent, 0);
  });
  probe->start();
  under.runUntil([&] { return ended; });
  std::uint64_t doubled = 0;
  for (const Netlab::Passage& passage : passages(target())) {
    doubled += passage.doubled ? 1 : 0;
  }
  EXPECT_GT(doubled, 0U);
  under.runUntil([&] { return under.counter("duplicate replies") >= doubled; });
  EXPECT_EQ(under.counter("duplicate replies"), doubled);
}

TEST_P(Impairment, OvertakenPacketsAreMeasuredWithTheirOwnTimes) {
  impair(target(), {.delay = 10ms, .held = 40, .hold = 150ms});
  double ratio = 0;
  for (int i = 0; i < kTries && (i == 0 || ratio > kMostAdded); ++i) {
    const Trial trial = this->trial(20);
    ratio = trial.measured.meanMs / trial.meanDelay;
  }
  EXPECT_LE(ratio, kMostAdded);
  EXPECT_GT(under.counter("reordered replies"), 0U);
}

TEST_P(Impairment, AnswersBeyondTheTimeoutAreLostAndCountedAsLate) {
  impair(target(), {.delay = 700ms});
  const auto probe = under.prober().probe(spec(2, 5, 300ms), [&](const Result& result) {
    EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
    EXPECT_DOUBLE_EQ(measured(result).lossPercent, 100);
    EXPECT_DOUBLE_EQ(measured(result).meanMs, 0);
  });
  probe->start();
  under.runUntil([&] { return under.counter("late replies") == 5; });
  EXPECT_EQ(under.counter("requests answered"), 0U);
  EXPECT_EQ(under.counter("foreign replies"), 0U);
}

TEST_P(Impairment, ALateEventLoopMeasuresNoLongerTimesAndNoLoss) {
  impair(target(), {.delay = 50ms});
  std::optional<Result> result;
  const auto probe = under.prober().probe(spec(2, 1), [&](const Result& got) { result = got; });
  double ratio = 0;
  for (unsigned i = 0; i < kTries && (i == 0 || ratio > 4.0); ++i) {
    result.reset();
    probe->start();
    under.runUntil([&] { return under.counter("requests sent") == i + 1; });
    usleep(1'000'000);  // what the event loop is kept from doing meanwhile
    under.runUntil([&] { return result.has_value(); });
    ASSERT_EQ(result->outcome, Outcome::kAnswered);
    ratio = measured(*result).meanMs / 50;
    EXPECT_GE(ratio, 1.0);
  }
  EXPECT_LE(ratio, 4.0) << "the second that was slept";
}

TEST_P(Impairment, ANetworkThatSaysItHasNoRouteIsBelieved) {
  const std::string beyond = GetParam().v6 ? "fd97::1" : "10.97.0.1";
  const auto begun = Clock::now();
  const Result result = under.round(ProberUnderTest::spec(inLab(), beyond, 5, 30s));
  EXPECT_LT(Clock::now() - begun, 30s) << "the round waited for its timeout";
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer);
  EXPECT_DOUBLE_EQ(measured(result).lossPercent, 100);
  const std::string offender = GetParam().v6 ? "fd99::1" : "10.99.0.1";
  EXPECT_NE(result.text.find("(" + offender + ")"), std::string::npos) << result.text;
  EXPECT_EQ(under.counter("requests refused"), 5U);
}

TEST_P(Impairment, ATargetWithoutARouteFromHereHarmsNoOther) {
  const std::string nowhere = GetParam().v6 ? "fd42::1" : "172.31.0.1";
  const std::vector<Result> results =
      under.rounds({spec(2), ProberUnderTest::spec(inLab(), nowhere), spec(3)});
  EXPECT_EQ(results[0].outcome, Outcome::kAnswered);
  EXPECT_EQ(results[1].outcome, Outcome::kNoAnswer);
  EXPECT_NE(results[1].text.find("unreachable"), std::string::npos) << results[1].text;
  EXPECT_EQ(results[2].outcome, Outcome::kAnswered);
}

TEST_P(Impairment, ErrorsForOneTargetDoNotDisturbTheOthers) {
  std::vector<ProbeSpec> specs;
  for (int i = 0; i < 100; ++i) {
    specs.push_back(spec(2 + i));
    specs.push_back(ProberUnderTest::spec(inLab(), GetParam().v6
                                                       ? "fd97::" + std::to_string(i + 1)
                                                       : "10.97.0." + std::to_string(i + 1)));
  }
  const std::vector<Result> results = under.rounds(specs);
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_EQ(measured(results[i]).lossPercent, i % 2 == 0 ? 0 : 100) << results[i].text;
  }
}

}  // namespace
}  // namespace Monitor::Testing
