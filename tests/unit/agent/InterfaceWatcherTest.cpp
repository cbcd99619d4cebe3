#include "agent/interfaces/InterfaceWatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

#include "FeedTesting.h"
#include "LinkTesting.h"

namespace Agent {
namespace {

using namespace Testing;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// A namespace that comes and goes as a test says.
struct FakePlace {
  std::optional<NetnsId> id = NetnsId{1, 1};
  std::optional<std::string> refusal;
  FakeChannel* channel = nullptr;  ///< The one that was opened last.
  int opened = 0;

  void lists(const std::vector<std::pair<std::string, int>>& links) const {
    for (const auto& [name, index] : links) {
      channel->say({link(name, index)});
    }
    channel->say({end(channel->asked.back())});
  }
};

class FakeAccess final : public LinkPlace::Access {
 public:
  explicit FakeAccess(FakePlace& place) : place_(place) {}
  std::optional<NetnsId> id() override { return place_.id; }
  Opened open() override {
    if (place_.refusal) {
      return *place_.refusal;
    }
    auto channel = std::make_unique<FakeChannel>();
    place_.channel = channel.get();
    ++place_.opened;
    return Opened(std::move(channel));
  }

 private:
  FakePlace& place_;
};

/// Each test moves the place's clock by hand; the loop only carries what is readable.
class LinkPlaceTest : public testing::Test {
 protected:
  void check() { place_.run(now_ += LinkPlace::kCheckPause); }
  void turns() {
    for (int i = 0; i < 20; ++i) {
      loop_.turn(0ms);
    }
  }

