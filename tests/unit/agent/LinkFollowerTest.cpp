#include "agent/interfaces/LinkFollower.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <random>

#include "LinkTesting.h"

namespace Agent {
namespace {

using namespace Testing;
using namespace std::chrono_literals;
using Said = std::vector<std::pair<std::string, std::uint32_t>>;

class LinkFollowerTest : public testing::Test {
 protected:
  /// Takes all that the channel has to say; the first error ends it.
  int takeAll() {
    int error = 0;
    while (error == 0 && channel_.hasMore()) {
      error = follower_.receive(now_);
    }
    return error;
  }
  int take(const std::vector<Octets>& messages) {
    channel_.say(messages);
    return follower_.receive(now_);
  }
  /// The list that was asked for last, in one piece.
  int list(const std::vector<std::pair<std::string, int>>& links, std::uint16_t flags = 0) {
    std::vector<Octets> messages;
    for (const auto& [name, index] : links) {
      messages.push_back(link(name, index, {.sequence = channel_.asked.back(), .flags = flags}));
    }
    messages.push_back(end(channel_.asked.back()));
    return take(messages);
  }
  void start(const std::vector<std::pair<std::string, int>>& links) {
    EXPECT_EQ(follower_.run(now_), 0);
    EXPECT_EQ(list(links), 0);
    EXPECT_TRUE(follower_.inStep());
    said_.clear();
  }
  Said said() { return std::exchange(said_, {}); }

