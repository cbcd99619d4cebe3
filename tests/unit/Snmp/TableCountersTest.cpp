#include "Snmp/TableCounters.h"

#include <gtest/gtest.h>

#include "Qiv/TypeInfo.h"

namespace {

using Kind = Snmp::OrderedTableIteratorCounterTypes;

TEST(TableCounters, TheKindsHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(Kind::kHintNotFound), 0);
  EXPECT_EQ(static_cast<int>(Kind::kHintFound), 1);
  EXPECT_EQ(static_cast<int>(Kind::kNoHint), 2);
  EXPECT_EQ(static_cast<int>(Kind::kNextAtEnd), 3);
  EXPECT_EQ(static_cast<int>(Kind::kResearchedNotFound), 4);
  EXPECT_EQ(static_cast<int>(Kind::kResearchedFound), 5);
}

TEST(TableCounters, EachKindCountsOnItsOwn) {
  const auto counters = Qiv::make<Snmp::TableCounters>();
  counters->orderedIterCntrsInc(Kind::kHintFound, 1);
  counters->orderedIterCntrsInc(Kind::kHintFound, 2);
  counters->orderedIterCntrsInc(Kind::kResearchedFound, 1);
  EXPECT_EQ(counters->orderedIterCntrs(Kind::kHintFound), 3U);
  EXPECT_EQ(counters->orderedIterCntrs(Kind::kResearchedFound), 1U);
  EXPECT_EQ(counters->orderedIterCntrs(Kind::kHintNotFound), 0U);
}

TEST(TableCounters, ShowThemselvesInTheOrderOfTheirNumbers) {
  const auto counters = Qiv::make<Snmp::TableCounters>();
  for (std::uint64_t kind = 0; kind < Snmp::TableCounters::kKinds; ++kind) {
    counters->orderedIterCntrsInc(static_cast<Kind>(kind), kind + 10);
  }
  EXPECT_EQ(Qiv::dump(*counters),
            "hintNotFound = 10\nhintFound = 11\nnoHint = 12\nnextAtEnd = 13\n"
            "researchedNotFound = 14\nresearchedFound = 15\n");
}

}  // namespace
