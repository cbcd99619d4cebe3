#include "Snmp/RegVoidCollByContext.h"

#include <gtest/gtest.h>

#include "Qiv/Dir.h"
#include "Qiv/TypeInfo.h"
#include "Qiv/TypeRegistry.h"

namespace {

using Snmp::RegVoidCollByContext;

Qiv::Entity::Ptr thing() { return Qiv::make<Qiv::Dir>("thing"); }

TEST(RegVoidCollByContext, IsASingletonThatTheTypeRegistryMakes) {
  Qiv::Entity::singletonDel(RegVoidCollByContext::kTypeName);
  EXPECT_FALSE(Qiv::Entity::singletonExists("Snmp::RegVoidCollByContext"));
  const auto made = RegVoidCollByContext::singleton();
  EXPECT_TRUE(Qiv::Entity::singletonExists("Snmp::RegVoidCollByContext"));
  EXPECT_EQ(Qiv::Entity::singletonIs("Snmp::RegVoidCollByContext"), made);
  EXPECT_EQ(RegVoidCollByContext::singleton(), made);
}

TEST(RegVoidCollByContext, ARecordHoldsItsDataAndCountersAtZero) {
  const auto records = Qiv::make<RegVoidCollByContext>();
  const auto data = thing();
  const Snmp::RegVoid* record = records->addRegVoid("blue", "aTable", data);
  EXPECT_EQ(record->data(), data);
  ASSERT_NE(record->tableCounters(), nullptr);
  EXPECT_EQ(
      record->tableCounters()->orderedIterCntrs(Snmp::OrderedTableIteratorCounterTypes::kNoHint),
      0U);
}

TEST(RegVoidCollByContext, RecordsAreApartByContextAndByTable) {
  const auto records = Qiv::make<RegVoidCollByContext>();
  const auto* blue = records->addRegVoid("blue", "aTable", thing());
  const auto* red = records->addRegVoid("red", "aTable", thing());
  const auto* other = records->addRegVoid("blue", "anotherTable", thing());
  EXPECT_NE(blue, red);
  EXPECT_NE(blue, other);
  EXPECT_EQ(records->regVoid().size(), 3U);
  records->delRegVoid("blue", "aTable");
  EXPECT_FALSE(records->regVoid().contains({"blue", "aTable"}));
  EXPECT_TRUE(records->regVoid().contains({"red", "aTable"}));
  EXPECT_TRUE(records->regVoid().contains({"blue", "anotherTable"}));
}

TEST(RegVoidCollByContext, APairEnteredAgainKeepsItsRecordAndGetsTheNewData) {
  const auto records = Qiv::make<RegVoidCollByContext>();
  const auto* record = records->addRegVoid("blue", "aTable", thing());
  const auto data = thing();
  EXPECT_EQ(records->addRegVoid("blue", "aTable", data), record);
  EXPECT_EQ(record->data(), data);
}

TEST(RegVoidCollByContext, WithdrawingLetsTheDataGo) {
  const auto records = Qiv::make<RegVoidCollByContext>();
  const auto data = thing();
  records->addRegVoid("blue", "aTable", data);
  EXPECT_EQ(data->refs(), 2U);
  records->delRegVoid("blue", "aTable");
  EXPECT_EQ(data->refs(), 1U);
}

TEST(RegVoidCollByContext, WithdrawingWhatIsNotThereIsSilent) {
  const auto records = Qiv::make<RegVoidCollByContext>();
  records->delRegVoid("blue", "aTable");
  EXPECT_TRUE(records->regVoid().empty());
}

TEST(RegVoidCollByContext, ShowsItselfToGenericInspection) {
  const auto records = Qiv::make<RegVoidCollByContext>();
  const auto* record = records->addRegVoid("blue", "aTable", thing());
  EXPECT_EQ(Qiv::dump(*records), "regVoid[ blue/aTable ] = Snmp::RegVoid\n");
  EXPECT_EQ(Qiv::dump(*record), "data = Qiv::Dir\ntableCounters = Snmp::TableCounters\n");
}

}  // namespace
