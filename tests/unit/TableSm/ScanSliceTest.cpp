#include <set>

#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

template <class Table>
class ScanSlice : public TableSmTest<Table> {
 protected:
  /// Two clients with two hosts with three probes each.
  void putTwelve() {
    for (const char* client : {"lab", "field"}) {
      for (const char* host : {"web", "db"}) {
        for (unsigned n = 1; n <= 3; ++n) {
          this->put(client, host, this->key("", n), 1.5F);
        }
      }
    }
  }
  /// The lines of level 8 that tell of a yield.
  static std::vector<std::string> yields(const TraceRecorder& trace) {
    std::vector<std::string> found;
    for (const auto& line : trace.lines()) {
      if (line.level == 8 && line.text.find(" yielding after ") != std::string::npos) {
        found.push_back(line.text);
      }
    }
    return found;
  }
  static std::size_t handled(const TraceRecorder& trace) {
    std::size_t found = 0;
    for (const auto& line : trace.lines()) {
      found += line.text.starts_with("k: ") ? 1U : 0U;
    }
    return found;
  }
  void runFirstPass() {
    while (!this->sm->initialScanDone()) {
      this->scheduler->runSlice();
    }
  }
};
TYPED_TEST_SUITE(ScanSlice, AllTables, TableNames);

TYPED_TEST(ScanSlice, AYieldingChildMakesEveryAncestorYieldAndIsResumedWhereItStopped) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->put("lab", "web", this->key("", 2), 1.5F);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  const auto clientDirSm = this->sm->clientDirSm();
  const TraceRecorder trace({kTableSmUnit});

  clientDirSm->task1Dispatch();
  EXPECT_THAT(this->yields(trace),
              ElementsAre("web,default  yielding after 1 iterations (2 total items)",
                          "lab child yielding after 0 iterations (1 total items)",
                          " child yielding after 0 iterations (1 total items)"));
  EXPECT_EQ(this->handled(trace), 1U);
  const auto entityPtrSm = clientDirSm->child("lab");
  const typename TestFixture::HostKey host("web", "default");
  const auto hostStatusSm = entityPtrSm->child(host);
  EXPECT_EQ(clientDirSm->inputScanState1(), TestFixture::State::kResumable);
  EXPECT_EQ(entityPtrSm->inputScanState1(), TestFixture::State::kResumable);
  EXPECT_EQ(hostStatusSm->inputScanState1(), TestFixture::State::kResumable);
  ASSERT_TRUE(clientDirSm->inputScanBookmark1());
  EXPECT_EQ(*clientDirSm->inputScanBookmark1(), "lab");
  ASSERT_TRUE(entityPtrSm->inputScanBookmark1());
  EXPECT_EQ(*entityPtrSm->inputScanBookmark1(), host);
  ASSERT_TRUE(hostStatusSm->inputScanBookmark1());
  EXPECT_EQ(*hostStatusSm->inputScanBookmark1(), std::next(hostStatusSm->items()->begin())->key);

  // On the last item the policy says yield, and the scan is over all the same.
  clientDirSm->task1Dispatch();
  EXPECT_THAT(this->yields(trace), SizeIs(3));
  EXPECT_EQ(this->handled(trace), 2U);
  EXPECT_EQ(clientDirSm->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_EQ(entityPtrSm->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_EQ(hostStatusSm->inputScanState1(), TestFixture::State::kCompleteInitial);
  EXPECT_EQ(clientDirSm->inputScanBookmark1(), nullptr);
  EXPECT_EQ(hostStatusSm->inputScanBookmark1(), nullptr);
}

TYPED_TEST(ScanSlice, AYieldBetweenHostsHasNoReasonAndTheBookmarkIsTheNextHost) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->put("lab", "db", this->key("", 1), 1.5F);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  const TraceRecorder trace({kTableSmUnit});
  this->sm->clientDirSm()->task1Dispatch();
  EXPECT_THAT(this->yields(trace),
              ElementsAre("lab  yielding after 1 iterations (2 total items)",
                          " child yielding after 0 iterations (1 total items)"));
  const auto entityPtrSm = this->sm->clientDirSm()->child("lab");
  EXPECT_EQ(*entityPtrSm->inputScanBookmark1(), std::next(entityPtrSm->items()->begin())->key);
}

TYPED_TEST(ScanSlice, NoEntryIsHandledTwiceInAPassHoweverOftenItYields) {
  this->putTwelve();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  const TraceRecorder trace({kTableSmUnit});
  this->runFirstPass();
  EXPECT_EQ(this->handled(trace), 12U);
  EXPECT_EQ(this->count(), 0U);
  while (!this->sm->ready()) {
    this->scheduler->runSlice();
  }
  EXPECT_EQ(this->handled(trace), 24U);
  EXPECT_EQ(this->count(), 12U);
  EXPECT_THAT(this->rows(), SizeIs(12));
}

TYPED_TEST(ScanSlice, ARandomPolicyHandlesEveryEntryOnceAPass) {
  this->putTwelve();
  this->ifIndexIs("eth1", 7);
  this->ifIndexIs("eth2", 8);
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    this->sm = nullptr;
    this->conMonMibRoot = Qiv::make<Qiv::Dir>("conMonMib");
    this->counts->vrfRefCountDelAll();
    this->template policyIs<RandomYield>(seed, 3U);
    this->sm = this->made();
    const TraceRecorder trace({kTableSmUnit});
    this->scheduler->runAll();
    EXPECT_TRUE(this->sm->ready());
    EXPECT_EQ(this->handled(trace), 24U);
    EXPECT_EQ(this->count(), 12U);
    EXPECT_THAT(this->rows(), SizeIs(12));
  }
}

