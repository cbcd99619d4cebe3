#include <fmt/format.h>

#include "ModuleFixture.h"
#include "RequestList.h"

using testing::ElementsAre;
using namespace TableFacts;

namespace {

const std::string kTooLong(300, 'x');

template <class Table>
class Handler : public EveryTable<Table> {
 protected:
  static std::string table(std::string_view rest) {
    return std::string(Table::kTable).append(rest);
  }
  static std::string octets(const netsnmp_request_info& request) {
    const auto* varbind = request.requestvb;
    return {reinterpret_cast<const char*>(varbind->val.string), varbind->val_len};
  }

  ConnectivityMonitorMib& mib_ = this->mib("handled");
};
TYPED_TEST_SUITE(Handler, AllTables);

TYPED_TEST(Handler, EncodesEveryColumn) {
  TypeParam::put(this->mib_, "k1");
  for (const ColumnFact& column : TypeParam::columns()) {
    SCOPED_TRACE(column.name);
    RequestList<TypeParam> list(this->mib_);
    const auto& request = list.add(column.number, "k1");
    EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.status, SNMP_ERR_NOERROR);
    if (column.isString()) {
      EXPECT_EQ(request.requestvb->type, ASN_OCTET_STR);
      EXPECT_EQ(this->octets(request), column.octets);
    } else {
      EXPECT_EQ(request.requestvb->type, ASN_INTEGER);
      EXPECT_EQ(*request.requestvb->val.integer, column.number32);
    }
  }
}

TYPED_TEST(Handler, TracesItsModeAndEveryColumn) {
  TypeParam::put(this->mib_, "k1");
  for (const ColumnFact& column : TypeParam::columns()) {
    RequestList<TypeParam> list(this->mib_);
    list.add(column.number, "k1");
    this->traceFrom(9);
    list.handle();
    EXPECT_THAT(
        this->traced(),
        ElementsAre(
            "2: " + this->table("_handler"), "2: " + this->table("_handler: request mode 160"),
            "2: " + this->table("_handler: request GET for column ") + column.name + ", key k1"));
    this->traceFrom(-1);
  }
}

TYPED_TEST(Handler, AnswersTheWholeList) {
  TypeParam::put(this->mib_, "k1");
  TypeParam::put(this->mib_, "k2", {.client = "other"});
  RequestList<TypeParam> list(this->mib_);
  const auto& first = list.add(2, "k1");
  const auto& second = list.add(2, "k2");
  EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
  EXPECT_EQ(this->octets(first), "lab");
  EXPECT_EQ(this->octets(second), "other");
}

TYPED_TEST(Handler, SkipsWhatIsProcessedAlready) {
  TypeParam::put(this->mib_, "k1");
  RequestList<TypeParam> list(this->mib_);
  auto& first = list.add(2, "k1");
  const auto& second = list.add(3, "k1");
  first.processed = 1;
  this->traceFrom(9);
  EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
  EXPECT_EQ(first.requestvb->type, ASN_NULL);
  EXPECT_EQ(this->octets(second), "web1");
  ASSERT_EQ(this->traced().size(), 4U);
  EXPECT_EQ(
      this->traced()[2],
      "2: " + this->table(fmt::format("_handler: request {} already processed", fmt::ptr(&first))));
}

TYPED_TEST(Handler, StopsWithoutAnErrorAtARequestWithoutARow) {
  TypeParam::put(this->mib_, "k1");
  RequestList<TypeParam> list(this->mib_);
  const auto& first = list.add(2, "k1");
  const auto& second = list.addWithoutRow(2);
  const auto& third = list.add(2, "k1");
  this->traceFrom(9);
  EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
  EXPECT_EQ(this->octets(first), "lab");
  EXPECT_EQ(second.requestvb->type, ASN_NULL);
  EXPECT_EQ(second.status, SNMP_ERR_NOERROR);
  EXPECT_EQ(second.processed, 0);
  EXPECT_EQ(third.requestvb->type, ASN_NULL);
  EXPECT_EQ(this->traced().back(), "2: " + this->table("_handler: null data context in request"));
}

TYPED_TEST(Handler, StopsWithNoSuchObjectAtAColumnThatIsNotServed) {
  TypeParam::put(this->mib_, "k1");
  for (const unsigned column : {0U, 1U, TypeParam::kLastColumn + 1, 4294967295U}) {
    SCOPED_TRACE(column);
    RequestList<TypeParam> list(this->mib_);
    const auto& first = list.add(2, "k1");
    const auto& second = list.add(column, "k1");
    const auto& third = list.add(2, "k1");
    this->traceFrom(0);
    EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
    EXPECT_EQ(this->octets(first), "lab");
    EXPECT_EQ(second.requestvb->type, SNMP_NOSUCHOBJECT);
    EXPECT_EQ(second.status, SNMP_ERR_NOERROR);
    EXPECT_EQ(third.requestvb->type, ASN_NULL);
    EXPECT_THAT(this->traced(),
                ElementsAre("0: " + this->table(fmt::format(" invalid column {}", column))));
  }
}

