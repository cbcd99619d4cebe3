#include "monitor/watch/Watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitor/watch/OverloadReport.h"
#include "tests/unit/monitor/FakeProber.h"
#include "tests/unit/monitor/LoopTesting.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using namespace Testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const Result kConnected{Outcome::kAnswered, TcpMeasurement{1.5}, "connected"};
const Result kRefused{Outcome::kNoAnswer, {}, "refused"};
const Result kTimedOut{Outcome::kNoAnswer, {}, "timed out"};
const Result kNoSocket{Outcome::kNotMeasured, {}, "interface eth1: No such device"};

class FakeNames final : public NameSource {
 public:
  class FakeInterest final : public Interest {
   public:
    FakeInterest(FakeNames& names, OnAnswer onAnswer) : names_(names) {
      names_.onAnswer_ = std::move(onAnswer);
    }
    ~FakeInterest() override { names_.onAnswer_ = nullptr; }
    [[nodiscard]] const std::optional<NameAnswer>& latest() const override {
      return names_.latest_;
    }

   private:
    FakeNames& names_;
  };

  [[nodiscard]] std::unique_ptr<Interest> follow(const std::string& vrf, const std::string& name,
                                                 OnAnswer onAnswer) override {
    asked_.push_back(vrf + " " + name);
    return std::make_unique<FakeInterest>(*this, std::move(onAnswer));
  }
  void answer(const std::vector<std::string>& addresses, const std::string& error = "") {
    NameAnswer answer{{}, error, 3ms};
    for (const std::string& address : addresses) {
      answer.addresses.push_back(*IpAddress::parse(address));
    }
    latest_ = answer;
    onAnswer_(answer);
  }
  [[nodiscard]] bool followed() const { return onAnswer_ != nullptr; }
  [[nodiscard]] const std::vector<std::string>& asked() const { return asked_; }

 private:
  std::vector<std::string> asked_;
  std::optional<NameAnswer> latest_;
  OnAnswer onAnswer_;
};

class WatchTest : public testing::Test {
 protected:
  static ProbeConfig tcp(const std::string& destination) {
    ProbeConfig config;
    config.host = "web1";
    config.vrf = "default";
    config.destination = destination;
    config.interval = 1s;
    config.timeout = 500ms;
    config.parameters = TcpParameters{443};
    return config;
  }
  static ProbeConfig http(const std::string& destination) {
    ProbeConfig config = tcp(destination);
    HttpParameters parameters;
    parameters.url = "http://" + destination + "/";
    config.parameters = parameters;
    return config;
  }
  std::unique_ptr<Watch> watch(const ProbeConfig& config) {
    return std::make_unique<Watch>(context_, config);
  }
  /// Lets every probe's next round begin.
  void nextRounds() {
    now_ += 1s;
    schedule_.run();
  }
  void round(const Result& result, FakeProber& prober) {
    nextRounds();
    ASSERT_THAT(prober.probes(), SizeIs(1));
    ASSERT_TRUE(prober.probes().front()->running());
    prober.probes().front()->finish(result);
  }
  void round(const Result& result) { round(result, tcp_); }
  /// What was said to the agent since the last call.
  std::vector<std::string> said() {
    std::vector<std::string> lines;
    while (const auto step = mirror_.next()) {
      lines.push_back(step->line);
      mirror_.answered(step->key);
    }
    return lines;
  }
  static std::string put(const std::string& address, const std::string& latency,
                         const std::string& result = "connected") {
    return R"({"op":"put","host":"web1","vrf":"default","probe":"tcp","address":")" + address +
           R"(","port":443,"latency":)" + latency + ",\"result\":\"" + result + "\"}\n";
  }
  static std::string remove(const std::string& address) {
    return R"({"op":"remove","host":"web1","vrf":"default","probe":"tcp","address":")" + address +
           "\",\"port\":443}\n";
  }

  Clock::time_point now_{1000s};
  Schedule schedule_{[this] { return now_; }, [](Clock::time_point) {}};
  FakeNames names_;
  FakeProber icmp_, tcp_, http_;
  Mirror mirror_;
  std::vector<std::string> logged_;
  Log log_{Severity::kWarning, [this] { return now_; },
           [this](std::string_view line) { logged_.emplace_back(line); }};
  int firstResults_ = 0;
  int overloaded_ = 0;
  WatchContext context_{schedule_,
                        names_,
                        Probers{icmp_, tcp_, http_},
                        mirror_,
                        log_,
                        [this] { ++firstResults_; },
                        [this] { ++overloaded_; }};
};