  Clock::time_point now_ = Clock::now();
  EventLoop loop_{2ms};
  FakePlace fake_;
  std::vector<std::string> log_;
  std::vector<std::string> said_;
  LinkPlace place_{loop_, "VRF \"blue\"", std::make_unique<FakeAccess>(fake_),
                   [this](const std::string& line) { log_.push_back(line); },
                   [this](const std::string& name, std::uint32_t index) {
                     said_.push_back(name + " " + std::to_string(index));
                   }};
};

TEST_F(LinkPlaceTest, ListsAndFollowsTheLinksOfANamespaceThatIsThere) {
  check();
  fake_.lists({{"lo", 1}, {"eth0", 2}});
  turns();
  EXPECT_TRUE(place_.inStep());
  fake_.channel->say({link("eth1", 3)});
  turns();
  EXPECT_THAT(said_, ElementsAre("lo 1", "eth0 2", "eth1 3"));
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(LinkPlaceTest, ANamespaceThatIsMissingIsToldOfOnceAndFoundWhenItComes) {
  fake_.id.reset();
  fake_.refusal = "no such namespace";
  check();
  check();
  EXPECT_THAT(log_, ElementsAre("VRF \"blue\": interfaces are not followed: no such namespace"));
  fake_.id = NetnsId{1, 1};
  fake_.refusal.reset();
  check();
  fake_.lists({{"lo", 1}});
  turns();
  EXPECT_THAT(said_, ElementsAre("lo 1"));
  EXPECT_THAT(log_, ElementsAre("VRF \"blue\": interfaces are not followed: no such namespace",
                                "VRF \"blue\": interfaces are followed again"));
}

TEST_F(LinkPlaceTest, AnotherReasonIsToldOf) {
  fake_.refusal = "one";
  check();
  fake_.refusal = "two";
  check();
  EXPECT_EQ(log_.size(), 2U);
}

TEST_F(LinkPlaceTest, ANamespaceThatVanishesIsLetGo) {
  check();
  fake_.lists({{"lo", 1}});
  turns();
  fake_.id.reset();
  fake_.refusal = "no such namespace";
  check();
  EXPECT_FALSE(place_.inStep());
  EXPECT_EQ(log_.back(), "VRF \"blue\": interfaces are not followed: no such namespace");
}

TEST_F(LinkPlaceTest, ANamespaceThatIsMadeAgainUnderTheNameIsFollowedInPlaceOfTheOldOne) {
  check();
  fake_.lists({{"lo", 1}, {"eth0", 2}});
  turns();
  check();
  EXPECT_EQ(fake_.opened, 1);
  fake_.id = NetnsId{1, 2};
  check();
  EXPECT_EQ(fake_.opened, 2);
  fake_.lists({{"lo", 1}, {"eth0", 5}});
  turns();
  EXPECT_TRUE(place_.inStep());
  EXPECT_EQ(said_.back(), "eth0 5");
}

TEST_F(LinkPlaceTest, ASocketThatFailsIsReplacedAtTheNextCheck) {
  check();
  fake_.lists({{"eth0", 2}});
  turns();
  fake_.channel->sayItem(LinkChannel::Failure{EIO});
  turns();
  EXPECT_THAT(log_, ElementsAre("VRF \"blue\": interfaces are not followed: its interfaces cannot "
                                "be read: Input/output error"));
  EXPECT_EQ(fake_.opened, 1);
  check();
  EXPECT_EQ(fake_.opened, 2);
  fake_.lists({{"eth0", 7}});
  turns();
  EXPECT_EQ(said_.back(), "eth0 7");
  EXPECT_EQ(log_.size(), 2U);
}

TEST_F(LinkPlaceTest, WhatComesWhileNobodyReadsIsReadLater) {
  check();
  fake_.lists({{"lo", 1}});
  turns();
  place_.readingIs(false);
  fake_.channel->say({link("eth0", 2)});
  turns();
  EXPECT_THAT(said_, ElementsAre("lo 1"));
  place_.readingIs(true);
  turns();
  EXPECT_THAT(said_, ElementsAre("lo 1", "eth0 2"));
}

class InterfaceWatcherTest : public testing::Test {
 protected:
  void start() {
    watcher_.placeAdd("own", "", std::make_unique<FakeAccess>(own_));
    watcher_.placeAdd("blue", "@blue", std::make_unique<FakeAccess>(blue_));
    loop_.workAdd(watcher_);
    loop_.timerAdd(watcher_);
    turns();
  }
  void turns() {
    for (int i = 0; i < 20; ++i) {
      loop_.turn(0ms);
    }
  }
  std::vector<std::string> queued() {
    std::vector<std::string> changes;
    while (!queue_.empty()) {
      const auto entry = queue_.pop();
      EXPECT_TRUE(entry.client.empty()) << "an index of the kernel's";
      const auto& change = std::get<SetInterface>(entry.change);
      changes.push_back(change.name.stdString() + " " + std::to_string(change.ifIndex));
      queue_.applied();
    }
    return changes;
  }

  EventLoop loop_{2ms};
  OperationQueue queue_{4};
  FakePlace own_;
  FakePlace blue_;
  InterfaceWatcher watcher_{loop_, queue_, [](const std::string&) {}};
};

TEST_F(InterfaceWatcherTest, AnInterfaceOfAVrfsNamespaceIsNamedWithTheVrf) {
  start();
  own_.lists({{"eth1", 2}});
  turns();
  EXPECT_THAT(queued(), ElementsAre("eth1 2"));
  blue_.lists({{"eth1", 3}});
  turns();
  EXPECT_THAT(queued(), ElementsAre("eth1@blue 3"));
}

TEST_F(InterfaceWatcherTest, ANameThatIsNoUtf8IsPassedOver) {
  start();
  own_.lists({{"eth\xff", 2}, {"eth1", 3}, {"\xc3\xa9th", 4}});
  turns();
  EXPECT_THAT(queued(), ElementsAre("eth1 3", "\xc3\xa9th 4"));
}

TEST_F(InterfaceWatcherTest, AFullQueueStopsTheReadingUntilThereIsRoom) {
  start();
  own_.lists({{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 5}, {"f", 6}});
  turns();
  EXPECT_FALSE(watcher_.hasWork());
  EXPECT_THAT(queued(), ElementsAre("a 1", "b 2", "c 3", "d 4"));
  EXPECT_TRUE(watcher_.hasWork());
  turns();
  EXPECT_THAT(queued(), ElementsAre("e 5", "f 6"));
}

}  // namespace
}  // namespace Agent
