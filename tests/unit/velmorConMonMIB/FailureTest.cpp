#include <csignal>
#include <stdexcept>

#include "FailingParts.h"
#include "ModuleFixture.h"
#include "Qiv/Errors.h"
#include "RequestList.h"

using testing::KilledBySignal;
using namespace TableFacts;

namespace {

template <class Table>
class Failure : public EveryTable<Table> {
 protected:
  Failure() { Table::put(mib_, "k1"); }
  ~Failure() override { failing = {}; }

  static std::string table(std::string_view rest) {
    return std::string(Table::kTable).append(rest);
  }

  ConnectivityMonitorMib& mib_ = this->mib("blue");
};
TYPED_TEST_SUITE(Failure, AllTables);

TYPED_TEST(Failure, AConverterThatFailsIsAGenErrAndNamedInTheTrace) {
  for (const ColumnFact& column : TypeParam::columns()) {
    SCOPED_TRACE(column.name);
    RequestList<TypeParam> list(this->mib_);
    const auto& first = list.addWithoutRow(2);
    const_cast<netsnmp_request_info&>(first).processed = 1;
    const auto& second = list.add(column.number, "k1");
    const auto& third = list.add(column.number, "k1");
    failing.converters = true;
    this->traceFrom(2);
    EXPECT_EQ(list.handle(), SNMP_ERR_GENERR);
    failing.converters = false;
    EXPECT_EQ(this->traced().back(), "2: handle_" + this->table(" - ") + column.converter +
                                         " failed for: " + column.field);
    // Reported on the head of the list, whatever the head is.
    EXPECT_EQ(first.status, SNMP_ERR_GENERR);
    EXPECT_EQ(second.status, SNMP_ERR_NOERROR);
    EXPECT_EQ(second.requestvb->type, ASN_NULL);
    EXPECT_EQ(third.requestvb->type, ASN_NULL);
  }
}

TYPED_TEST(Failure, AHintOutOfRangeBeginsAtTheFirstRow) {
  failing.hintThrows = [] { throw Qiv::RangeError("too long for an index"); };
  Walk<TypeParam> walk(this->mib_);
  this->traceFrom(0);
  EXPECT_EQ(walk.first("k2"), "k1");
  EXPECT_THAT(this->traced(),
              testing::ElementsAre("0: hint for index " + std::string(TypeParam::kIndex) + " of " +
                                   this->table(" is out of range!") + "too long for an index"));
  EXPECT_EQ(walk.counts(), (std::vector<std::uint64_t>{0, 0, 1, 0, 0, 0}));
}

TYPED_TEST(Failure, AHintThatCannotBeReadBeginsAtTheFirstRow) {
  failing.hintThrows = [] { throw std::logic_error("no such string"); };
  Walk<TypeParam> walk(this->mib_);
  this->traceFrom(0);
  EXPECT_EQ(walk.first("k2"), "k1");
  EXPECT_THAT(
      this->traced(),
      testing::ElementsAre("0: Bad hint for " +
                           this->table(": Snmp::String ctor threw exception: no such string")));
  EXPECT_EQ(walk.counts(), (std::vector<std::uint64_t>{0, 0, 1, 0, 0, 0}));
}

TYPED_TEST(Failure, AnyOtherExceptionOfTheHintPassesOn) {
  failing.hintThrows = [] { throw 7; };
  Walk<TypeParam> walk(this->mib_);
  Hint hint("k1");
  EXPECT_THROW(walk.first(hint.get()), int);
  EXPECT_EQ(walk.loopContext(), hint.get());
  walk.loopContextIs(nullptr);  // No walk began.
}

TYPED_TEST(Failure, AnIndexThatCannotBeSetUpIsTracedAndTheTableIsRegisteredNevertheless) {
  failing.indexVariable = true;
  this->traceFrom(0);
  TypeParam::kInitialize(nullptr, "blue");
  failing.indexVariable = false;
  EXPECT_THAT(this->traced(),
              testing::ElementsAre("0: Failed to set up " + std::string(TypeParam::kIndex) +
                                   " in netsnmp table_info in context \"blue\""));
  auto* registration = this->agent_.registration("blue", tableOid<TypeParam>());
  ASSERT_NE(registration, nullptr);
  const auto* info = netsnmp_find_table_registration_info(registration);
  EXPECT_EQ(info->indexes, nullptr);
  EXPECT_EQ(info->min_column, 2U);
  EXPECT_EQ(info->max_column, TypeParam::kLastColumn);
  EXPECT_NE(info->valid_columns, nullptr);
  unregister_velmorConMonMIB("blue");
}

template <class Table>
class FailureDeathTest : public Failure<Table> {};
TYPED_TEST_SUITE(FailureDeathTest, AllTables);

TYPED_TEST(FailureDeathTest, ATableThatCannotBeSerializedEndsTheProcess) {
  EXPECT_EXIT(
      {
        failing.serializeHandler = true;
        TypeParam::kInitialize(nullptr, "blue");
      },
      KilledBySignal(SIGABRT),
      testing::EndsWith("assertion \"injected == SNMPERR_SUCCESS\" failed\n"));
}

}  // namespace