TEST_F(WatchTest, AnAddressIsMeasuredAndPublishedRoundByRound) {
  const auto watch = WatchTest::watch(tcp("192.0.2.1"));
  EXPECT_THAT(names_.asked(), IsEmpty());
  round(kConnected);
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.1", "1.5")));
  round({Outcome::kAnswered, TcpMeasurement{2.5}, "connected"});
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.1", "2.5")));
  EXPECT_EQ(watch->rounds(), 2U);
  EXPECT_EQ(watch->failures(), 0U);
  EXPECT_EQ(firstResults_, 1);
  EXPECT_THAT(logged_, IsEmpty());
}

TEST_F(WatchTest, TheProberIsToldTheWholeTarget) {
  ProbeConfig config = tcp("192.0.2.1");
  config.binding = {"blue", "", "eth1"};
  const auto watch = WatchTest::watch(config);
  ASSERT_THAT(tcp_.probes(), SizeIs(1));
  EXPECT_EQ(
      tcp_.probes().front()->spec(),
      (ProbeSpec{config.binding, *IpAddress::parse("192.0.2.1"), 1s, 500ms, TcpParameters{443}}));
}

TEST_F(WatchTest, ItsEndWithdrawsTheRecord) {
  auto watch = WatchTest::watch(tcp("192.0.2.1"));
  round(kConnected);
  (void)said();
  watch.reset();
  EXPECT_THAT(said(), ElementsAre(remove("192.0.2.1")));
  EXPECT_THAT(tcp_.probes(), IsEmpty());
}

TEST_F(WatchTest, OtherSettingsRestartTheProbeAndKeepTheRecord) {
  const auto watch = WatchTest::watch(tcp("192.0.2.1"));
  round(kConnected);
  (void)said();
  ProbeConfig config = tcp("192.0.2.1");
  config.timeout = 700ms;
  watch->configIs(config);
  EXPECT_EQ(tcp_.made(), 2);
  EXPECT_THAT(said(), IsEmpty());
  round(kTimedOut);
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.1", "0", "timed out")));
}

TEST_F(WatchTest, FailuresAreLoggedWhenTheyBeginAndChangeAndEnd) {
  const auto watch = WatchTest::watch(tcp("192.0.2.1"));
  for (const Result& result :
       {kConnected, kRefused, kRefused, kTimedOut, kTimedOut, kConnected, kConnected}) {
    round(result);
  }
  EXPECT_THAT(logged_,
              ElementsAre("<4>web1 (vrf default) tcp 192.0.2.1 port 443: refused\n",
                          "<4>web1 (vrf default) tcp 192.0.2.1 port 443: timed out\n",
                          "<4>web1 (vrf default) tcp 192.0.2.1 port 443: answers again\n"));
  EXPECT_EQ(watch->failures(), 4U);
}

TEST_F(WatchTest, WhatWasNotMeasuredLeavesTheRecordForTwoRoundsAndWithdrawsItAtTheThird) {
  const auto watch = WatchTest::watch(tcp("192.0.2.1"));
  round(kConnected);
  (void)said();
  round(kNoSocket);
  round(kNoSocket);
  EXPECT_THAT(said(), IsEmpty());
  round(kNoSocket);
  EXPECT_THAT(said(), ElementsAre(remove("192.0.2.1")));
  round(kConnected);
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.1", "1.5")));
  EXPECT_EQ(watch->failures(), 0U);
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("not measured: interface eth1: No such device"),
                                   HasSubstr("answers again")));
}

