#include <gtest/gtest.h>

#include "FakeMibModule.h"
#include "TableFacts.h"
#include "YieldPolicies.h"

/// The three machines share one count per VRF, and each machine's reconciliation deletes the counts
/// that it has not written itself. That is what the count is; hosts start the machines over empty
/// inputs.

namespace {

namespace Cmon = ConnectivityMonitor;
using testing::IsNull;
using testing::SizeIs;

class SharedCount : public testing::Test {
 protected:
  SharedCount() { FakeMibModule::calls().clear(); }

  Cmon::HostStatus::Ptr host(std::string_view vrf) {
    return Qiv::ptrCast<Cmon::StatusDir>(
               clientDir_->entityIs("lab", "ConnectivityMonitor::StatusDir"))
        ->hostStatusIs(Cmon::HostNameVrfKey("web", vrf));
  }
  template <class Table>
  void put(std::string_view vrf, unsigned n) {
    using Facts = TableFacts<Table>;
    ((*host(vrf)).*Facts::kStatsIs)(Facts::stats(Facts::key("", n), 1.5F));
  }
  template <class Table>
  void remove(std::string_view vrf, unsigned n) {
    using Facts = TableFacts<Table>;
    ((*host(vrf)).*Facts::kStatsDel)(Facts::key("", n));
  }
  template <class Table>
  auto made() {
    return TableFacts<Table>::kFactory(clientDir_, conMonMibRoot_, ifMib_, counts_,
                                       {nullptr, 0, Yex::SmControl::Mode::kSynchronous});
  }
  void startAll() {
    icmp_ = made<ConnectivityMonitorSnmp::IcmpTable>();
    http_ = made<ConnectivityMonitorSnmp::HttpTable>();
    tcp_ = made<ConnectivityMonitorSnmp::TcpTable>();
  }
  auto mib(std::string_view vrf) {
    return Qiv::ptrCast<ConnectivityMonitorSnmp::ConnectivityMonitorMib>(
        conMonMibRoot_->entityPtr(vrf));
  }

  Qiv::Dir::Ptr clientDir_ = Qiv::make<Qiv::Dir>("clientDir");
  Qiv::Dir::Ptr conMonMibRoot_ = Qiv::make<Qiv::Dir>("conMonMib");
  IntfSnmp::IfMib::Ptr ifMib_ = Qiv::make<IntfSnmp::IfMib>();
  ConnectivityMonitorSnmp::VrfRefCount::Ptr counts_ = ConnectivityMonitorSnmp::vrfRefCountFactory();
  ConnectivityMonitorSnmp::ConnectivityMonitorSnmpIcmpTableSm::Ptr icmp_;
  ConnectivityMonitorSnmp::ConnectivityMonitorSnmpHttpTableSm::Ptr http_;
  ConnectivityMonitorSnmp::ConnectivityMonitorSnmpTcpTableSm::Ptr tcp_;
};

using ConnectivityMonitorSnmp::HttpTable;
using ConnectivityMonitorSnmp::IcmpTable;
using ConnectivityMonitorSnmp::TcpTable;

TEST_F(SharedCount, EachRowCountsWhicheverTableItIsIn) {
  startAll();
  put<IcmpTable>("blue", 1);
  put<HttpTable>("blue", 1);
  put<TcpTable>("blue", 1);
  EXPECT_EQ(counts_->vrfRefCount("blue"), 3U);
  remove<IcmpTable>("blue", 1);
  remove<HttpTable>("blue", 1);
  EXPECT_TRUE(mib("blue"));
  remove<TcpTable>("blue", 1);
  EXPECT_FALSE(mib("blue"));
}

TEST_F(SharedCount, AVrfThatEveryMachineSeesKeepsTheCountOfAll) {
  put<IcmpTable>("blue", 1);
  put<HttpTable>("blue", 1);
  put<TcpTable>("blue", 1);
  startAll();
  EXPECT_EQ(counts_->vrfRefCount("blue"), 3U);
}

TEST_F(SharedCount, AMachineDeletesTheCountsThatOnlyOthersWrote) {
  put<IcmpTable>("blue", 1);
  put<HttpTable>("red", 1);
  icmp_ = made<IcmpTable>();
  EXPECT_EQ(counts_->vrfRefCount("blue"), 1U);
  http_ = made<HttpTable>();
  EXPECT_THAT(counts_->vrfRefCount().find("blue"), IsNull());
  EXPECT_EQ(counts_->vrfRefCount("red"), 1U);
  tcp_ = made<TcpTable>();
  EXPECT_TRUE(counts_->vrfRefCount().empty());
  EXPECT_THAT(mib("blue")->icmpTable(), SizeIs(1)) << "rows are not touched by that";
  EXPECT_THAT(mib("red")->httpTable(), SizeIs(1));
}

TEST_F(SharedCount, AnInsertionAndRemovalThenTakeAVrfAwayWithTheRowsOfOthersInIt) {
  put<IcmpTable>("blue", 1);
  startAll();
  put<TcpTable>("blue", 1);
  remove<TcpTable>("blue", 1);
  EXPECT_FALSE(mib("blue"));
}

TEST_F(SharedCount, RemovingARecordWhoseCountAnotherMachineDeletedEndsTheProcess) {
  put<IcmpTable>("blue", 1);
  startAll();
  EXPECT_DEATH(remove<IcmpTable>("blue", 1), "^Cannot decrement a refcount of zero\n");
}

TEST_F(SharedCount, OverEmptyInputsThereIsNothingToDeleteAndCountsHold) {
  startAll();
  put<IcmpTable>("blue", 1);
  put<HttpTable>("red", 1);
  EXPECT_EQ(counts_->vrfRefCount("blue"), 1U);
  EXPECT_EQ(counts_->vrfRefCount("red"), 1U);
  remove<IcmpTable>("blue", 1);
  remove<HttpTable>("red", 1);
  EXPECT_TRUE(counts_->vrfRefCount().empty());
}

}  // namespace
