#include <gtest/gtest.h>

#include "Qiv/TypeInfo.h"
#include "TableFacts.h"

namespace {

using namespace ConnectivityMonitorSnmp;  // NOLINT: its exact names are what is tested.

/// The exactly named operations of each table's set.
template <class Table>
struct SetOf;
template <>
struct SetOf<IcmpTable> {
  using Set = IcmpStatsInfoSet;
  static constexpr auto kGet = &Set::icmpStatsInfoSet;
  static constexpr auto kIs = &Set::icmpStatsInfoSetIs;
  static constexpr auto kDel = &Set::icmpStatsInfoSetDel;
  static constexpr auto kDelAll = &Set::icmpStatsInfoSetDelAll;
};
template <>
struct SetOf<HttpTable> {
  using Set = HttpStatsInfoSet;
  static constexpr auto kGet = &Set::httpStatsInfoSet;
  static constexpr auto kIs = &Set::httpStatsInfoSetIs;
  static constexpr auto kDel = &Set::httpStatsInfoSetDel;
  static constexpr auto kDelAll = &Set::httpStatsInfoSetDelAll;
};
template <>
struct SetOf<TcpTable> {
  using Set = TcpStatsInfoSet;
  static constexpr auto kGet = &Set::tcpStatsInfoSet;
  static constexpr auto kIs = &Set::tcpStatsInfoSetIs;
  static constexpr auto kDel = &Set::tcpStatsInfoSetDel;
  static constexpr auto kDelAll = &Set::tcpStatsInfoSetDelAll;
};

template <class Table>
class StatsInfoSet : public testing::Test {
 protected:
  using Names = SetOf<Table>;
  using Info = typename TableFacts<Table>::Info;

  static Info info(unsigned n) {
    return {"lab", ConnectivityMonitor::HostNameVrfKey("web", "blue"),
            TableFacts<Table>::key("eth1", n)};
  }
  const auto& infos() { return ((*set_).*Names::kGet)(); }
  void is(const Info& info) { ((*set_).*Names::kIs)(info); }
  void del(const Info& info) { ((*set_).*Names::kDel)(info); }
  void delAll() { ((*set_).*Names::kDelAll)(); }

  Qiv::Ptr<typename Names::Set> set_ = Qiv::make<typename Names::Set>();
};
TYPED_TEST_SUITE(StatsInfoSet, AllTables, TableNames);

TYPED_TEST(StatsInfoSet, TheSameInfoTwiceIsOneElement) {
  this->is(this->info(1));
  this->is(this->info(1));
  this->is(this->info(2));
  EXPECT_EQ(this->infos().size(), 2U);
  EXPECT_TRUE(this->infos().contains(this->info(1)));
}

TYPED_TEST(StatsInfoSet, DeletingWhatIsAbsentChangesNothing) {
  this->is(this->info(1));
  const auto version = this->infos().version();
  this->del(this->info(2));
  EXPECT_EQ(this->infos().size(), 1U);
  EXPECT_EQ(this->infos().version(), version);
  this->del(this->info(1));
  EXPECT_TRUE(this->infos().empty());
}

TYPED_TEST(StatsInfoSet, DeletingAllEmptiesIt) {
  for (unsigned n = 0; n < 100; ++n) {
    this->is(this->info(n));
  }
  this->delAll();
  EXPECT_TRUE(this->infos().empty());
}

TYPED_TEST(StatsInfoSet, GenericCodeSeesItsOneAttribute) {
  this->is(this->info(1));
  const std::string name = std::string(TableFacts<TypeParam>::kLower) + "StatsInfoSet";
  EXPECT_EQ(
      this->set_->typeInfo().name(),
      "ConnectivityMonitorSnmp::" + std::string(TableFacts<TypeParam>::kTitle) + "StatsInfoSet");
  EXPECT_THAT(Qiv::dump(*this->set_), testing::StartsWith(name + "[ lab,web,blue,eth1,"));
}

}  // namespace
