#include <fmt/format.h>

#include "ModuleFixture.h"
#include "Walk.h"

using testing::ElementsAre;
using namespace TableFacts;

namespace {

using Counts = std::vector<std::uint64_t>;

template <class Table>
class RowWalk : public EveryTable<Table> {
 protected:
  void put(std::initializer_list<std::string_view> keys) {
    for (const std::string_view key : keys) {
      Table::put(mib_, key);
    }
  }
  void del(std::string_view key) { Table::del(mib_, key); }

  static std::string table(std::string_view rest) {
    return std::string(Table::kTable).append(rest);
  }

  ConnectivityMonitorMib& mib_ = this->mib("walked");
  Walk<Table> walk_{mib_};
};
TYPED_TEST_SUITE(RowWalk, AllTables);

TYPED_TEST(RowWalk, AnEmptyTableHasNoFirstRow) {
  EXPECT_EQ(this->walk_.first(), std::nullopt);
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 0, 0}));
}

TYPED_TEST(RowWalk, TheHintIsReplacedByALoopContextAlsoInAnEmptyTable) {
  Hint hint("k1");
  EXPECT_EQ(this->walk_.first(hint.get()), std::nullopt);
  EXPECT_NE(this->walk_.loopContext(), nullptr);
  EXPECT_NE(this->walk_.loopContext(), hint.get());
  EXPECT_EQ(this->walk_.counts(), (Counts{1, 0, 1, 0, 0, 0}));
}

TYPED_TEST(RowWalk, TheDataContextIsLeftAlone) {
  int mark = 0;
  this->put({"k1", "k2"});
  this->walk_.dataContextIs(&mark);
  this->walk_.first();
  this->walk_.next();
  EXPECT_EQ(this->walk_.dataContext(), &mark);
}

TYPED_TEST(RowWalk, WithoutAHintItVisitsEveryRowInKeyOrder) {
  this->put({"b", "aa", "a", ""});
  EXPECT_EQ(this->walk_.first(), "");
  EXPECT_THAT(this->walk_.rest(), ElementsAre("a", "b", "aa"));
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 0, 0}));
}

TYPED_TEST(RowWalk, TheIndexVarbindIsAStringWithTheKey) {
  const std::string key(90, 'k');
  this->put({key});
  this->walk_.first();
  EXPECT_EQ(this->walk_.index()->type, ASN_OCTET_STR);
  EXPECT_EQ(this->walk_.index()->val_len, 90U);
}

TYPED_TEST(RowWalk, AHintThatIsAKeyBeginsThere) {
  this->put({"k1", "k2", "k3"});
  EXPECT_EQ(this->walk_.first("k2"), "k2");
  EXPECT_THAT(this->walk_.rest(), ElementsAre("k3"));
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 1, 0, 0, 0, 0}));
}

TYPED_TEST(RowWalk, AHintBetweenKeysBeginsAtTheGreaterOne) {
  this->put({"k1", "k3"});
  EXPECT_EQ(this->walk_.first("k2"), "k3");
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 1, 0, 0, 0, 0}));
}

TYPED_TEST(RowWalk, AHintOfTheLastRowHasNothingAfterIt) {
  this->put({"k1", "k2"});
  EXPECT_EQ(this->walk_.first("k2"), "k2");
  EXPECT_EQ(this->walk_.next(), std::nullopt);
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 1, 0, 0, 0, 0}));
}

TYPED_TEST(RowWalk, AHintGreaterThanEveryKeyBeginsAtTheFirstRow) {
  this->put({"k1", "k2"});
  EXPECT_EQ(this->walk_.first("k3"), "k1");
  EXPECT_EQ(this->walk_.counts(), (Counts{1, 0, 1, 0, 0, 0}));
}

TYPED_TEST(RowWalk, AHintOfAnotherCountIsNone) {
  this->put({"k1", "k2"});
  EXPECT_EQ(this->walk_.first(Hint::ofCount(0).get()), "k1");
  EXPECT_EQ(this->walk_.first(Hint::ofCount(2).get()), "k1");
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 2, 0, 0, 0}));
}

TYPED_TEST(RowWalk, AHintOfAnotherTypeBeginsAtTheFirstRow) {
  this->put({"k1", "k2"});
  EXPECT_EQ(this->walk_.first(Hint::ofInteger(7).get()), "k1");
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 0, 0}));
}

TYPED_TEST(RowWalk, AHintWithoutAVarbindBeginsAtTheFirstRow) {
  this->put({"k1", "k2"});
  EXPECT_EQ(this->walk_.first(Hint::withoutVarbind().get()), "k1");
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 0, 0}));
}

TYPED_TEST(RowWalk, GoingOnAfterTheEndIsCounted) {
  this->put({"k1"});
  this->walk_.first();
  EXPECT_EQ(this->walk_.next(), std::nullopt);
  EXPECT_EQ(this->walk_.next(), std::nullopt);
  EXPECT_EQ(this->walk_.next(), std::nullopt);
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 2, 0, 0}));
}

TYPED_TEST(RowWalk, GoingOnWithoutALoopContextIsCountedAsTheEnd) {
  this->put({"k1"});
  EXPECT_EQ(this->walk_.next(), std::nullopt);
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 0, 1, 0, 0}));
}

