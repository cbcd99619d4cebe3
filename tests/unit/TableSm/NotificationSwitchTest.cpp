#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

template <class Table>
class NotificationSwitch : public TableSmTest<Table> {};
TYPED_TEST_SUITE(NotificationSwitch, AllTables, TableNames);

TYPED_TEST(NotificationSwitch, WhileOffNoChangeIsHeard) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->start();
  this->sm->hasNotificationActiveIs(false);
  EXPECT_FALSE(this->sm->hasNotificationActive());
  this->put("lab", "web", key, 2.5F);
  this->put("lab", "db", key, 2.5F);
  this->put("field", "web", key, 2.5F);
  this->ifIndexIs("eth1", 7);
  EXPECT_THAT(this->rows(), ElementsAre(Pair(this->rowName("lab", "web", key, 0), 1.5F)));
  EXPECT_EQ(this->count(), 1U);
  EXPECT_FALSE(this->sm->clientDirSm()->child("field"));
}

TYPED_TEST(NotificationSwitch, WhileOffAHandlerThatIsCalledAllTheSameDoesNothing) {
  const auto key = this->key("", 1);
  const typename TestFixture::HostKey host("web", "default");
  this->put("lab", "web", key, 1.5F);
  this->start();
  const auto entityPtrSm = this->sm->clientDirSm()->child("lab");
  this->sm->hasNotificationActiveIs(false);
  this->statusDir("field");
  this->hostStatus("lab", "db");
  const TraceRecorder trace({kTableSmUnit});
  entityPtrSm->child(host)->handleStats1(key);
  entityPtrSm->handleHostStatus1(typename TestFixture::HostKey("db", "default"));
  this->sm->clientDirSm()->handleEntityPtr1("field");
  this->sm->ifMibSm()->handleIfIndexByIntfId0(Lintu::IntfId("eth1"));  // On, that would be fatal.
  EXPECT_THAT(trace.texts(), IsEmpty());
  EXPECT_EQ(this->count(), 1U);
  EXPECT_FALSE(entityPtrSm->child(typename TestFixture::HostKey("db", "default")));
  EXPECT_FALSE(this->sm->clientDirSm()->child("field"));
}

TYPED_TEST(NotificationSwitch, OnAgainTheNextChangesAreHeard) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->start();
  this->sm->hasNotificationActiveIs(false);
  this->sm->hasNotificationActiveIs(true);
  EXPECT_TRUE(this->sm->hasNotificationActive());
  this->put("lab", "web", key, 2.5F);
  this->put("lab", "db", key, 2.5F);
  EXPECT_THAT(this->rows(), SizeIs(2));
  EXPECT_EQ(this->count(), 3U);
}

TYPED_TEST(NotificationSwitch, SwitchingOnTwiceHearsEveryChangeOnce) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  this->sm->hasNotificationActiveIs(true);
  this->sm->hasNotificationActiveIs(true);
  this->put("lab", "web", this->key("", 1), 2.5F);
  EXPECT_EQ(this->count(), 2U);
}

TYPED_TEST(NotificationSwitch, WhileOffTheScansStandStillAndGoOnAfterwards) {
  this->ifIndexIs("eth1", 7);
  this->ifIndexIs("eth2", 8);
  for (unsigned n = 1; n <= 5; ++n) {
    this->put("lab", "web", this->key("eth1", n), 1.5F);
    this->put("field", "web", this->key("", n), 1.5F);
  }
  this->template policyIs<AlwaysYield>();
  for (unsigned slices = 0; slices < 40; ++slices) {
    SCOPED_TRACE(slices);
    this->conMonMibRoot = Qiv::make<Qiv::Dir>("conMonMib");
    this->counts = ConnectivityMonitorSnmp::vrfRefCountFactory();
    this->sm = this->made();
    for (unsigned slice = 0; slice < slices; ++slice) {
      this->scheduler->runSlice();
    }
    const bool scanned = this->sm->initialScanDone() &&
                         this->sm->clientDirSm()->inputScanComplete1() &&
                         this->sm->ifMibSm()->inputScanComplete0();
    const auto count = this->count();
    this->sm->hasNotificationActiveIs(false);
    this->scheduler->runAll();
    EXPECT_EQ(this->count(), count);
    EXPECT_EQ(this->sm->ready(), scanned) << "only the reconciliation goes on";
    this->sm->hasNotificationActiveIs(true);
    this->scheduler->runAll();
    EXPECT_TRUE(this->sm->ready());
    EXPECT_THAT(this->rows(), SizeIs(10));
    EXPECT_EQ(this->count(), 10U);
  }
}

TYPED_TEST(NotificationSwitch, SwitchedOffInTheMiddleOfASynchronousStartAMachineCatchesUpWhenOn) {
  for (unsigned n = 1; n <= 5; ++n) {
    this->put("lab", "web", this->key("", n), 1.5F);
    this->put("field", "web", this->key("", n), 1.5F);
  }
  this->sm = Qiv::make<typename TestFixture::Sm>(
      this->clientDir, this->conMonMibRoot, this->ifMib, this->counts,
      Yex::SmControl{this->scheduler, 0, TestFixture::Mode::kSynchronous});
  unsigned inserted = 0;
  const Watcher<Pomel::String> watcher(this->counts->vrfRefCount().changes(), [&](const auto&) {
    if (++inserted == 4) {
      this->sm->hasNotificationActiveIs(false);
    }
  });
  this->sm->handleInitialized();
  EXPECT_EQ(inserted, 4U);
  EXPECT_FALSE(this->sm->ready());
  this->sm->hasNotificationActiveIs(true);
  EXPECT_TRUE(this->sm->ready());
  EXPECT_THAT(this->rows(), SizeIs(10));
}

}  // namespace
