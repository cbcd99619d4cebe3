#include "agent/control/StoreWalk.h"

#include <gtest/gtest.h>

#include <limits>

#include "ConnectivityMonitor/Status.h"
#include "FeedTesting.h"
#include "IntfSnmp/IfMib.h"

namespace Agent {
namespace {

using ConnectivityMonitor::HostNameVrfKey;
using ConnectivityMonitor::IcmpStats;
using ConnectivityMonitor::StatusDir;

class StoreWalkTest : public testing::Test {
 protected:
  void SetUp() override {
    Qiv::dirAt(root_, "monitor")->entityIs("lab", status_);
    const auto host = status_->hostStatusIs(HostNameVrfKey("web/1", "blue"));
    IcmpStats stats;
    stats.key = {.intfName = "eth1", .ipAddr = *Lintu::IpGenAddr::parse("192.0.2.1")};
    host->icmpStatsIs(stats);
  }

  [[nodiscard]] std::string refusal(std::string_view path) const {
    try {
      static_cast<void>(placeAt(root_, path));
    } catch (const Qiv::InspectionError& error) {
      return error.what();
    }
    return "found";
  }
  [[nodiscard]] Qiv::Entity::Ptr entityAt(std::string_view path) const {
    return std::get<Qiv::Entity::Ptr>(placeAt(root_, path));
  }
  /// The elements' names, piece by piece.
  [[nodiscard]] std::vector<std::string> names(const CollectionPlace& place, std::uint32_t limit) {
    std::vector<std::string> all;
    Page page;
    page.limit = limit;
    for (bool whole = false; !whole;) {
      ListAnswer list(page, never_);
      std::vector<std::string> piece;
      whole =
          listElements(place, page.after, list, [&](const std::string& name, const Qiv::Value&) {
            piece.push_back(name);
            return Json(name);
          });
      EXPECT_LE(piece.size(), limit);
      all.insert(all.end(), piece.begin(), piece.end());
      page.after = all.empty() ? std::string() : all.back();
    }
    return all;
  }

  Testing::NeverYield never_;
  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("");
  StatusDir::Ptr status_ = Qiv::make<StatusDir>("lab");
};

TEST_F(StoreWalkTest, TheEmptyPathIsTheRoot) { EXPECT_EQ(entityAt(""), root_); }

TEST_F(StoreWalkTest, APathLeadsThroughDirectoriesAttributesAndCollections) {
  EXPECT_EQ(entityAt("monitor/lab"), status_);
  EXPECT_EQ(entityAt("monitor/entityPtr/lab"), status_);
  EXPECT_EQ(std::get<Qiv::Value>(placeAt(root_, "monitor/lab/name")),
            Qiv::Value(Pomel::String("lab")));
  const auto hosts = std::get<CollectionPlace>(placeAt(root_, "monitor/lab/hostStatus"));
  EXPECT_EQ(hosts.attribute->name, "hostStatus");
  EXPECT_EQ(entityAt("monitor/lab/hostStatus/web%2F1,blue")->typeInfo().name(),
            "ConnectivityMonitor::HostStatus");
}

TEST_F(StoreWalkTest, TheNameOfAnElementLeadsToIt) {
  const auto hosts = collectionOf(status_, "hostStatus");
  for (const std::string& name : names(hosts, 10)) {
    EXPECT_TRUE(elementIn(hosts, name)) << name;
    EXPECT_EQ(refusal("monitor/lab/hostStatus/" + name), "found");
  }
}

TEST_F(StoreWalkTest, APathThatLeadsNowhereIsRefusedAtItsFirstWrongName) {
  EXPECT_EQ(refusal("nobody/lab"), "Qiv::Dir has no \"nobody\"");
  EXPECT_EQ(refusal("monitor/lab/nothing"), "ConnectivityMonitor::StatusDir has no \"nothing\"");
  EXPECT_EQ(refusal("monitor/"), "Qiv::Dir has no \"\"");
  EXPECT_EQ(refusal("monitor/lab/name/more"), "a value has no \"more\"");
  EXPECT_EQ(refusal("monitor/lab/hostStatus/web1,blue"), "hostStatus has no \"web1,blue\"");
  EXPECT_EQ(refusal("monitor/lab/hostStatus/web1"), "not a key: wrong number of fields");
  EXPECT_EQ(refusal("%4"), "\"%4\" has a % without two digits");
}

TEST_F(StoreWalkTest, WhatIsNoCollectionIsRefusedAsOne) {
  EXPECT_THROW(static_cast<void>(collectionOf(status_, "name")), Qiv::InspectionError);
  EXPECT_THROW(static_cast<void>(collectionOf(status_, "nothing")), Qiv::InspectionError);
}

TEST_F(StoreWalkTest, PiecesMeetEveryElementOnce) {
  for (int n = 0; n < 50; ++n) {
    status_->hostStatusIs(HostNameVrfKey("host %" + std::to_string(n), "default"));
  }
  const auto hosts = collectionOf(status_, "hostStatus");
  const auto whole = names(hosts, 1000);
  EXPECT_EQ(whole.size(), 51U);
  EXPECT_EQ(names(hosts, 1), whole);
  EXPECT_EQ(names(hosts, 7), whole);
}

TEST_F(StoreWalkTest, AnInterfacesIndexIsFoundByItsName) {
  const auto ifMib = Qiv::make<IntfSnmp::IfMib>();
  ifMib->ifIndexByIntfIdIs(Lintu::IntfId("eth1"), 7);
  EXPECT_EQ(elementIn(collectionOf(ifMib, "ifIndexByIntfId"), "eth1"),
            Qiv::Value(std::uint64_t{7}));
}

TEST_F(StoreWalkTest, ValuesBecomeJson) {
  EXPECT_EQ(jsonOf(Qiv::Value()).dump(), "null");
  EXPECT_EQ(jsonOf(Qiv::Value(true)).dump(), "true");
  EXPECT_EQ(jsonOf(Qiv::Value(std::uint64_t{18'446'744'073'709'551'615U})).dump(),
            "18446744073709551615");
  EXPECT_EQ(jsonOf(Qiv::Value(Pomel::String("a\"b"))).dump(), R"("a\"b")");
  EXPECT_EQ(jsonOf(Qiv::Value(Qiv::Entity::Ptr())).dump(), "null");
  EXPECT_EQ(jsonOf(Qiv::Value(Qiv::Entity::Ptr(root_))).dump(), R"({"type":"Qiv::Dir"})");
}

TEST_F(StoreWalkTest, ANumberIsTheShortestThatIsItsFloat) {
  EXPECT_EQ(jsonOf(Qiv::Value(static_cast<double>(12.345F))).dump(), "12.345");
  EXPECT_EQ(jsonOf(Qiv::Value(0.0)).dump(), "0.0");
  EXPECT_EQ(jsonOf(Qiv::Value(std::numeric_limits<double>::quiet_NaN())).dump(), "null");
  EXPECT_EQ(jsonOf(Qiv::Value(std::numeric_limits<double>::infinity())).dump(), "null");
}

}  // namespace
}  // namespace Agent
