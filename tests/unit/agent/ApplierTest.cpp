#include "agent/feed/Applier.h"

#include <gtest/gtest.h>

#include <random>

#include "FeedTesting.h"
#include "PipelineModel.h"

namespace Agent {
namespace {

using Testing::http;
using Testing::icmp;
using Testing::latency;
using Testing::PipelineModel;
using Testing::tcp;
using Calls = std::vector<std::string>;

class ApplierTest : public testing::Test {
 protected:
  void push(const char* client, Change change) { queue_.push({client, std::move(change)}); }
  void push(const char* client, const ProbeKey& key, float milliseconds) {
    push(client, Put{key, latency(milliseconds)});
  }
  /// Steps as small as there are, so that nothing rests on a change being applied in one piece.
  void applyAll() {
    while (applier_.work(always_)) {
    }
  }
  void applyAllAndForgetCalls() {
    applyAll();
    model_.calls.clear();
  }

  Testing::AlwaysYield always_;
  Testing::NeverYield never_;
  PipelineModel model_;
  OperationQueue queue_{1000};
  RecordBook book_{model_, [](const std::string&) {}};
  Applier applier_{queue_, book_};
  void SetUp() override { applier_.gateIs(true); }
};

TEST_F(ApplierTest, NothingIsAppliedBeforeTheGateOpens) {
  applier_.gateIs(false);
  push("c", icmp("h", "", "10.0.0.1"), 1);
  EXPECT_FALSE(applier_.hasWork());
  EXPECT_FALSE(applier_.work(never_));
  EXPECT_EQ(model_.calls, Calls{});
  EXPECT_EQ(queue_.appliedUpTo(), 0U);
  applier_.gateIs(true);
  EXPECT_TRUE(applier_.hasWork());
  applyAll();
  EXPECT_EQ(model_.calls, Calls{"put c h 1"});
  EXPECT_EQ(queue_.appliedUpTo(), 1U);
}

TEST_F(ApplierTest, ChangesAreAppliedInOrder) {
  const ProbeKey key = icmp("h", "", "10.0.0.1");
  push("c", key, 1);
  push("d", key, 2);
  push("c", Remove{key});
  push("c", key, 3);
  applier_.work(never_);
  EXPECT_EQ(model_.calls, (Calls{"put c h 1", "put d h 2", "del c h", "put c h 3"}));
  EXPECT_EQ(queue_.appliedUpTo(), 4U);
}

TEST_F(ApplierTest, RemovingAHostTakesAllOfItsRecordsInThatVrfAndClientOnly) {
  push("c", icmp("h", "", "10.0.0.1"), 1);
  push("c", tcp("h", "", "10.0.0.1", 80), 1);
  push("c", http("h", "eth1", "u"), 1);
  push("c", icmp("h", "", "10.0.0.1", "blue"), 1);
  push("c", icmp("g", "", "10.0.0.1"), 1);
  push("d", icmp("h", "", "10.0.0.1"), 1);
  applyAllAndForgetCalls();
  push("c", RemoveHost{{"h", "default"}});
  applyAll();
  EXPECT_EQ(model_.calls, (Calls{"del c h", "del c h", "del c h"}));
  EXPECT_EQ(model_.records.size(), 3U);
}

TEST_F(ApplierTest, RemovingAnAbsentHostOrClientIsDoneAtOnce) {
  push("c", RemoveHost{{"h", "default"}});
  push("c", RemoveClient{});
  applyAll();
  EXPECT_EQ(model_.calls, Calls{});
  EXPECT_EQ(queue_.appliedUpTo(), 2U);
}

TEST_F(ApplierTest, RemovingAClientTakesAllOfItsRecords) {
  for (const char* client : {"c", "d"}) {
    push(client, icmp("h", "", "10.0.0.1"), 1);
    push(client, icmp("g", "", "10.0.0.1", "blue"), 1);
    push(client, http("g", "eth1", "u", "blue"), 1);
  }
  applyAll();
  push("c", RemoveClient{});
  applyAll();
  EXPECT_EQ(model_.records.size(), 3U);
  EXPECT_EQ(book_.ledger().anyOf("c"), nullptr);
}

TEST_F(ApplierTest, AChangeOfManyRecordsCountsAsAppliedOnlyAtItsEnd) {
  push("c", icmp("h", "", "10.0.0.1"), 1);
  push("c", icmp("h", "", "10.0.0.2"), 1);
  applyAll();
  push("c", RemoveClient{});
  while (!model_.records.empty()) {
    EXPECT_EQ(queue_.appliedUpTo(), 2U);
    ASSERT_TRUE(applier_.work(always_));
  }
  applyAll();
  EXPECT_EQ(queue_.appliedUpTo(), 3U);
}

TEST_F(ApplierTest, AFirstIndexPublishesTheRecordsThatWaitedForIt) {
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  applyAll();
  EXPECT_TRUE(model_.rows.empty());
  push("c", SetInterface{"eth1", 7});
  applyAll();
  EXPECT_EQ(model_.rows.size(), 1U);
  EXPECT_TRUE(model_.rows.contains({"default", 0, "ch10.0.0.17"}));
}

TEST_F(ApplierTest, AnIndexChangeWithdrawsThenSetsThenPublishes) {
  push("c", SetInterface{"eth1", 7});
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  push("c", icmp("g", "eth1", "10.0.0.1"), 2);
  push("c", icmp("f", "eth2", "10.0.0.1"), 3);
  push("c", icmp("e", "", "10.0.0.1"), 4);
  applyAllAndForgetCalls();
  push("c", SetInterface{"eth1", 8});
  applyAll();
  EXPECT_EQ(model_.calls, (Calls{"del c h", "del c g", "index eth1 8", "put c h 1", "put c g 2"}));
  EXPECT_EQ(model_.rows.size(), 3U);
  EXPECT_TRUE(model_.rows.contains({"default", 0, "ch10.0.0.18"}));
  EXPECT_FALSE(model_.rows.contains({"default", 0, "ch10.0.0.17"}));
}

TEST_F(ApplierTest, AnUnchangedIndexTouchesNothing) {
  push("c", SetInterface{"eth1", 7});
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  applyAllAndForgetCalls();
  push("c", SetInterface{"eth1", 7});
  applyAll();
  EXPECT_EQ(model_.calls, Calls{});
}

TEST_F(ApplierTest, AnIndexOfTheKernelIsHandledInTheSameOrder) {
  push("", SetInterface{"eth1", 7});
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  applyAllAndForgetCalls();
  push("", SetInterface{"eth1", 8});
  applyAll();
  EXPECT_EQ(model_.calls, (Calls{"del c h", "index eth1 8", "put c h 1"}));
  EXPECT_EQ(model_.rows.size(), 1U);
}

TEST_F(ApplierTest, AClientsIndexWinsOverTheKernelsWhoeverIsHeardFirst) {
  push("", SetInterface{"eth1", 2});
  push("c", SetInterface{"eth1", 7});
  push("c", SetInterface{"eth2", 7});
  push("", SetInterface{"eth2", 3});
  push("", SetInterface{"eth1", 4});
  push("d", SetInterface{"eth2", 8});
  applyAll();
  EXPECT_EQ(book_.ledger().ifIndex("eth1"), 7U);
  EXPECT_EQ(book_.ledger().ifIndex("eth2"), 8U);
}

TEST_F(ApplierTest, AClientThatSaysTheKernelsIndexMakesItItsOwn) {
  push("", SetInterface{"eth1", 2});
  push("c", SetInterface{"eth1", 2});
  push("", SetInterface{"eth1", 3});
  applyAll();
  EXPECT_EQ(book_.ledger().ifIndex("eth1"), 2U);
  EXPECT_TRUE(book_.ledger().isSetByClient("eth1"));
}

TEST_F(ApplierTest, AnInterfaceThatOnlyRecordsNameIsTheKernelsToSet) {
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  push("", SetInterface{"eth1", 2});
  applyAll();
  EXPECT_FALSE(book_.ledger().isSetByClient("eth1"));
  EXPECT_EQ(book_.ledger().ifIndex("eth1"), 2U);
}

TEST_F(ApplierTest, AnInterfaceOfOneClientServesAllClients) {
  push("c", SetInterface{"eth1", 7});
  push("d", icmp("h", "eth1", "10.0.0.1"), 1);
  applyAll();
  EXPECT_EQ(model_.rows.size(), 1U);
}

TEST_F(ApplierTest, TheGateMayCloseInTheMiddleOfAChange) {
  push("c", icmp("h", "", "10.0.0.1"), 1);
  push("c", icmp("h", "", "10.0.0.2"), 1);
  applyAll();
  push("c", RemoveClient{});
  applier_.work(always_);
  applier_.work(always_);
  EXPECT_EQ(model_.records.size(), 1U);
  applier_.gateIs(false);
  EXPECT_FALSE(applier_.work(never_));
  EXPECT_EQ(model_.records.size(), 1U);
  applier_.gateIs(true);
  applyAll();
  EXPECT_TRUE(model_.records.empty());
}

TEST_F(ApplierTest, AllRecordsCanBeWithdrawnAndPublishedAgain) {
  push("c", SetInterface{"eth1", 7});
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  push("d", http("g", "", "u", "blue"), 2);
  applyAll();
  const auto rows = model_.rows;
  EXPECT_FALSE(applier_.withdrawn());

  applier_.withdrawAll();
  EXPECT_FALSE(applier_.withdrawn());
  applyAll();
  EXPECT_TRUE(applier_.withdrawn());
  EXPECT_TRUE(model_.records.empty());
  EXPECT_TRUE(model_.counts.empty());

  applier_.restoreAll();
  applyAll();
  EXPECT_FALSE(applier_.withdrawn());
  EXPECT_EQ(model_.rows, rows);
}

TEST_F(ApplierTest, ChangesWaitWhileAllRecordsAreWithdrawn) {
  const ProbeKey key = icmp("h", "", "10.0.0.1");
  push("c", key, 1);
  applyAll();
  applier_.withdrawAll();
  applyAll();
  push("c", Remove{key});
  EXPECT_FALSE(applier_.hasWork());
  applyAll();
  EXPECT_FALSE(queue_.empty());
  applier_.restoreAll();
  applyAll();
  EXPECT_EQ(queue_.appliedUpTo(), 2U);
  EXPECT_TRUE(model_.records.empty());
}

TEST_F(ApplierTest, AWithdrawalWaitsForTheChangeUnderWay) {
  push("c", icmp("h", "eth1", "10.0.0.1"), 1);
  push("c", icmp("g", "eth1", "10.0.0.1"), 2);
  applyAll();
  push("c", SetInterface{"eth1", 7});
  applier_.work(always_);
  applier_.work(always_);
  EXPECT_EQ(model_.records.size(), 1U);
  applier_.withdrawAll();
  applyAll();
  EXPECT_TRUE(applier_.withdrawn());
  EXPECT_TRUE(queue_.empty());
  applier_.restoreAll();
  applyAll();
  EXPECT_EQ(queue_.appliedUpTo(), 3U);
  EXPECT_EQ(model_.rows.size(), 2U);
}

TEST_F(ApplierTest, NothingCountsAsAppliedFromTheFirstRecordWithdrawnToTheLastPublishedAgain) {
  push("c", icmp("h", "", "10.0.0.1"), 1);
  push("c", icmp("g", "", "10.0.0.1"), 2);
  applyAll();
  applier_.withdrawAll();
  EXPECT_EQ(queue_.appliedUpTo(), 2U) << "not begun";
  while (!applier_.withdrawn()) {
    applier_.work(always_);
    EXPECT_EQ(queue_.appliedUpTo(), 0U);
  }
  applier_.restoreAll();
  while (model_.rows.size() < 2) {
    EXPECT_EQ(queue_.appliedUpTo(), 0U);
    ASSERT_TRUE(applier_.work(always_));
  }
  applyAll();
  EXPECT_EQ(queue_.appliedUpTo(), 2U);
}

// The main property: whatever is fed and however it is cut, the rows are the projection of the
// records, the latest put of each row showing, and no count ever falls below what removals take.
TEST_F(ApplierTest, RowsAreTheProjectionOfTheRecordsForAnyChangesAndAnyCuts) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  const auto pick = [&](int bound) {
    return std::uniform_int_distribution<int>(0, bound - 1)(random);
  };
  const std::vector<const char*> clients{"c", "ch", "d"};
  const std::vector<const char*> hosts{"h", "hh", "g"};
  const std::vector<const char*> interfaces{"", "eth1", "eth2", "eth3"};
  const std::vector<const char*> addresses{"10.0.0.1", "10.0.0.11", "10.0.0.111", "::1"};
  const std::vector<const char*> vrfs{"default", "blue"};
  const auto any = [&](const auto& list) {
    return list[static_cast<std::size_t>(pick(static_cast<int>(list.size())))];
  };
  const auto anyKey = [&] {
    switch (pick(3)) {
      case 0:
        return icmp(any(hosts), any(interfaces), any(addresses), any(vrfs));
      case 1:
        return tcp(any(hosts), any(interfaces), any(addresses),
                   static_cast<std::uint16_t>(1 + pick(12)), any(vrfs));
      default:
        return http(any(hosts), any(interfaces), any(addresses), any(vrfs));
    }
  };

