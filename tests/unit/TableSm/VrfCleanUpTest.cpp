#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;

constexpr auto kCountFilter = "filter( ( currRef == 0 ) ) failed, terminating pipeline";

template <class Table>
class VrfCleanUp : public TableSmTest<Table> {
 protected:
  void SetUp() override { this->start(); }
};
TYPED_TEST_SUITE(VrfCleanUp, AllTables, TableNames);

TYPED_TEST(VrfCleanUp, TheLastRowGoneAVrfsObjectAndRegistrationGoToo) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->remove("lab", "web", key, "blue");
  EXPECT_FALSE(this->mib("blue"));
  EXPECT_THAT(this->counts->vrfRefCount().find("blue"), IsNull());
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue", "unregister blue"));
}

TYPED_TEST(VrfCleanUp, AVrfComesBackWithItsNextRow) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->remove("lab", "web", key, "blue");
  this->put("lab", "web", key, 2.5F, "blue");
  EXPECT_THAT(this->rows("blue"),
              ElementsAre(testing::Pair(this->rowName("lab", "web", key, 0), 2.5F)));
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue", "unregister blue", "init blue"));
}

TYPED_TEST(VrfCleanUp, TheDefaultVrfKeepsItsObjectAndRegistration) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  const auto object = this->mib();
  this->remove("lab", "web", key);
  EXPECT_EQ(this->mib(), object);
  EXPECT_THAT(this->rows(), IsEmpty());
  EXPECT_THAT(this->counts->vrfRefCount().find("default"), IsNull());
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init default"));
}

TYPED_TEST(VrfCleanUp, ACountAboveZeroEndsTheStepWithAFilterLine) {
  const TraceRecorder trace({kTableSmUnit});
  this->put("lab", "web", this->key("", 1), 1.5F, "blue");
  EXPECT_EQ(trace.count(kCountFilter), 1U);
  EXPECT_EQ(trace.texts().back(), std::string("6: ") + kCountFilter);
}

TYPED_TEST(VrfCleanUp, TheCountIsReadAfterTheRowsStepSoALastRemovalDeletesItTwice) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  const TraceRecorder trace({kTableSmUnit});
  this->remove("lab", "web", key, "blue");
  EXPECT_EQ(trace.count("into( vrfRefCount.vrfRefCount[ vrfName ] ): deleting k1=blue"), 2U);
  EXPECT_EQ(trace.count(kCountFilter), 0U);
}

TYPED_TEST(VrfCleanUp, AWaitingProbeDoesNotCountSoItsEventRemovesAVrfWithoutCountedRows) {
  // An object of an earlier life whose count is gone.
  this->conMonMibRoot->entityIs("blue", "ConnectivityMonitorSnmp::ConnectivityMonitorMib");
  this->put("lab", "web", this->key("eth1", 1), 1.5F, "blue");
  EXPECT_FALSE(this->mib("blue"));
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("unregister blue"));
  EXPECT_THAT(this->backlog("eth1"), testing::SizeIs(1));
}

TYPED_TEST(VrfCleanUp, AWaitingProbesEventLeavesAVrfWithCountedRowsAlone) {
  this->put("lab", "web", this->key("", 1), 1.5F, "blue");
  this->put("lab", "web", this->key("eth1", 2), 1.5F, "blue");
  EXPECT_TRUE(this->mib("blue"));
  EXPECT_EQ(this->count("blue"), 1U);
}

}  // namespace