TYPED_TEST(RowWalk, ARowInsertedAheadIsMet) {
  this->put({"k1", "k4"});
  this->walk_.first();
  this->put({"k2"});
  EXPECT_EQ(this->walk_.next(), "k2");
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 0, 1}));
}

TYPED_TEST(RowWalk, ARowInsertedBehindIsNot) {
  this->put({"k2", "k4"});
  this->walk_.first();
  this->put({"k1"});
  EXPECT_EQ(this->walk_.next(), "k4");
}

TYPED_TEST(RowWalk, SuccessorIsFoundByKeyWhenTheCurrentRowIsDeleted) {
  this->put({"k1", "k2", "k3"});
  this->walk_.first("k2");
  this->del("k2");
  EXPECT_EQ(this->walk_.next(), "k3");
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 1, 0, 0, 0, 1}));
}

TYPED_TEST(RowWalk, TheWalkEndsWhenTheRowsAheadAreDeleted) {
  this->put({"k1", "k2", "k3"});
  this->walk_.first();
  this->del("k2");
  this->del("k3");
  EXPECT_EQ(this->walk_.next(), std::nullopt);
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 1, 0}));
}

TYPED_TEST(RowWalk, ARowReplacedUnderTheWalkIsNotMetTwice) {
  this->put({"k1", "k2"});
  this->walk_.first();
  this->del("k1");
  this->put({"k1"});
  EXPECT_EQ(this->walk_.next(), "k2");
  EXPECT_EQ(this->walk_.next(), std::nullopt);
}

TYPED_TEST(RowWalk, OnceTheTableHasChangedEveryStepGoesByKey) {
  this->put({"k1", "k2", "k3"});
  this->walk_.first();
  this->put({"k0"});
  EXPECT_THAT(this->walk_.rest(), ElementsAre("k2", "k3"));
  EXPECT_EQ(this->walk_.counts(), (Counts{0, 0, 1, 0, 1, 2}));
}

TYPED_TEST(RowWalk, ADeletedRowStaysReadableThroughItsContexts) {
  this->put({"k1", "k2"});
  this->walk_.first();
  void* data = TypeParam::kMakeData(this->walk_.loopContext(), this->walk_.iterator());
  this->del("k1");
  this->walk_.next();  // The walk lets go of the row; the data context has its own reference.
  netsnmp_variable_list index{};
  const auto* filled = TypeParam::kHelper(data, &index);
  ASSERT_EQ(filled, &index);
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(index.val.string), index.val_len), "k1");
  TypeParam::kFreeData(data, this->walk_.iterator());
}

TYPED_TEST(RowWalk, EveryContextHoldsOneReferenceToItsRow) {
  this->put({"k1"});
  this->walk_.first();
  void* data = TypeParam::kMakeData(this->walk_.loopContext(), this->walk_.iterator());
  const auto row = [&] {
    if constexpr (std::is_same_v<TypeParam, Icmp>) {
      return this->mib_.icmpTable().first();
    } else if constexpr (std::is_same_v<TypeParam, Http>) {
      return this->mib_.httpTable().first();
    } else {
      return this->mib_.tcpTable().first();
    }
  }();
  EXPECT_EQ(row->refs(), 3U);  // The table's, the walk's and the data context's.
  TypeParam::kFreeData(data, this->walk_.iterator());
  EXPECT_EQ(row->refs(), 2U);
  this->walk_.end();
  EXPECT_EQ(row->refs(), 1U);
}

TYPED_TEST(RowWalk, FreeingNothingIsHarmless) {
  TypeParam::kFreeData(nullptr, this->walk_.iterator());
  TypeParam::kFreeLoop(nullptr, this->walk_.iterator());
}

TYPED_TEST(RowWalk, ATableNeedNotCount) {
  this->put({"k1", "k2"});
  this->walk_.countersDel();
  EXPECT_EQ(this->walk_.first("k1"), "k1");
  EXPECT_THAT(this->walk_.rest(), ElementsAre("k2"));
}

// Traces

TYPED_TEST(RowWalk, AWalkWithoutAHintIsTraced) {
  this->put({"k1"});
  this->traceFrom(9);
  this->walk_.first();
  void* loop = this->walk_.loopContext();
  this->walk_.next();
  this->walk_.next();
  this->walk_.end();
  EXPECT_THAT(
      this->traced(),
      ElementsAre(
          "2: " + this->table("_get_first_data_point - *hint = 0x0, number_indexes = 0"),
          "2: " + this->table(fmt::format(
                      "_get_first_data_point - allocated new loop context {}, hintMatched=false",
                      loop)),
          "2: " + this->table("IterationHelper - iterator has another value: indexShortName=k1"),
          "2: " + this->table(fmt::format(
                      "_get_next_data_point - advancing loop context {} ; data context 0x0", loop)),
          "2: " + this->table("IterationHelper - iterator is at end"),
          "2: " + this->table(fmt::format(
                      "_get_next_data_point - advancing loop context {} ; data context 0x0", loop)),
          "2: " + this->table("_get_next_data_point - at end of loop context"),
          "2: " + this->table(fmt::format("_free_loop_context_at_end {}", loop))));
}

