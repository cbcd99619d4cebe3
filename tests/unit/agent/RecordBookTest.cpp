#include "agent/feed/RecordBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PipelineModel.h"

namespace Agent {
namespace {

using Testing::http;
using Testing::icmp;
using Testing::latency;
using Testing::PipelineModel;
using Calls = std::vector<std::string>;

class RecordBookTest : public testing::Test {
 protected:
  /// The latency that shows in the only row.
  float shown() const {
    EXPECT_EQ(model_.rows.size(), 1U);
    return model_.rows.empty() ? -1 : model_.rows.begin()->second.latency;
  }

  PipelineModel model_;
  std::vector<std::string> warnings_;
  RecordBook book_{model_, [this](const std::string& text) { warnings_.push_back(text); }, 10};
  // Two records of one row: 10.0.0.1 on index 12 and 10.0.0.11 on index 2.
  const ProbeKey one_ = icmp("h", "eth1", "10.0.0.1");
  const ProbeKey other_ = icmp("h", "eth2", "10.0.0.11");
  void SetUp() override {
    book_.ifIndexIs("eth1", 12, "c");
    book_.ifIndexIs("eth2", 2, "c");
    model_.calls.clear();
  }
};

TEST_F(RecordBookTest, ARecordGoesToTheStoreOnceForEveryPut) {
  book_.put("c", one_, latency(1));
  book_.put("c", one_, latency(2));
  book_.remove("c", one_);
  EXPECT_EQ(model_.calls, (Calls{"put c h 1", "put c h 2", "del c h"}));
  EXPECT_TRUE(model_.records.empty());
}

TEST_F(RecordBookTest, RemovingAnAbsentRecordTouchesNothing) {
  book_.remove("c", one_);
  EXPECT_EQ(model_.calls, Calls{});
}

TEST_F(RecordBookTest, OfTwoRecordsWithOneRowTheLaterShowsAndBothAreKept) {
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  EXPECT_EQ(shown(), 2);
  EXPECT_EQ(model_.records.size(), 2U);
  book_.put("c", one_, latency(3));
  EXPECT_EQ(shown(), 3);
}

TEST_F(RecordBookTest, AnUnchangedPutOfTheRecordBehindShowsItToo) {
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  book_.put("c", one_, latency(1));
  EXPECT_EQ(shown(), 1);
  EXPECT_EQ(model_.counts["default"], 2U);
}

TEST_F(RecordBookTest, AnUnchangedPutOfTheRecordThatShowsTouchesNothing) {
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  model_.calls.clear();
  book_.put("c", other_, latency(2));
  EXPECT_EQ(model_.calls, Calls{"put c h 2"});
}

TEST_F(RecordBookTest, WhenTheRecordThatShowsGoesTheOneBehindItShows) {
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  book_.remove("c", other_);
  EXPECT_EQ(shown(), 1);
  book_.remove("c", one_);
  EXPECT_TRUE(model_.rows.empty());
  EXPECT_TRUE(model_.counts.empty());
}

TEST_F(RecordBookTest, WhenTheRecordBehindGoesTheOneThatShowsKeepsShowing) {
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  book_.remove("c", one_);
  EXPECT_EQ(shown(), 2);
}

TEST_F(RecordBookTest, OfThreeRecordsWithOneRowTheLatestOfTheRemainingShows) {
  book_.ifIndexIs("eth3", 12, "c");
  const ProbeKey third = icmp("h", "eth3", "10.0.0.1");
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  book_.put("c", third, latency(3));
  book_.put("c", one_, latency(4));
  book_.remove("c", one_);
  EXPECT_EQ(shown(), 3);
  book_.remove("c", third);
  EXPECT_EQ(shown(), 2);
}

TEST_F(RecordBookTest, ASharingIsWarnedOfOnceAndNamesBothRecords) {
  book_.put("c", one_, latency(1));
  EXPECT_EQ(warnings_, Calls{});
  book_.put("c", other_, latency(2));
  ASSERT_EQ(warnings_.size(), 1U);
  EXPECT_EQ(
      warnings_[0],
      "two records of VRF \"default\" have one row and the later one shows: client \"c\" host "
      "\"h\" interface \"eth2\" icmp 10.0.0.11; client \"c\" host \"h\" interface \"eth1\" "
      "icmp 10.0.0.1");
  book_.put("c", one_, latency(3));
  book_.remove("c", one_);
  book_.put("c", one_, latency(3));
  EXPECT_EQ(warnings_.size(), 1U);
}

TEST_F(RecordBookTest, AnotherSharingIsWarnedOfOnItsOwn) {
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  book_.put("c", http("ab", "", "u"), {});
  book_.put("ca", http("b", "", "u"), {});
  EXPECT_EQ(warnings_.size(), 2U);
}

TEST_F(RecordBookTest, WarningsEndAtABound) {
  for (int n = 0; n < 2000; ++n) {
    const std::string url = std::to_string(n);
    book_.put("c", http("ab", "", url.c_str()), {});
    book_.put("ca", http("b", "", url.c_str()), {});
  }
  EXPECT_EQ(warnings_.size(), 1001U);
  EXPECT_EQ(warnings_.back(), "no further warnings of records that have one row");
}

TEST_F(RecordBookTest, AWithdrawnRecordCarriesAllItTakesToPutItBack) {
  book_.put("c", one_, latency(1));
  const Withdrawn withdrawn = book_.withdraw(*book_.ledger().find("c", one_));
  EXPECT_TRUE(model_.records.empty());
  EXPECT_EQ(withdrawn.client, "c");
  EXPECT_EQ(withdrawn.key, one_);
  EXPECT_EQ(withdrawn.measured, latency(1));
}

TEST_F(RecordBookTest, EventsAreCountedByKind) {
  const ProbeKey web = http("h", "", "http://h/");
  book_.put("c", one_, latency(1));
  book_.put("c", one_, latency(1));
  book_.put("c", one_, latency(2));
  book_.put("c", web, latency(1));
  book_.remove("c", web);
  book_.remove("c", web);
  const RecordBook::Events& icmpEvents = book_.events()[one_.target.index()];
  EXPECT_EQ(icmpEvents.published, 2U);
  EXPECT_EQ(icmpEvents.unchanged, 1U);
  EXPECT_EQ(icmpEvents.removed, 0U);
  const RecordBook::Events& httpEvents = book_.events()[web.target.index()];
  EXPECT_EQ(httpEvents.published, 1U);
  EXPECT_EQ(httpEvents.removed, 1U) << "removing an absent record is no event";
}

TEST_F(RecordBookTest, SharingsAreCounted) {
  EXPECT_EQ(book_.sharings(), 0U);
  book_.put("c", one_, latency(1));
  book_.put("c", other_, latency(2));
  book_.put("c", one_, latency(3));
  EXPECT_EQ(book_.sharings(), 1U);
}

TEST_F(RecordBookTest, ACountThatReachesItsCeilingIsSetBackToTheRecordsWithARow) {
  book_.put("c", one_, latency(0));
  book_.put("c", icmp("h", "", "10.0.0.9"), latency(0));
  book_.put("c", icmp("h", "unindexed", "10.0.0.9"), latency(0));
  for (int n = 1; n <= 7; ++n) {
    book_.put("c", one_, latency(static_cast<float>(n)));
  }
  EXPECT_EQ(model_.counts["default"], 9U);
  book_.put("c", one_, latency(8));
  EXPECT_EQ(model_.counts["default"], 2U);
  EXPECT_EQ(model_.calls.back(), "count default 2");
}

TEST_F(RecordBookTest, ACountThatWasSetBackStillEndsAtZeroWithTheLastRecord) {
  for (int n = 0; n <= 100; ++n) {
    book_.put("c", one_, latency(static_cast<float>(n)));
    EXPECT_LT(model_.counts["default"], 10U);
  }
  book_.put("c", one_, latency(200));
  while (model_.counts["default"] != 1) {
    book_.put("c", one_, latency(static_cast<float>(model_.calls.size())));
  }
  book_.remove("c", one_);
  EXPECT_TRUE(model_.counts.empty());
}

TEST_F(RecordBookTest, UnchangedPutsAndRecordsWithoutARowDoNotCount) {
  for (int n = 0; n < 50; ++n) {
    book_.put("c", one_, latency(1));
    book_.put("c", icmp("h", "unindexed", "10.0.0.9"), latency(static_cast<float>(n)));
  }
  EXPECT_EQ(model_.counts["default"], 1U);
}

TEST_F(RecordBookTest, AWarningDoesNotShowThePasswordOfAUrl) {
  const auto warningOf = [&](const char* url) {
    warnings_.clear();
    book_.put("c", http("h", "eth1", url), latency(1));
    book_.put("ch", http("", "eth1", url), latency(1));
    return warnings_.empty() ? "none" : warnings_.front();
  };
  EXPECT_THAT(warningOf("http://user:pa@ss@h/x@y"), testing::HasSubstr("\"http://...@h/x@y\""));
  EXPECT_THAT(warningOf("user:secret@h"), testing::HasSubstr("\"...@h\""));
  EXPECT_THAT(warningOf("http://h/x@y"), testing::HasSubstr("\"http://h/x@y\""));
  EXPECT_THAT(warningOf("http://h?a@b"), testing::HasSubstr("\"http://h?a@b\""));
}

}  // namespace
}  // namespace Agent
