// Places: namespaces and interfaces that come and go.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "IcmpTesting.h"

namespace Monitor::Testing {
namespace {

using Netlab::Namespace;

class Place : public ::testing::Test {
 protected:
  void SetUp() override {
    try {
      here = std::make_unique<Namespace>(name);
    } catch (const std::exception& error) {
      GTEST_SKIP() << Netlab::unavailable("netns", error.what());
    }
  }
  [[nodiscard]] Result round(const std::string& address, const std::string& interface = "") {
    return under.round(ProberUnderTest::spec({name, "", interface}, address, 2, 200ms));
  }
  /// Rounds until one has the outcome: a changed place is noticed within a second or two, and an
  /// interface that has just come up loses what is sent before the kernel has activated its queue.
  [[nodiscard]] Result roundUntil(Outcome outcome, const std::string& interface = "",
                                  const std::string& address = "192.0.2.2") {
    Result result;
    for (int i = 0; i < 100; ++i) {
      result = round(address, interface);
      if (result.outcome == outcome) {
        break;
      }
      under.run(50ms);
    }
    return result;
  }
  /// A pair of interfaces whose far end is in a namespace of its own.
  void joinFar(const Namespace& far) {
    here->run("ip link add eth1 type veth peer name eth1 netns " + far.name() +
              " && ip addr add 192.0.2.1/24 dev eth1 && ip link set eth1 up");
    far.run("ip addr add 192.0.2.2/24 dev eth1 && ip link set eth1 up");
  }

  const std::string name = Netlab::uniqueName();
  std::unique_ptr<Namespace> here;
  ProberUnderTest under;
};

TEST_F(Place, TheNamespaceIsTheOneThatTheSocketLivesIn) {
  here->run("ip addr add 192.0.2.77/32 dev lo");
  EXPECT_EQ(round("192.0.2.77").outcome, Outcome::kAnswered);
  EXPECT_NE(under.round(ProberUnderTest::spec({}, "192.0.2.77", 1, 200ms)).outcome,
            Outcome::kAnswered);
}

TEST_F(Place, ANamespaceThatIsNotThereIsNotMeasured) {
  const Result result = under.round(ProberUnderTest::spec({name + "-none", "", ""}, "127.0.0.1"));
  EXPECT_EQ(result.outcome, Outcome::kNotMeasured);
  EXPECT_NE(result.text.find(name + "-none"), std::string::npos) << result.text;
}

TEST_F(Place, ANamespaceMadeAnewUnderItsNameIsFollowed) {
  here->run("ip addr add 192.0.2.2/32 dev lo");
  EXPECT_EQ(round("192.0.2.2").outcome, Outcome::kAnswered);
  here.reset();
  const Result gone = roundUntil(Outcome::kNotMeasured);
  EXPECT_EQ(gone.outcome, Outcome::kNotMeasured) << gone.text;
  here = std::make_unique<Namespace>(name);
  here->run("ip addr add 192.0.2.2/32 dev lo");
  const Result again = roundUntil(Outcome::kAnswered);
  EXPECT_EQ(again.outcome, Outcome::kAnswered) << again.text;
}

TEST_F(Place, AnInterfaceIsTheWayOut) {
  const Namespace far(name + "-far");
  joinFar(far);
  const Result answered = roundUntil(Outcome::kAnswered, "eth1");
  ASSERT_EQ(answered.outcome, Outcome::kAnswered) << answered.text;
  const Result elsewhere = round("192.0.2.2", "lo");
  EXPECT_EQ(elsewhere.outcome, Outcome::kNoAnswer) << elsewhere.text;
}

TEST_F(Place, AnInterfaceThatIsNotThereIsNotMeasured) {
  const Result result = round("192.0.2.2", "eth7");
  EXPECT_EQ(result.outcome, Outcome::kNotMeasured);
  EXPECT_NE(result.text.find("eth7"), std::string::npos) << result.text;
}

TEST_F(Place, AnInterfaceMadeAnewUnderItsNameIsFollowed) {
  const Namespace far(name + "-far");
  joinFar(far);
  const Result answered = roundUntil(Outcome::kAnswered, "eth1");
  ASSERT_EQ(answered.outcome, Outcome::kAnswered) << answered.text;
  here->run("ip link del eth1");
  const Result gone = roundUntil(Outcome::kNotMeasured, "eth1");
  EXPECT_EQ(gone.outcome, Outcome::kNotMeasured) << gone.text;
  joinFar(far);
  const Result again = roundUntil(Outcome::kAnswered, "eth1");
  EXPECT_EQ(again.outcome, Outcome::kAnswered) << again.text;
}

TEST_F(Place, AnInterfaceThatTookTheNameOfAnotherIsFollowed) {
  const Namespace far(name + "-far");
  joinFar(far);
  const Result answered = roundUntil(Outcome::kAnswered, "eth1");
  ASSERT_EQ(answered.outcome, Outcome::kAnswered) << answered.text;
  here->run("ip link set eth1 down && ip link set eth1 name old1 && ip addr flush dev old1");
  far.run("ip link set eth1 down && ip link set eth1 name old1 && ip addr flush dev old1");
  joinFar(far);
  const Result again = roundUntil(Outcome::kAnswered, "eth1");
  EXPECT_EQ(again.outcome, Outcome::kAnswered) << again.text;
}

TEST_F(Place, AnInterfaceThatIsDownIsATargetLost) {
  const Namespace far(name + "-far");
  joinFar(far);
  const Result answered = roundUntil(Outcome::kAnswered, "eth1");
  ASSERT_EQ(answered.outcome, Outcome::kAnswered) << answered.text;
  here->run("ip link set eth1 down");
  const Result result = round("192.0.2.2", "eth1");
  EXPECT_EQ(result.outcome, Outcome::kNoAnswer) << result.text;
}

TEST_F(Place, ALinkLocalTargetIsReachedThroughItsInterface) {
  const Namespace far(name + "-far");
  joinFar(far);
  here->run("ip addr add fe80::1/64 dev eth1 nodad");
  far.run("ip addr add fe80::2/64 dev eth1 nodad");
  const Result result = roundUntil(Outcome::kAnswered, "eth1", "fe80::2");
  EXPECT_EQ(result.outcome, Outcome::kAnswered) << result.text;
}

}  // namespace
}  // namespace Monitor::Testing