TYPED_TEST(RowWalk, AMatchedHintIsTraced) {
  this->put({"k1"});
  Hint hint("k1");
  this->traceFrom(9);
  this->walk_.first(hint.get());
  EXPECT_THAT(
      this->traced(),
      ElementsAre(
          "2: " + this->table(fmt::format("_get_first_data_point - *hint = {}, number_indexes = 1",
                                          fmt::ptr(hint.get()))),
          "2: hint component " + std::string(TypeParam::kIndex) + " is 'k1'",
          "2: " + this->table(fmt::format(
                      "_get_first_data_point - allocated new loop context {}, hintMatched=true",
                      this->walk_.loopContext())),
          "2: " + this->table("IterationHelper - iterator has another value: indexShortName=k1")));
}

TYPED_TEST(RowWalk, AHintBetweenKeysIsTracedAsNotMatched) {
  this->put({"k1", "k3"});
  this->traceFrom(9);
  this->walk_.first("k2");
  ASSERT_EQ(this->traced().size(), 4U);
  EXPECT_EQ(this->traced()[1], "2: hint component " + std::string(TypeParam::kIndex) + " is 'k2'");
  EXPECT_THAT(this->traced()[2], testing::EndsWith(", hintMatched=false"));
  EXPECT_THAT(this->traced()[3], testing::EndsWith(" indexShortName=k3"));
}

TYPED_TEST(RowWalk, AHintThatIsNotFoundIsTraced) {
  this->put({"k1"});
  this->traceFrom(9);
  this->walk_.first("k2");
  ASSERT_EQ(this->traced().size(), 5U);
  EXPECT_EQ(this->traced()[2],
            "2: " + this->table("_get_first_data_point - key 'k2' not found in table"));
  EXPECT_THAT(this->traced()[3], testing::EndsWith(", hintMatched=false"));
}

TYPED_TEST(RowWalk, AHintOfAnotherTypeIsAnErrorInTheTrace) {
  this->put({"k1"});
  this->traceFrom(9);
  this->walk_.first(Hint::ofInteger(7).get());
  ASSERT_EQ(this->traced().size(), 5U);
  EXPECT_EQ(this->traced()[1], "0: hint for " + std::string(TypeParam::kIndex) +
                                   " has incorrect type! Expecting 4 but got 2");
  EXPECT_EQ(this->traced()[2],
            "2: " + this->table("_get_first_data_point - needed 1 components,found only0"));
}

TYPED_TEST(RowWalk, AHintWithoutAVarbindIsTraced) {
  this->put({"k1"});
  this->traceFrom(9);
  this->walk_.first(Hint::withoutVarbind().get());
  ASSERT_EQ(this->traced().size(), 4U);
  EXPECT_EQ(this->traced()[1],
            "2: " + this->table("_get_first_data_point - needed 1 components,found only0"));
}

TYPED_TEST(RowWalk, AHintOfAnotherCountIsTracedWithItsCountOnly) {
  this->put({"k1"});
  this->traceFrom(9);
  this->walk_.first(Hint::ofCount(2).get());
  ASSERT_EQ(this->traced().size(), 3U);
  EXPECT_THAT(this->traced()[0], testing::EndsWith(", number_indexes = 2"));
}

TYPED_TEST(RowWalk, MakingAndFreeingADataContextIsTraced) {
  this->put({"k1"});
  this->walk_.first();
  this->traceFrom(9);
  void* data = TypeParam::kMakeData(this->walk_.loopContext(), this->walk_.iterator());
  TypeParam::kFreeData(data, this->walk_.iterator());
  TypeParam::kFreeData(nullptr, this->walk_.iterator());
  EXPECT_THAT(this->traced(),
              ElementsAre("2: " + this->table(fmt::format(
                                      "_make_data_context - allocated data context {} for loop "
                                      "context {}",
                                      data, this->walk_.loopContext())),
                          "2: " + this->table(fmt::format("_free_data_context {}", data)),
                          "2: " + this->table("_free_data_context 0x0")));
}

TYPED_TEST(RowWalk, GoingOnWithAndFreeingNoLoopContextIsTraced) {
  this->traceFrom(9);
  this->walk_.next();
  TypeParam::kFreeLoop(nullptr, this->walk_.iterator());
  EXPECT_THAT(
      this->traced(),
      ElementsAre("2: " + this->table("_get_next_data_point - advancing loop context 0x0 ; data "
                                      "context 0x0"),
                  "2: " + this->table("_get_next_data_point - at end of loop context"),
                  "2: " + this->table("_free_loop_context_at_end 0x0")));
}

TYPED_TEST(RowWalk, TheDataContextIsTracedAsTheWalkGoesOn) {
  int mark = 0;
  this->put({"k1"});
  this->walk_.first();
  this->walk_.dataContextIs(&mark);
  this->traceFrom(9);
  this->walk_.next();
  EXPECT_THAT(this->traced().front(),
              testing::EndsWith(fmt::format(" ; data context {}", fmt::ptr(&mark))));
}

}  // namespace
