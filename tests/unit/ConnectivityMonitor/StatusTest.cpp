#include "ConnectivityMonitor/Status.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "Qiv/Dir.h"
#include "Qiv/TypeInfo.h"

namespace ConnectivityMonitor {
namespace {

const Lintu::IpGenAddr kAddr = Lintu::IpGenAddr::ipv4({192, 0, 2, 1});

template <class Key>
struct Watcher {
  explicit Watcher(Qiv::Publisher<Key>& changes) { subscription.subscribe(changes); }
  void handle(const Key& key) {
    std::ostringstream text;
    text << key;
    told.push_back(text.str());
  }
  std::vector<std::string> told;
  Qiv::Subscription<&Watcher::handle, Key> subscription{*this};
};

TEST(HostStatus, RecordsAreEnteredUnderTheirOwnKeys) {
  const auto status = Qiv::make<HostStatus>(HostNameVrfKey("web1", "blue"));
  EXPECT_TRUE(status->empty());
  EXPECT_TRUE(status->icmpStatsIs({.key = {"eth1", kAddr}, .result = {}, .latency = 1}));
  EXPECT_TRUE(status->httpStatsIs({.key = {"eth1", "u"}, .result = {}, .responseTime = 2}));
  EXPECT_TRUE(status->tcpStatsIs({.key = {"eth1", 80, kAddr}, .result = {}, .latency = 3}));
  EXPECT_FALSE(status->empty());
  EXPECT_EQ(status->icmpStats().find({"eth1", kAddr})->latency, 1);
  EXPECT_EQ(status->httpStats().find({"eth1", "u"})->responseTime, 2);
  EXPECT_EQ(status->tcpStats().find({"eth1", 80, kAddr})->latency, 3);
}

TEST(HostStatus, AnEqualRecordIsNoChangeAlsoWithANaN) {
  const auto status = Qiv::make<HostStatus>(HostNameVrfKey("web1", "blue"));
  const IcmpStats stats{.key = {"eth1", kAddr}, .result = "x", .latency = std::nanf("")};
  EXPECT_TRUE(status->icmpStatsIs(stats));
  const Watcher<IcmpStatsKey> watcher(status->icmpStats().changes());
  EXPECT_FALSE(status->icmpStatsIs(stats));
  EXPECT_TRUE(watcher.told.empty());
  EXPECT_EQ(status->icmpStats().version(), 1U);
}

TEST(HostStatus, AChangeInAFieldThatIsNotShownIsAChange) {
  const auto status = Qiv::make<HostStatus>(HostNameVrfKey("web1", "blue"));
  HttpStats stats;
  stats.key = {"eth1", "u"};
  status->httpStatsIs(stats);
  const Watcher<HttpStatsKey> watcher(status->httpStats().changes());
  stats.statusCode = 500;
  EXPECT_TRUE(status->httpStatsIs(stats));
  EXPECT_EQ(watcher.told, std::vector<std::string>{"eth1,u"});
}

TEST(HostStatus, EachMapPublishesOnItsOwn) {
  const auto status = Qiv::make<HostStatus>(HostNameVrfKey("web1", "blue"));
  const Watcher<IcmpStatsKey> icmp(status->icmpStats().changes());
  const Watcher<HttpStatsKey> http(status->httpStats().changes());
  const Watcher<TcpStatsKey> tcp(status->tcpStats().changes());
  status->tcpStatsIs({.key = {"e", 80, kAddr}, .result = {}});
  status->tcpStatsDel({"e", 80, kAddr});
  status->tcpStatsDel({"e", 80, kAddr});
  status->icmpStatsDel({"e", kAddr});
  status->httpStatsDel({"e", "u"});
  EXPECT_TRUE(icmp.told.empty());
  EXPECT_TRUE(http.told.empty());
  EXPECT_EQ(tcp.told, (std::vector<std::string>{"e,80,192.0.2.1", "e,80,192.0.2.1"}));
  EXPECT_TRUE(status->empty());
}

TEST(StatusDir, AHostsRecordIsMadeOnce) {
  const auto dir = Qiv::make<StatusDir>("client");
  const HostNameVrfKey key("web1", "blue");
  EXPECT_EQ(dir->hostStatus(key), nullptr);
  const Watcher<HostNameVrfKey> watcher(dir->hostStatus().changes());
  const HostStatus::Ptr status = dir->hostStatusIs(key);
  EXPECT_NE(status, nullptr);
  EXPECT_EQ(dir->hostStatusIs(key), status);
  EXPECT_EQ(dir->hostStatus(key), status);
  EXPECT_EQ(status->key(), key);
  EXPECT_EQ(watcher.told, std::vector<std::string>{"web1,blue"});
}

TEST(StatusDir, ADeletedRecordLivesOnWithItsReader) {
  const auto dir = Qiv::make<StatusDir>("client");
  const HostNameVrfKey key("web1", "blue");
  const HostStatus::Ptr reader = dir->hostStatusIs(key);
  reader->icmpStatsIs({.key = {"e", kAddr}, .result = {}});
  dir->hostStatusDel(key);
  dir->hostStatusDel(key);
  EXPECT_EQ(dir->hostStatus(key), nullptr);
  EXPECT_EQ(reader->icmpStats().size(), 1U);
  EXPECT_EQ(reader->refs(), 1U);
  EXPECT_NE(dir->hostStatusIs(key), reader);
}

TEST(StatusDir, DeletingAllPublishesEachHost) {
  const auto dir = Qiv::make<StatusDir>("client");
  dir->hostStatusIs({"a", "v"});
  dir->hostStatusIs({"b", "v"});
  const Watcher<HostNameVrfKey> watcher(dir->hostStatus().changes());
  dir->hostStatusDelAll();
  EXPECT_TRUE(dir->hostStatus().empty());
  EXPECT_THAT(watcher.told, testing::UnorderedElementsAre("a,v", "b,v"));
}

TEST(StatusDir, IsMadeByItsTypesNameAndAHostsRecordIsNot) {
  const auto root = Qiv::make<Qiv::Dir>("clients");
  const auto made = root->entityIs("lab", "ConnectivityMonitor::StatusDir");
  EXPECT_EQ(Qiv::ptrCast<StatusDir>(made)->name(), "lab");
  EXPECT_THROW(root->entityIs("host", "ConnectivityMonitor::HostStatus"), Qiv::InspectionError);
}

TEST(Status, DumpsShowCollectionsByKey) {
  const auto dir = Qiv::make<StatusDir>("lab");
  const auto status = dir->hostStatusIs({"web 1", "default"});
  status->icmpStatsIs({.key = {"eth1", kAddr}, .result = "ok", .latency = 1.5F});
  status->httpStatsIs({.key = {"", "http://w/"}, .result = "", .responseTime = 25.7F});
  status->tcpStatsIs({.key = {"eth1", 80, kAddr}, .result = "ok", .latency = 2});
  EXPECT_EQ(Qiv::dump(*dir),
            "name = lab\n"
            "hostStatus[ web%201,default ] = ConnectivityMonitor::HostStatus\n");
  EXPECT_EQ(Qiv::dump(*status),
            "icmpStats[ eth1,192.0.2.1 ] = eth1,192.0.2.1,ok,1.5,0,0,0\n"
            "httpStats[ ,http://w/ ] = ,http://w/,,25.7,0\n"
            "tcpStats[ eth1,80,192.0.2.1 ] = eth1,80,192.0.2.1,ok,2,0\n");
}

}  // namespace
}  // namespace ConnectivityMonitor
