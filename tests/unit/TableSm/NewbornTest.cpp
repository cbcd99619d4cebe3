#include "TableSmWorld.h"

/// Children that a reactor makes after the initial scan: nobody else will scan them.

namespace {

using testing::SizeIs;

template <class Table>
class Newborn : public TableSmTest<Table> {
 protected:
  using StatusDir = ConnectivityMonitor::StatusDir;

  /// A client's records, complete before the store knows of them.
  StatusDir::Ptr clientWithSix() {
    auto made = Qiv::make<StatusDir>("lab");
    for (const char* host : {"web", "db"}) {
      const auto record = made->hostStatusIs(typename Newborn::HostKey(host, "default"));
      for (unsigned n = 1; n <= 3; ++n) {
        ((*record).*TableFacts<Table>::kStatsIs)(TableFacts<Table>::stats(this->key("", n), 1.5F));
      }
    }
    return made;
  }
  void expectComplete(std::string_view client) {
    const auto entityPtrSm = this->sm->clientDirSm()->child(client);
    ASSERT_TRUE(entityPtrSm);
    EXPECT_EQ(entityPtrSm->inputScanState1(), Newborn::State::kComplete);
    for (const char* host : {"web", "db"}) {
      const auto child = entityPtrSm->child(typename Newborn::HostKey(host, "default"));
      ASSERT_TRUE(child);
      EXPECT_EQ(child->inputScanState1(), Newborn::State::kComplete);
    }
  }
};
TYPED_TEST_SUITE(Newborn, AllTables, TableNames);

TYPED_TEST(Newborn, AClientThatAppearsCompleteIsScannedOnceWithoutEverYielding) {
  this->start();
  this->template policyIs<AlwaysYield>();
  this->clientDir->entityIs("lab", this->clientWithSix());
  EXPECT_THAT(this->rows(), SizeIs(6));
  EXPECT_EQ(this->count(), 6U);
  EXPECT_FALSE(this->scheduler->hasWork());
  this->expectComplete("lab");
}

TYPED_TEST(Newborn, AHostThatAppearsGetsItsOwnScan) {
  this->statusDir("lab");
  this->start();
  this->template policyIs<AlwaysYield>();
  const TraceRecorder trace({kTableSmUnit});
  this->put("lab", "web", this->key("", 1), 1.5F);
  EXPECT_EQ(this->count(), 1U);
  EXPECT_EQ(trace.texts().front(), "9: web,default") << "the scan of the empty record";
  const auto child =
      this->sm->clientDirSm()->child("lab")->child(typename TestFixture::HostKey("web", "default"));
  EXPECT_EQ(child->inputScanState1(), TestFixture::State::kComplete);
}

TYPED_TEST(Newborn, AClientThatAppearsInTheMiddleOfTheSecondPassIsScannedOnce) {
  this->put("field", "web", this->key("", 1), 1.5F);
  this->put("field", "web", this->key("", 2), 1.5F);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  while (!this->sm->initialScanDone()) {
    this->scheduler->runSlice();
  }
  this->sm->clientDirSm()->task1Dispatch();
  ASSERT_EQ(this->count(), 1U);
  this->clientDir->entityIs("lab", this->clientWithSix());
  EXPECT_EQ(this->count(), 7U);
  this->expectComplete("lab");
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_EQ(this->count(), 8U);
}

TYPED_TEST(Newborn, AClientThatAppearsInTheFirstPassWaitsForTheSecond) {
  this->put("field", "web", this->key("", 1), 1.5F);
  this->put("field", "web", this->key("", 2), 1.5F);
  this->template policyIs<AlwaysYield>();
  this->sm = this->made();
  this->sm->clientDirSm()->task1Dispatch();
  this->clientDir->entityIs("lab", this->clientWithSix());
  EXPECT_EQ(this->sm->clientDirSm()->child("lab")->inputScanState1(),
            TestFixture::State::kNotStarted);
  EXPECT_EQ(this->count(), 0U);
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_EQ(this->count(), 8U);
  this->expectComplete("lab");
}

TYPED_TEST(Newborn, AnEmptyRecordThatAppearsSendsNoEvent) {
  this->start();
  this->hostStatus("lab", "web");
  EXPECT_EQ(this->count(), 0U);
  EXPECT_TRUE(FakeMibModule::calls().empty());
}

}  // namespace