TYPED_TEST(ScanSlice, AYieldOnTheLastItemFinishesInsteadOfSchedulingAnEmptySlice) {
  this->ifIndexIs("eth1", 7);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->sm->ifMibSm()->task0Dispatch();
  EXPECT_EQ(this->sm->ifMibSm()->inputScanState0(), TestFixture::State::kCompleteInitial);
  EXPECT_TRUE(this->sm->inputSmScanState()->ifMibStreamScan());
}

TYPED_TEST(ScanSlice, InterfacesAreScannedFromABookmark) {
  for (unsigned n = 1; n <= 3; ++n) {
    this->ifIndexIs("eth" + std::to_string(n), n);
  }
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  const auto ifMibSm = this->sm->ifMibSm();
  const auto task = ifMibSm->task0();
  const TraceRecorder trace({kTableSmUnit});
  auto next = this->ifMib->ifIndexByIntfId().begin();
  for (unsigned slice = 1; slice <= 2; ++slice) {
    ifMibSm->task0Dispatch();
    EXPECT_EQ(ifMibSm->inputScanState0(), TestFixture::State::kResumable);
    ASSERT_TRUE(ifMibSm->inputScanBookmark0());
    EXPECT_EQ(*ifMibSm->inputScanBookmark0(), (++next)->key);
    EXPECT_EQ(task->taskWorkCount(), slice);
    EXPECT_EQ(task->taskWorkPending(), 3U);
    EXPECT_TRUE(task->scheduled());
  }
  EXPECT_THAT(this->yields(trace), ElementsAre("  yielding after 1 iterations (3 total items)",
                                               "  yielding after 1 iterations (3 total items)"));
  EXPECT_EQ(trace.count(" scan complete: false resumed: false scan: false"), 1U);
  EXPECT_EQ(trace.count(" scan complete: false resumed: true scan: false"), 1U);
  ifMibSm->task0Dispatch();
  EXPECT_EQ(ifMibSm->inputScanState0(), TestFixture::State::kCompleteInitial);
  EXPECT_EQ(ifMibSm->inputScanBookmark0(), nullptr);
}

TYPED_TEST(ScanSlice, WorkIsReportedToTheTaskOfTheMachineThatOwnsIt) {
  for (const char* client : {"a", "b", "c"}) {
    this->statusDir(client);
  }
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  const auto task = this->sm->clientDirSm()->task1();
  this->sm->clientDirSm()->task1Dispatch();
  EXPECT_EQ(task->taskWorkCount(), 1U);
  EXPECT_EQ(task->taskWorkPending(), 3U);
  this->sm->clientDirSm()->task1Dispatch();
  EXPECT_EQ(task->taskWorkCount(), 2U);
}

TYPED_TEST(ScanSlice, AChildThatYieldedIsNotCountedAsWorkDone) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->put("lab", "web", this->key("", 2), 1.5F);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->sm->clientDirSm()->task1Dispatch();
  EXPECT_EQ(this->sm->clientDirSm()->task1()->taskWorkCount(), 0U);
  EXPECT_EQ(this->sm->clientDirSm()->task1()->taskWorkPending(), 1U);
}

TYPED_TEST(ScanSlice, ASliceTakesAsManyItemsAsTheSchedulerGrants) {
  for (unsigned n = 1; n <= 10; ++n) {
    this->ifIndexIs("eth" + std::to_string(n), n);
  }
  this->sm = this->made();
  auto policy = std::make_unique<YieldAfter>(4);
  policy->sliceBegins();
  this->scheduler->yieldPolicyIs(std::move(policy));
  const TraceRecorder trace({kTableSmUnit});
  this->sm->ifMibSm()->task0Dispatch();
  EXPECT_THAT(this->yields(trace), ElementsAre("  yielding after 4 iterations (10 total items)"));
}

TYPED_TEST(ScanSlice, WhatTheBookmarkNamesMayGoAndOthersMayComeBetweenSlices) {
  this->putTwelve();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->runFirstPass();
  this->sm->clientDirSm()->task1Dispatch();  // The first event of the second pass.
  ASSERT_EQ(this->count(), 1U);
  const auto clientDirSm = this->sm->clientDirSm();
  const auto client = *clientDirSm->inputScanBookmark1();
  const auto entityPtrSm = clientDirSm->child(client);
  const auto host = *entityPtrSm->inputScanBookmark1();
  const auto hostStatusSm = entityPtrSm->child(host);
  const auto next = *hostStatusSm->inputScanBookmark1();
  // The entry to go on with: its removal is an event of its own, which takes the count back, so
  // another event has to come before it.
  this->event(client.view(), host.hostName().view(), hostStatusSm->items()->begin()->key);
  this->remove(client.view(), host.hostName().view(), next);
  for (unsigned n = 10; n <= 20; ++n) {
    this->put(client.view(), host.hostName().view(), this->key("", n), 2.5F);
  }
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), SizeIs(12 - 1 + 11));
}

TYPED_TEST(ScanSlice, AHostThatTheBookmarkNamesMayBeRemoved) {
  this->putTwelve();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->sm->clientDirSm()->task1Dispatch();
  const auto client = *this->sm->clientDirSm()->inputScanBookmark1();
  const auto host = *this->sm->clientDirSm()->child(client)->inputScanBookmark1();
  this->statusDir(client.view())->hostStatusDel(host);
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), SizeIs(9));
}

TYPED_TEST(ScanSlice, AClientThatTheBookmarkNamesMayBeRemoved) {
  this->putTwelve();
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->sm->clientDirSm()->task1Dispatch();
  this->clientDir->entityDel(*this->sm->clientDirSm()->inputScanBookmark1());
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), SizeIs(6));
}

}  // namespace
