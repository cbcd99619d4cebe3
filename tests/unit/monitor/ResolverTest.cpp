#include "monitor/resolve/Resolver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/monitor/DnsServerTesting.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using namespace Testing;
using testing::ElementsAre;
using testing::IsEmpty;

class ResolverTest : public testing::Test {
 protected:
  std::unique_ptr<NameSource::Interest> follow(const std::string& vrf, const std::string& name) {
    return resolver_.follow(vrf, name,
                            [this](const NameAnswer& answer) { answers_.push_back(answer); });
  }
  [[nodiscard]] bool answersReach(std::size_t count) {
    return loop_.runUntil([&] { return answers_.size() >= count; });
  }
  static std::vector<std::string> texts(const NameAnswer& answer) {
    std::vector<std::string> texts;
    for (const IpAddress& address : answer.addresses) {
      texts.push_back(address.text());
    }
    return texts;
  }

  TestLoop loop_;
  Resolver resolver_{loop_.loop(), {10ms, 1h, 40ms}};
  std::vector<NameAnswer> answers_;
};

TEST_F(ResolverTest, ANamesAddressesAreFound) {
  DnsServer server(loop_);
  server.v6Is("2001:db8::1");
  resolver_.vrfsAre({server.vrf("default")});
  const auto interest = follow("default", "web1.example");
  EXPECT_FALSE(interest->latest());
  ASSERT_TRUE(answersReach(1));
  EXPECT_THAT(texts(answers_[0]), testing::UnorderedElementsAre("192.0.2.1", "2001:db8::1"));
  EXPECT_EQ(answers_[0].error, "");
  EXPECT_GT(answers_[0].took, 0ns);
  EXPECT_EQ(texts(*interest->latest()), texts(answers_[0]));
}

TEST_F(ResolverTest, AnUnknownNameIsAFailureThatIsTriedAgain) {
  const DnsServer server(loop_);
  resolver_.vrfsAre({server.vrf("default")});
  const auto interest = follow("default", "nowhere.invalid");
  ASSERT_TRUE(answersReach(4));
  EXPECT_THAT(answers_[0].addresses, IsEmpty());
  EXPECT_EQ(answers_[0].error, "Domain name not found");
}

TEST_F(ResolverTest, ANameIsAskedForAgainWhenItsTtlIsOver) {
  DnsServer server(loop_);
  server.ttlIs(0);
  resolver_.vrfsAre({server.vrf("default")});
  const auto interest = follow("default", "web1.example");
  ASSERT_TRUE(answersReach(1));
  server.v4Is("192.0.2.2");
  const std::size_t before = answers_.size();
  ASSERT_TRUE(answersReach(before + 2));
  EXPECT_THAT(texts(answers_.back()), ElementsAre("192.0.2.2"));
}

TEST_F(ResolverTest, ANameIsNotAskedForAgainWithinItsTtl) {
  const DnsServer server(loop_);
  resolver_.vrfsAre({server.vrf("default")});
  const auto interest = follow("default", "web1.example");
  ASSERT_TRUE(answersReach(1));
  // Another name is asked for and answered many times over meanwhile.
  const auto other = follow("default", "nowhere.invalid");
  ASSERT_TRUE(answersReach(5));
  EXPECT_EQ(server.questions(), 1);
}

TEST_F(ResolverTest, ANameThatManyFollowIsAskedForOnce) {
  const DnsServer server(loop_);
  resolver_.vrfsAre({server.vrf("default")});
  const auto one = follow("default", "web1.example");
  const auto two = follow("default", "web1.example");
  ASSERT_TRUE(answersReach(2));
  EXPECT_EQ(server.questions(), 1);
  const auto three = follow("default", "web1.example");
  ASSERT_TRUE(three->latest());
  EXPECT_THAT(texts(*three->latest()), ElementsAre("192.0.2.1"));
}

TEST_F(ResolverTest, ANameIsAskedForInItsVrf) {
  const TestNamespace netns("conmon-dns");
  const Binding inside{netns.name(), "", ""};
  DnsServer outsideServer(loop_);
  DnsServer insideServer(loop_, inside);
  insideServer.v4Is("192.0.2.99");
  resolver_.vrfsAre({outsideServer.vrf("default"), insideServer.vrf("blue", inside)});
  const auto blue = follow("blue", "web1.example");
  ASSERT_TRUE(answersReach(1));
  EXPECT_THAT(texts(answers_[0]), ElementsAre("192.0.2.99"));
  const auto own = follow("default", "web1.example");
  ASSERT_TRUE(loop_.runUntil([&] { return own->latest().has_value(); }));
  EXPECT_THAT(texts(*own->latest()), ElementsAre("192.0.2.1"));
}

TEST_F(ResolverTest, OtherNameServersAreAskedAtOnceAndTheAnswerStaysUntilTheirsComes) {
  DnsServer first(loop_);
  DnsServer second(loop_);
  second.v4Is("192.0.2.2");
  resolver_.vrfsAre({first.vrf("default")});
  const auto interest = follow("default", "web1.example");
  ASSERT_TRUE(answersReach(1));
  resolver_.vrfsAre({second.vrf("default")});
  EXPECT_THAT(texts(*interest->latest()), ElementsAre("192.0.2.1"));
  ASSERT_TRUE(answersReach(2));
  EXPECT_THAT(texts(*interest->latest()), ElementsAre("192.0.2.2"));
}

TEST_F(ResolverTest, WhileAQuestionIsUnderWayInterestsAndServersMayGo) {
  DnsServer server(loop_);
  resolver_.vrfsAre({server.vrf("default")});
  auto interest = follow("default", "web1.example");
  auto other = follow("default", "web2.example");
  loop_.runReady();
  interest.reset();
  resolver_.vrfsAre({server.vrf("default")});
  ASSERT_TRUE(loop_.runUntil([&] { return other->latest().has_value(); }));
  EXPECT_LE(answers_.size(), 2U);
}

TEST_F(ResolverTest, AnAnswerMayEndEveryInterestInTheName) {
  const DnsServer server(loop_);
  resolver_.vrfsAre({server.vrf("default")});
  std::vector<std::unique_ptr<NameSource::Interest>> interests;
  int calls = 0;
  for (int i = 0; i < 3; ++i) {
    interests.push_back(resolver_.follow("default", "web1.example", [&](const NameAnswer&) {
      ++calls;
      interests.clear();
    }));
  }
  ASSERT_TRUE(loop_.runUntil([&] { return interests.empty(); }));
  loop_.runReady();
  EXPECT_EQ(calls, 1);
}

TEST_F(ResolverTest, AVrfThatIsGoneIsAFailureInWords) {
  resolver_.vrfsAre({});
  const auto interest = follow("blue", "web1.example");
  ASSERT_TRUE(answersReach(1));
  EXPECT_EQ(answers_[0].error, "no such VRF");
}

TEST_F(ResolverTest, ANamespaceThatIsNotThereIsAFailure) {
  resolver_.vrfsAre({{"blue", {"no-such-netns", "", ""}, {{*IpAddress::parse("127.0.0.1"), 53}}}});
  const auto interest = follow("blue", "web1.example");
  ASSERT_TRUE(answersReach(1));
  EXPECT_THAT(answers_[0].addresses, IsEmpty());
  EXPECT_NE(answers_[0].error, "");
}

}  // namespace
}  // namespace Monitor
