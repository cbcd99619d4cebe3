#include "CountingNew.h"
#include "ModuleFixture.h"
#include "RequestList.h"

using namespace TableFacts;

namespace {

template <class Table>
class Cost : public EveryTable<Table> {
 protected:
  Cost() { Table::put(mib_, "k1"); }

  static std::size_t allocationsOf(const auto& work) {
    const std::size_t before = allocationCount();
    work();
    return allocationCount() - before;
  }

  ConnectivityMonitorMib& mib_ = this->mib("blue");
};
TYPED_TEST_SUITE(Cost, AllTables);

TYPED_TEST(Cost, TheCounterCounts) {
  EXPECT_EQ(this->allocationsOf([] { const std::string text(100, 'x'); }), 1U);
}

TYPED_TEST(Cost, AHandlerAllocatesNothing) {
  for (const ColumnFact& column : TypeParam::columns()) {
    RequestList<TypeParam> list(this->mib_);
    list.add(column.number, "k1");
    EXPECT_EQ(this->allocationsOf([&] { list.handle(); }), 0U) << column.name;
  }
}

TYPED_TEST(Cost, AnErrorInAHandlerAllocatesNothing) {
  TypeParam::put(this->mib_, "k2", {.client = std::string(300, 'x')});
  for (const int mode : {int{MODE_GET}, int{MODE_SET_RESERVE1}}) {
    for (const unsigned column : {1U, 2U}) {
      RequestList<TypeParam> list(this->mib_, mode);
      list.add(column, "k2");
      EXPECT_EQ(this->allocationsOf([&] { list.handle(); }), 0U);
    }
  }
}

TYPED_TEST(Cost, AWalkAllocatesItsContextsAndTheKeyOfItsHint) {
  Walk<TypeParam> walk(this->mib_);
  Hint hint("k1");
  void* loop = hint.get();
  void* data = nullptr;
  netsnmp_variable_list index{};
  EXPECT_EQ(this->allocationsOf([&] { TypeParam::kFirst(&loop, &data, &index, walk.iterator()); }),
            2U);
  EXPECT_EQ(this->allocationsOf([&] { data = TypeParam::kMakeData(loop, walk.iterator()); }), 1U);
  EXPECT_EQ(this->allocationsOf([&] {
    void* nothing = nullptr;
    TypeParam::kNext(&loop, &nothing, &index, walk.iterator());
    TypeParam::kFreeData(data, walk.iterator());
    TypeParam::kFreeLoop(loop, walk.iterator());
  }),
            0U);
}

}  // namespace
