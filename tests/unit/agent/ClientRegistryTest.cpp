#include "agent/feed/ClientRegistry.h"

#include <gtest/gtest.h>

#include <vector>

#include "FeedTesting.h"

namespace Agent {
namespace {

using namespace std::chrono_literals;

class ClientRegistryTest : public testing::Test {
 protected:
  void advanceAndExpire(std::chrono::milliseconds by) {
    clock_.advance(by);
    registry_.expire();
  }

  Testing::FakeClock clock_;
  std::vector<std::string> withdrawn_;
  ClientRegistry registry_{clock_.now(), [this](const Pomel::String& client) {
                             withdrawn_.push_back(client.stdString());
                           }};
};

using Names = std::vector<std::string>;

TEST_F(ClientRegistryTest, AClientIsWithdrawnOnceItsHoldTimeIsOverAndNotBefore) {
  { const auto presence = registry_.hello({"lab", 5s}); }
  EXPECT_EQ(registry_.nextExpiry(), clock_.at() + 5s);
  advanceAndExpire(4999ms);
  EXPECT_EQ(withdrawn_, Names{});
  advanceAndExpire(1ms);
  EXPECT_EQ(withdrawn_, Names{"lab"});
  EXPECT_EQ(registry_.nextExpiry(), std::nullopt);
  advanceAndExpire(1h);
  EXPECT_EQ(withdrawn_, Names{"lab"});
}

TEST_F(ClientRegistryTest, AHoldTimeOfZeroWithdrawsAtOnce) {
  { const auto presence = registry_.hello({"lab", 0s}); }
  registry_.expire();
  EXPECT_EQ(withdrawn_, Names{"lab"});
}

TEST_F(ClientRegistryTest, WithoutAHoldTimeTheRecordsStay) {
  { const auto presence = registry_.hello({"lab", {}}); }
  EXPECT_EQ(registry_.nextExpiry(), std::nullopt);
  advanceAndExpire(10'000h);
  EXPECT_EQ(withdrawn_, Names{});
}

TEST_F(ClientRegistryTest, TheHoldTimeDoesNotRunWhileTheClientIsConnected) {
  const auto presence = registry_.hello({"lab", 5s});
  EXPECT_EQ(registry_.nextExpiry(), std::nullopt);
  advanceAndExpire(1h);
  EXPECT_EQ(withdrawn_, Names{});
}

TEST_F(ClientRegistryTest, ANewConnectionWithinTheTimeTakesTheRecordsOver) {
  { const auto presence = registry_.hello({"lab", 5s}); }
  clock_.advance(4s);
  {
    const auto presence = registry_.hello({"lab", 5s});
    advanceAndExpire(1h);
    EXPECT_EQ(withdrawn_, Names{});
  }
  advanceAndExpire(4s);
  EXPECT_EQ(withdrawn_, Names{}) << "the time runs anew from the second close";
  advanceAndExpire(1s);
  EXPECT_EQ(withdrawn_, Names{"lab"});
}

TEST_F(ClientRegistryTest, AConnectionThatTakesOverWithoutAHoldTimeKeepsTheRecords) {
  { const auto presence = registry_.hello({"lab", 5s}); }
  { const auto presence = registry_.hello({"lab", {}}); }
  advanceAndExpire(1h);
  EXPECT_EQ(withdrawn_, Names{});
}

TEST_F(ClientRegistryTest, OfTwoConnectionsTheLastToCloseStartsTheTime) {
  auto first = registry_.hello({"lab", 5s});
  auto second = registry_.hello({"lab", 5s});
  second = {};
  advanceAndExpire(1h);
  EXPECT_EQ(withdrawn_, Names{}) << "the older connection still speaks for the client";
  first = {};
  advanceAndExpire(5s);
  EXPECT_EQ(withdrawn_, Names{"lab"});
}

TEST_F(ClientRegistryTest, OfTwoConnectionsTheLaterHelloSaysTheTime) {
  auto first = registry_.hello({"lab", 5s});
  auto second = registry_.hello({"lab", 60s});
  second = {};
  first = {};
  advanceAndExpire(59s);
  EXPECT_EQ(withdrawn_, Names{});
  advanceAndExpire(1s);
  EXPECT_EQ(withdrawn_, Names{"lab"});
}

TEST_F(ClientRegistryTest, ClientsAreHeldEachForItself) {
  { const auto presence = registry_.hello({"a", 9s}); }
  { const auto presence = registry_.hello({"b", 3s}); }
  EXPECT_EQ(registry_.nextExpiry(), clock_.at() + 3s);
  advanceAndExpire(3s);
  EXPECT_EQ(withdrawn_, Names{"b"});
  advanceAndExpire(6s);
  EXPECT_EQ(withdrawn_, (Names{"b", "a"}));
}

TEST_F(ClientRegistryTest, APresenceThatIsMovedIsLeftOnce) {
  auto presence = registry_.hello({"lab", 1s});
  {
    ClientRegistry::Presence moved = std::move(presence);
    EXPECT_TRUE(moved.known());
    EXPECT_EQ(moved.client(), "lab");
    EXPECT_EQ(registry_.nextExpiry(), std::nullopt);
  }
  EXPECT_NE(registry_.nextExpiry(), std::nullopt);
}

}  // namespace
}  // namespace Agent