TYPED_TEST(Handler, ReportsAStringThatIsTooLongOnTheHeadOfTheList) {
  TypeParam::put(this->mib_, "k1");
  TypeParam::put(this->mib_, "k2", {.client = kTooLong});
  RequestList<TypeParam> list(this->mib_);
  const auto& first = list.add(2, "k1");
  const auto& second = list.add(3, "k1");
  const auto& third = list.add(2, "k2");
  const auto& fourth = list.add(3, "k2");
  EXPECT_EQ(list.handle(), SNMP_ERR_GENERR);
  EXPECT_EQ(this->octets(first), "lab");
  EXPECT_EQ(this->octets(second), "web1");
  EXPECT_EQ(third.requestvb->type, ASN_NULL);
  EXPECT_EQ(fourth.requestvb->type, ASN_NULL);
  EXPECT_EQ(first.status, SNMP_ERR_GENERR);
  EXPECT_EQ(second.status, SNMP_ERR_NOERROR);
  EXPECT_EQ(third.status, SNMP_ERR_NOERROR);
}

TYPED_TEST(Handler, EveryStringColumnIsBoundedAndTracedSo) {
  const RowValues row{.client = kTooLong,
                      .host = kTooLong,
                      .address = {1, Snmp::Bytes(std::string_view(kTooLong))},
                      .url = kTooLong};
  TypeParam::put(this->mib_, "k1", row);
  int strings = 0;
  for (const ColumnFact& column : TypeParam::columns()) {
    if (!column.isString()) {
      continue;
    }
    ++strings;
    RequestList<TypeParam> list(this->mib_);
    const auto& request = list.add(column.number, "k1");
    this->traceFrom(2);
    EXPECT_EQ(list.handle(), SNMP_ERR_GENERR);
    EXPECT_EQ(request.status, SNMP_ERR_GENERR);
    EXPECT_EQ(this->traced().back(),
              "2: handle_" +
                  this->table(" - entity /<sysname>/snmp/connectivityMonitor/conMonMib/default "
                              "length out of range: ") +
                  column.field + " (300)");
  }
  EXPECT_EQ(strings, 3);
}

TYPED_TEST(Handler, RefusesAWriteOnItsFirstOpenRequest) {
  TypeParam::put(this->mib_, "k1");
  for (const int mode :
       std::initializer_list<int>{MODE_SET_RESERVE1, MODE_SET_RESERVE2, MODE_SET_ACTION,
                                  MODE_SET_COMMIT, MODE_SET_FREE, MODE_SET_UNDO, MODE_GETNEXT}) {
    SCOPED_TRACE(mode);
    RequestList<TypeParam> list(this->mib_, mode);
    auto& first = list.add(2, "k1");
    const auto& second = list.add(3, "k1");
    const auto& third = list.add(4, "k1");
    first.processed = 1;
    this->traceFrom(9);
    EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
    EXPECT_EQ(first.status, SNMP_ERR_NOERROR);
    EXPECT_EQ(second.status, SNMP_ERR_NOTWRITABLE);
    EXPECT_EQ(third.status, SNMP_ERR_NOERROR);
    EXPECT_THAT(
        this->traced(),
        ElementsAre("2: " + this->table("_handler"),
                    "2: " + this->table(fmt::format("_handler: request mode {}", mode)),
                    "2: " + this->table(fmt::format("_handler: request {} already processed",
                                                    fmt::ptr(&first))),
                    "0: " + this->table(" invalid column 3")));
    this->traceFrom(-1);
  }
}

TYPED_TEST(Handler, RefusesNothingWhereAllOfAWriteIsProcessed) {
  TypeParam::put(this->mib_, "k1");
  RequestList<TypeParam> list(this->mib_, MODE_SET_RESERVE1);
  auto& only = list.add(2, "k1");
  only.processed = 1;
  EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
  EXPECT_EQ(only.status, SNMP_ERR_NOERROR);
}

TYPED_TEST(Handler, AnEmptyListIsNoError) {
  EXPECT_EQ(RequestList<TypeParam>(this->mib_, MODE_SET_RESERVE1).handle(), SNMP_ERR_NOERROR);
  EXPECT_EQ(RequestList<TypeParam>(this->mib_, MODE_GET).handle(), SNMP_ERR_NOERROR);
}

TYPED_TEST(Handler, ARequestThatNamesNoColumnIsNoSuchObject) {
  TypeParam::put(this->mib_, "k1");
  RequestList<TypeParam> list(this->mib_);
  auto& request = list.add(2, "k1");
  netsnmp_request_remove_list_data(&request, TABLE_HANDLER_NAME);
  EXPECT_EQ(list.handle(), SNMP_ERR_NOERROR);
  EXPECT_EQ(request.requestvb->type, SNMP_NOSUCHOBJECT);
}

}  // namespace