TEST_F(WatchTest, OverloadedRoundsAreCountedAndChangeNothing) {
  const auto watch = WatchTest::watch(tcp("192.0.2.1"));
  const Result overloaded{Outcome::kOverloaded, {}, "too late"};
  round(overloaded);
  EXPECT_EQ(firstResults_, 0);
  round(kConnected);
  (void)said();
  for (int i = 0; i < 5; ++i) {
    round(overloaded);
  }
  round(kConnected);
  EXPECT_THAT(said(), IsEmpty());
  EXPECT_THAT(logged_, IsEmpty());
  EXPECT_EQ(overloaded_, 6);
  EXPECT_EQ(watch->failures(), 0U);
}

TEST_F(WatchTest, ANameIsMeasuredOnceItIsResolvedInItsVrf) {
  ProbeConfig config = tcp("web1.example");
  config.vrf = "blue";
  const auto watch = WatchTest::watch(config);
  EXPECT_THAT(names_.asked(), ElementsAre("blue web1.example"));
  nextRounds();
  EXPECT_EQ(watch->rounds(), 0U);
  names_.answer({"192.0.2.1", "192.0.2.2"});
  ASSERT_THAT(tcp_.probes(), SizeIs(1));
  EXPECT_EQ(tcp_.probes().front()->spec().address.text(), "192.0.2.1");
  EXPECT_EQ(watch->resolveTime()->count(), 3);
  round(kConnected);
  EXPECT_THAT(said(), SizeIs(1));
}

TEST_F(WatchTest, AnAddressStaysAsLongAsTheNameHasIt) {
  const auto watch = WatchTest::watch(tcp("web1.example"));
  names_.answer({"192.0.2.1", "192.0.2.2"});
  names_.answer({"192.0.2.2", "192.0.2.1"});
  EXPECT_EQ(tcp_.made(), 1);
}

TEST_F(WatchTest, WithAnotherAddressTheOldRecordStaysUntilTheNewOneIsThere) {
  const auto watch = WatchTest::watch(tcp("web1.example"));
  names_.answer({"192.0.2.1"});
  round(kConnected);
  (void)said();
  names_.answer({"192.0.2.2"});
  EXPECT_THAT(said(), IsEmpty());
  round(kConnected);
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.2", "1.5"), remove("192.0.2.1")));
}

TEST_F(WatchTest, AnotherAddressInTheMidstOfARoundEndsThatRound) {
  const auto watch = WatchTest::watch(tcp("web1.example"));
  names_.answer({"192.0.2.1"});
  nextRounds();
  names_.answer({"192.0.2.2"});
  ASSERT_THAT(tcp_.probes(), SizeIs(1));
  EXPECT_EQ(watch->rounds(), 0U);
  round(kConnected);
  EXPECT_EQ(watch->rounds(), 1U);
}

TEST_F(WatchTest, ANameThatCannotBeResolvedAnyMoreKeepsItsAddressAndSaysSoOnce) {
  const auto watch = WatchTest::watch(tcp("web1.example"));
  names_.answer({"192.0.2.1"});
  names_.answer({}, "Domain name not found");
  names_.answer({}, "Domain name not found");
  round(kConnected);
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.1", "1.5")));
  EXPECT_THAT(logged_,
              ElementsAre(HasSubstr("web1.example: Domain name not found; keeps 192.0.2.1")));
}

TEST_F(WatchTest, ANameThatWasNeverResolvedIsAFailureWithoutARecord) {
  const auto watch = WatchTest::watch(tcp("web1.example"));
  names_.answer({}, "Domain name not found");
  nextRounds();
  EXPECT_EQ(watch->failures(), 1U);
  EXPECT_THAT(said(), IsEmpty());
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("web1.example: Domain name not found")));
  EXPECT_EQ(firstResults_, 1);
}

