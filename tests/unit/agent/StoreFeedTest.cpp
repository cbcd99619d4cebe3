#include "agent/store/StoreFeed.h"

#include <gtest/gtest.h>

#include "PipelineModel.h"

namespace Agent {
namespace {

using ConnectivityMonitor::HostNameVrfKey;
using ConnectivityMonitor::HostStatus;
using ConnectivityMonitor::StatusDir;
using Testing::http;
using Testing::icmp;
using Testing::tcp;

class StoreFeedTest : public testing::Test {
 protected:
  [[nodiscard]] HostStatus::Ptr host(const char* client, const char* name, const char* vrf) const {
    const auto status = Qiv::ptrCast<StatusDir>(clientDir_->entityPtr(client));
    return status ? status->hostStatus(HostNameVrfKey(name, vrf)) : nullptr;
  }

  Qiv::Dir::Ptr clientDir_ = Qiv::make<Qiv::Dir>("status");
  IntfSnmp::IfMib::Ptr ifMib_ = Qiv::make<IntfSnmp::IfMib>();
  std::vector<std::pair<std::string, std::uint32_t>> counts_;
  StoreFeed store_{clientDir_, ifMib_, [this](const Pomel::String& vrf, std::uint32_t count) {
                     counts_.emplace_back(vrf.stdString(), count);
                   }};
};

TEST_F(StoreFeedTest, AnIcmpRecordIsWhatTheFeedSaid) {
  store_.recordIs("lab", icmp("web", "eth1", "192.0.2.1", "blue"),
                  {12.5F, 0.25F, 0, 33.5F, "2 of 3 answered"});
  const auto status = host("lab", "web", "blue");
  ASSERT_TRUE(status);
  ASSERT_EQ(status->icmpStats().size(), 1U);
  const auto& stats = *status->icmpStats().begin();
  EXPECT_EQ(stats.key.intfName, "eth1");
  EXPECT_EQ(stats.key.ipAddr.stringValue(), "192.0.2.1");
  EXPECT_EQ(stats.latency, 12.5F);
  EXPECT_EQ(stats.jitter, 0.25F);
  EXPECT_EQ(stats.lossRatio, 33.5F);
  EXPECT_EQ(stats.packetLoss, 34);
  EXPECT_EQ(stats.result, "2 of 3 answered");
}

TEST_F(StoreFeedTest, PacketLossIsRoundedToTheNearestWholePercent) {
  const ProbeKey key = icmp("web", "", "192.0.2.1");
  const auto rounded = [&](float percent) {
    store_.recordIs("lab", key, {0, 0, 0, percent});
    return host("lab", "web", "default")->icmpStats().begin()->packetLoss;
  };
  EXPECT_EQ(rounded(0.49F), 0);
  EXPECT_EQ(rounded(0.5F), 1);
  EXPECT_EQ(rounded(99.4F), 99);
  EXPECT_EQ(rounded(99.5F), 100);
  EXPECT_EQ(rounded(100), 100);
}

TEST_F(StoreFeedTest, AnHttpAndATcpRecordAreWhatTheFeedSaid) {
  store_.recordIs("lab", http("web", "eth1", "http://h/"), {0, 0, 25.5F, 0, "status 204", 204});
  store_.recordIs("lab", tcp("web", "eth2", "2001:db8::1", 443), {1.5F, 0, 0, 0, "late", 0, 110});
  const auto status = host("lab", "web", "default");
  const auto& httpStats = *status->httpStats().begin();
  EXPECT_EQ(httpStats.key.intfName, "eth1");
  EXPECT_EQ(httpStats.key.url, "http://h/");
  EXPECT_EQ(httpStats.responseTime, 25.5F);
  EXPECT_EQ(httpStats.result, "status 204");
  EXPECT_EQ(httpStats.statusCode, 204U);
  const auto& tcpStats = *status->tcpStats().begin();
  EXPECT_EQ(tcpStats.key.intfName, "eth2");
  EXPECT_EQ(tcpStats.key.port, 443);
  EXPECT_EQ(tcpStats.key.ipAddr.stringValue(), "2001:db8::1");
  EXPECT_EQ(tcpStats.latency, 1.5F);
  EXPECT_EQ(tcpStats.result, "late");
  EXPECT_EQ(tcpStats.errorCode, 110U);
}

TEST_F(StoreFeedTest, AnEqualRecordIsNoChange) {
  for (const ProbeKey& key :
       {icmp("web", "", "::1"), http("web", "", "u"), tcp("web", "", "::1", 1)}) {
    EXPECT_TRUE(store_.recordIs("lab", key, {1, 2, 3, 4}));
    EXPECT_FALSE(store_.recordIs("lab", key, {1, 2, 3, 4}));
    EXPECT_TRUE(store_.recordIs("lab", key, {5, 2, 6, 4}));
  }
}

TEST_F(StoreFeedTest, WhatWasMeasuredCanBeReadBack) {
  const Measurements icmpMeasured{1, 2, 0, 33.3F, "lossy"};
  store_.recordIs("lab", icmp("web", "", "::1"), icmpMeasured);
  EXPECT_EQ(store_.record("lab", icmp("web", "", "::1")), icmpMeasured);
  const Measurements httpMeasured{0, 0, 3, 0, "status 500", 500};
  store_.recordIs("lab", http("web", "", "u"), httpMeasured);
  EXPECT_EQ(store_.record("lab", http("web", "", "u")), httpMeasured);
  const Measurements tcpMeasured{4, 0, 0, 0, "refused", 0, 111};
  store_.recordIs("lab", tcp("web", "", "::1", 1), tcpMeasured);
  EXPECT_EQ(store_.record("lab", tcp("web", "", "::1", 1)), tcpMeasured);
}

TEST_F(StoreFeedTest, HostAndClientGoWithTheirLastRecord) {
  store_.recordIs("lab", icmp("web", "", "::1"), {});
  store_.recordIs("lab", http("web", "", "u"), {});
  store_.recordIs("lab", tcp("db", "", "::1", 1), {});
  store_.recordDel("lab", icmp("web", "", "::1"));
  EXPECT_TRUE(host("lab", "web", "default"));
  store_.recordDel("lab", http("web", "", "u"));
  EXPECT_FALSE(host("lab", "web", "default"));
  EXPECT_TRUE(clientDir_->entityPtr("lab"));
  store_.recordDel("lab", tcp("db", "", "::1", 1));
  EXPECT_FALSE(clientDir_->entityPtr("lab"));
}

TEST_F(StoreFeedTest, IndexesGoToTheInterfaceMib) {
  store_.ifIndexIs("eth1", 7);
  const std::uint32_t* index = ifMib_->ifIndexByIntfId().find(Lintu::IntfId("eth1"));
  ASSERT_NE(index, nullptr);
  EXPECT_EQ(*index, 7U);
}

TEST_F(StoreFeedTest, CountsAreHandedOn) {
  store_.vrfCountIs("blue", 3);
  EXPECT_EQ(counts_, (std::vector<std::pair<std::string, std::uint32_t>>{{"blue", 3}}));
}

}  // namespace
}  // namespace Agent