  using Id = PipelineModel::RecordId;
  std::map<Id, std::pair<Measurements, int>> expected;  // with the moment of the latest put
  for (int moment = 0; moment < 6000; ++moment) {
    const char* client = any(clients);
    const int what = pick(100);
    if (what < 60) {
      const ProbeKey key = anyKey();
      const Measurements measured = latency(static_cast<float>(pick(3)));
      expected[PipelineModel::idOf(client, key)] = {measured, moment};
      push(client, Put{key, measured});
    } else if (what < 85) {
      const ProbeKey key = anyKey();
      expected.erase(PipelineModel::idOf(client, key));
      push(client, Remove{key});
    } else if (what < 92) {
      const HostVrf at{any(hosts), any(vrfs)};
      std::erase_if(expected, [&](const auto& entry) {
        return std::get<0>(entry.first) == client && std::get<1>(entry.first) == at.vrf.view() &&
               std::get<2>(entry.first) == at.host.view();
      });
      push(client, RemoveHost{at});
    } else if (what < 93) {
      std::erase_if(expected,
                    [&](const auto& entry) { return std::get<0>(entry.first) == client; });
      push(client, RemoveClient{});
    } else {
      push(client, SetInterface{interfaces[static_cast<std::size_t>(1 + pick(3))],
                                static_cast<std::uint32_t>(1 + pick(13))});
    }
    if (pick(3) == 0) {
      applier_.work(always_);
    }
    if (pick(20) != 0) {
      continue;
    }
    applyAll();
    ASSERT_EQ(model_.records.size(), expected.size());
    std::map<PipelineModel::RowId, std::pair<int, PipelineModel::Row>> projection;
    std::map<std::string, std::uint32_t> indexed;
    for (const auto& [id, entry] : expected) {
      ASSERT_TRUE(model_.records.contains(id));
      if (const auto row = model_.rowOf(id)) {
        ++indexed[std::get<1>(id)];
        auto& shown = projection[*row];
        if (shown.second.record == Id() || shown.first < entry.second) {
          shown = {entry.second, {id, entry.first.latency}};
        }
      }
    }
    ASSERT_EQ(model_.rows.size(), projection.size());
    for (const auto& [id, shown] : projection) {
      ASSERT_TRUE(model_.rows.contains(id)) << std::get<2>(id);
      ASSERT_EQ(model_.rows.at(id).record, shown.second.record) << std::get<2>(id);
      ASSERT_EQ(model_.rows.at(id).latency, shown.second.latency);
    }
    for (const auto& [vrf, count] : indexed) {
      ASSERT_GE(model_.counts[vrf], count);
    }
  }
}

}  // namespace
}  // namespace Agent