TEST_F(WatchTest, AUrlWhoseNameCannotBeResolvedIsPublishedAsNoAnswer) {
  const auto watch = WatchTest::watch(http("web1.example"));
  names_.answer({}, "Domain name not found");
  nextRounds();
  EXPECT_THAT(said(), ElementsAre(HasSubstr(R"("url":"http://web1.example/","responseTime":0)")));
}

TEST_F(WatchTest, AUrlKeepsItsRecordWhenItsAddressChanges) {
  const auto watch = WatchTest::watch(http("web1.example"));
  const Result answered{Outcome::kAnswered, HttpMeasurement{7, 1, 1, 2, 200}, "status 200"};
  names_.answer({"192.0.2.1"});
  round(answered, http_);
  names_.answer({"192.0.2.2"});
  round(kRefused, http_);
  EXPECT_THAT(said(), ElementsAre(HasSubstr("\"responseTime\":0,\"result\":\"refused\"}")));
  EXPECT_EQ(mirror_.size(), 1U);
}

TEST_F(WatchTest, ItsEndEndsTheInterestInTheName) {
  auto watch = WatchTest::watch(tcp("web1.example"));
  EXPECT_TRUE(names_.followed());
  watch.reset();
  EXPECT_FALSE(names_.followed());
}

TEST_F(WatchTest, TwoProbesThatResolveToOneRecordSayThatTheyShareIt) {
  const auto one = WatchTest::watch(tcp("192.0.2.1"));
  auto two = WatchTest::watch(tcp("web1.example"));
  names_.answer({"192.0.2.1"});
  nextRounds();
  ASSERT_THAT(tcp_.probes(), SizeIs(2));
  tcp_.probes()[0]->finish(kConnected);
  tcp_.probes()[1]->finish(kRefused);
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("refused"), HasSubstr("shares its record")));
  EXPECT_THAT(said(), ElementsAre(put("192.0.2.1", "0", "refused")));
  two.reset();
  nextRounds();
  tcp_.probes()[0]->finish(kConnected);
  EXPECT_EQ(mirror_.size(), 1U);
}

TEST_F(WatchTest, EachProtocolGoesToItsProber) {
  ProbeConfig icmp = tcp("192.0.2.1");
  icmp.parameters = IcmpParameters{};
  const auto one = WatchTest::watch(icmp);
  const auto two = WatchTest::watch(tcp("192.0.2.1"));
  const auto three = WatchTest::watch(http("192.0.2.1"));
  EXPECT_EQ(icmp_.made(), 1);
  EXPECT_EQ(tcp_.made(), 1);
  EXPECT_EQ(http_.made(), 1);
}

TEST(OverloadReport, SaysAtMostOnceAMinuteHowManyRoundsWereLeftOut) {
  const TestLoop loop;
  Clock::time_point now{1000s};
  Schedule schedule([&] { return now; }, [](Clock::time_point) {});
  std::vector<std::string> logged;
  Log log(
      Severity::kWarning, [&] { return now; },
      [&](std::string_view line) { logged.emplace_back(line); });
  OverloadReport report({loop.base(), [&] { return now; }}, schedule, log);
  Schedule::Place* self = nullptr;
  Schedule::Place place(schedule, "a", 1s, [&] { self->finished(); });
  self = &place;
  const auto away = [&](std::chrono::seconds time) {
    now += time;
    schedule.run();
    report.look();
  };
  away(1s);
  EXPECT_THAT(logged, IsEmpty());
  away(5s);
  EXPECT_THAT(logged, ElementsAre(HasSubstr("overloaded: 4 rounds")));
  away(5s);
  EXPECT_THAT(logged, SizeIs(1));
  report.roundLost();
  away(60s);
  EXPECT_THAT(logged, ElementsAre(testing::_, HasSubstr("overloaded: 64 rounds")));
  EXPECT_EQ(report.rounds(), 68U);
}

}  // namespace
}  // namespace Monitor