  Clock::time_point now_ = Clock::now();
  FakeChannel channel_;
  Said said_;
  LinkFollower follower_{channel_, [this](const std::string& name, std::uint32_t index) {
                           said_.emplace_back(name, index);
                         }};
};

TEST_F(LinkFollowerTest, AsksForTheListAtOnceAndOnlyOnce) {
  EXPECT_TRUE(follower_.next());
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(channel_.asked.size(), 1U);
  EXPECT_FALSE(follower_.next());
  EXPECT_FALSE(follower_.inStep());
}

TEST_F(LinkFollowerTest, SaysEveryLinkOfTheListAndIsInStepAtItsEnd) {
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(take({link("lo", 1, {.sequence = channel_.asked.back()})}), 0);
  EXPECT_FALSE(follower_.inStep());
  EXPECT_EQ(list({{"eth0", 2}}), 0);
  EXPECT_TRUE(follower_.inStep());
  EXPECT_EQ(said(), (Said{{"lo", 1}, {"eth0", 2}}));
}

TEST_F(LinkFollowerTest, SaysALinkThatComesLater) {
  start({{"lo", 1}});
  EXPECT_EQ(take({link("eth0", 2)}), 0);
  EXPECT_EQ(said(), (Said{{"eth0", 2}}));
}

TEST_F(LinkFollowerTest, SaysNothingWhenSomethingElseAboutALinkChanges) {
  start({{"lo", 1}, {"eth0", 2}});
  EXPECT_EQ(take({link("eth0", 2), link("lo", 1)}), 0);
  EXPECT_EQ(said(), Said());
}

TEST_F(LinkFollowerTest, SaysNothingOfALinkThatGoes) {
  start({{"eth0", 2}});
  EXPECT_EQ(take({goneLink("eth0", 2)}), 0);
  EXPECT_EQ(said(), Said());
}

TEST_F(LinkFollowerTest, SaysALinkThatIsMadeAgainWithAnotherIndex) {
  start({{"eth0", 2}});
  EXPECT_EQ(take({goneLink("eth0", 2), link("eth0", 9)}), 0);
  EXPECT_EQ(said(), (Said{{"eth0", 9}}));
}

TEST_F(LinkFollowerTest, ARenamedLinkIsSaidUnderItsNewName) {
  start({{"eth0", 2}});
  EXPECT_EQ(take({link("wan", 2)}), 0);
  EXPECT_EQ(said(), (Said{{"wan", 2}}));
  EXPECT_EQ(take({link("eth0", 3)}), 0);
  EXPECT_EQ(said(), (Said{{"eth0", 3}}));
}

TEST_F(LinkFollowerTest, LinksMayExchangeTheirNames) {
  start({{"a", 1}, {"b", 2}});
  EXPECT_EQ(take({link("tmp", 1), link("a", 2), link("b", 1)}), 0);
  EXPECT_EQ(said(), (Said{{"tmp", 1}, {"a", 2}, {"b", 1}}));
}

TEST_F(LinkFollowerTest, TheLateEndOfALinkWhoseNameIsTakenChangesNothing) {
  start({{"eth0", 2}});
  EXPECT_EQ(take({link("eth0", 9), goneLink("eth0", 2), link("eth0", 9)}), 0);
  EXPECT_EQ(said(), (Said{{"eth0", 9}}));
}

TEST_F(LinkFollowerTest, AfterAnOverrunAllLinksAreListedAgain) {
  start({{"lo", 1}, {"eth0", 2}, {"eth1", 3}});
  channel_.sayItem(LinkChannel::Overrun{});
  EXPECT_EQ(follower_.receive(now_), 0);
  EXPECT_FALSE(follower_.inStep());
  EXPECT_EQ(follower_.next(), now_);
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(channel_.asked.size(), 2U);
  // Meanwhile eth0 was made again, eth1 is gone, and eth2 has come.
  EXPECT_EQ(list({{"lo", 1}, {"eth0", 9}, {"eth2", 10}}), 0);
  EXPECT_TRUE(follower_.inStep());
  EXPECT_EQ(said(), (Said{{"eth0", 9}, {"eth2", 10}}));
  // eth1 was forgotten: it is news when it comes back, even with the index that it had.
  EXPECT_EQ(take({link("eth1", 3)}), 0);
  EXPECT_EQ(said(), (Said{{"eth1", 3}}));
}

TEST_F(LinkFollowerTest, AnOverrunDuringAListMakesForAnother) {
  EXPECT_EQ(follower_.run(now_), 0);
  channel_.sayItem(LinkChannel::Overrun{});
  EXPECT_EQ(follower_.receive(now_), 0);
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(channel_.asked.size(), 1U) << "the kernel gives one list at a time";
  EXPECT_EQ(list({{"lo", 1}}), 0);
  EXPECT_FALSE(follower_.inStep());
  EXPECT_EQ(follower_.next(), now_ + LinkFollower::kListPause);
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(channel_.asked.size(), 1U);
  now_ += LinkFollower::kListPause;
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(channel_.asked.size(), 2U);
  EXPECT_EQ(list({{"lo", 1}}), 0);
  EXPECT_TRUE(follower_.inStep());
  EXPECT_EQ(said(), (Said{{"lo", 1}}));
}

TEST_F(LinkFollowerTest, AListThatTheKernelCallsInterruptedForgetsNothingAndIsAskedForAgain) {
  start({{"lo", 1}, {"eth0", 2}});
  channel_.sayItem(LinkChannel::Overrun{});
  EXPECT_EQ(follower_.receive(now_), 0);
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(list({{"lo", 1}}, NLM_F_DUMP_INTR), 0);
  EXPECT_FALSE(follower_.inStep());
  EXPECT_EQ(take({link("eth0", 2)}), 0);
  EXPECT_EQ(said(), Said()) << "eth0 was not forgotten";
  now_ += LinkFollower::kListPause;
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(list({{"lo", 1}, {"eth0", 2}}), 0);
  EXPECT_TRUE(follower_.inStep());
}

TEST_F(LinkFollowerTest, TheEndOfAnotherListIsNotTheEndOfThisOne) {
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(take({end(channel_.asked.back() + 1), end(0, EBUSY)}), 0);
  EXPECT_FALSE(follower_.inStep());
  EXPECT_EQ(list({{"lo", 1}}), 0);
  EXPECT_TRUE(follower_.inStep());
}

TEST_F(LinkFollowerTest, WhatMakesTheChannelUselessIsReturned) {
  channel_.sendError = ENETDOWN;
  EXPECT_EQ(follower_.run(now_), ENETDOWN);
  channel_.sayItem(LinkChannel::Failure{EIO});
  EXPECT_EQ(follower_.receive(now_), EIO);
  EXPECT_EQ(follower_.receive(now_), 0) << "nothing to say is no failure";
}

TEST_F(LinkFollowerTest, ARefusedListIsAFailure) {
  EXPECT_EQ(follower_.run(now_), 0);
  EXPECT_EQ(take({end(channel_.asked.back(), EPERM)}), EPERM);
}

TEST_F(LinkFollowerTest, ABrokenDatagramIsAFailure) {
  EXPECT_EQ(follower_.run(now_), 0);
  Octets cut = link("eth0", 2);
  cut.pop_back();
  EXPECT_EQ(take({cut}), EBADMSG);
}

TEST_F(LinkFollowerTest, WhateverIsLostTheLastWordOfEachNameIsTheKernelsAtTheEnd) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::map<std::string, int> kernel;
  int lastIndex = 0;
  bool lost = false;
  const auto event = [&](const Octets& message) {
    if (random() % 4 == 0) {
      lost = true;  // No room: the kernel tells so once.
      return;
    }
    if (std::exchange(lost, false)) {
      channel_.sayItem(LinkChannel::Overrun{});
    }
    channel_.say({message});
  };
  const auto anyName = [&] { return std::string(1, static_cast<char>('a' + random() % 8)); };
  for (int round = 0; round < 3'000; ++round) {
    const std::string name = anyName();
    const std::string other = anyName();
    const auto at = kernel.find(name);
    if (at == kernel.end()) {
      kernel[name] = ++lastIndex;
      event(link(name, lastIndex));
    } else if (kernel.contains(other)) {
      event(goneLink(name, at->second));
      kernel.erase(at);
    } else {
      kernel[other] = at->second;
      kernel.erase(at);
      event(link(other, kernel[other]));
    }
    if (random() % 5 != 0) {
      continue;
    }
    if (std::exchange(lost, false)) {
      channel_.sayItem(LinkChannel::Overrun{});
    }
    while (channel_.hasMore() || !follower_.inStep()) {
      ASSERT_EQ(takeAll(), 0);
      now_ += LinkFollower::kListPause;
      const std::size_t before = channel_.asked.size();
      ASSERT_EQ(follower_.run(now_), 0);
      if (channel_.asked.size() > before) {
        const std::vector<std::pair<std::string, int>> links(kernel.begin(), kernel.end());
        ASSERT_EQ(list(links), 0);
      }
    }
    std::map<std::string, std::uint32_t> heard;
    for (const auto& [linkName, index] : said_) {
      heard[linkName] = index;
    }
    for (const auto& [linkName, index] : kernel) {
      ASSERT_EQ(heard[linkName], static_cast<std::uint32_t>(index)) << linkName;
    }
  }
}

}  // namespace
}  // namespace Agent
