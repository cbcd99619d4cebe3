#include "TableSmWorld.h"

/// Every text with which the state machines end the process, whole.

namespace {

template <class Table>
class TableSmDeathTest : public TableSmTest<Table> {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void makeWithout(std::string_view argument) {
    const auto null = [&](auto given, std::string_view name) {
      return name == argument ? nullptr : given;
    };
    this->sm = TableFacts<Table>::kFactory(
        null(Qiv::Dir::PtrConst(this->clientDir), "clientDir"),
        null(this->conMonMibRoot, "conMonMibRoot"),
        null(IntfSnmp::IfMib::PtrConst(this->ifMib), "ifMib"), null(this->counts, "vrfRefCount"),
        {this->scheduler, 0, TableSmDeathTest::Mode::kAsynchronous});
  }
  static std::string missed(const std::string& what) {
    return "^We missed notifications that happened to " + what +
           " before the enclosing entity got deleted\n";
  }
};
TYPED_TEST_SUITE(TableSmDeathTest, AllTables, TableNames);

TYPED_TEST(TableSmDeathTest, ANullArgumentIsNamed) {
  for (const char* argument : {"clientDir", "vrfRefCount", "ifMib", "conMonMibRoot"}) {
    EXPECT_DEATH(this->makeWithout(argument),
                 std::string("^") + argument +
                     "\\(\\) && \"Pointer SM args cannot be null unless they are marked "
                     "Optional\"\n");
  }
}

TYPED_TEST(TableSmDeathTest, ARemovedIndexIsAPromiseBroken) {
  this->ifIndexIs("eth1", 7);
  this->start();
  EXPECT_DEATH(this->ifMib->ifIndexByIntfIdDel(Lintu::IntfId("eth1")),
               "^eth1 Internal error, deletion doesn't happen\n");
}

TYPED_TEST(TableSmDeathTest, DeletingAllTellsThatTheIndexesAreGoneWhichIsTheSame) {
  this->ifIndexIs("eth1", 7);
  this->start();
  EXPECT_DEATH(this->sm->doDeleteAll(), "^eth1 Internal error, deletion doesn't happen\n");
}

TYPED_TEST(TableSmDeathTest, ARemovalThatNoCountCoversEndsTheProcess) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->start();
  this->counts->vrfRefCountDel("blue");
  EXPECT_DEATH(this->remove("lab", "web", key, "blue"), "^Cannot decrement a refcount of zero\n");
}

TYPED_TEST(TableSmDeathTest, ACountThatGoesWhileTheVrfsObjectIsMadeIsNotTakenBelowZero) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F, "blue");
  this->start();
  this->conMonMibRoot->entityDel("blue");  // So that the removal makes another.
  const Watcher<Pomel::String> watcher(this->conMonMibRoot->entityPtr().changes(),
                                       [&](const auto&) { this->counts->vrfRefCountDel("blue"); });
  EXPECT_DEATH(this->remove("lab", "web", key, "blue"), "^Cannot decrement a refcount of zero\n");
}

TYPED_TEST(TableSmDeathTest, ARemovalBeforeTheSecondPassCameByIsNotCovered) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->sm = this->made();
  this->scheduler->runSlice();
  ASSERT_TRUE(this->sm->initialScanDone());
  EXPECT_DEATH(this->remove("lab", "web", this->key("", 1)),
               "^Cannot decrement a refcount of zero\n");
}

TYPED_TEST(TableSmDeathTest, AClientThatTurnsIntoSomethingElseEndsTheProcess) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  EXPECT_DEATH(this->clientDir->entityIs("lab", Qiv::make<Qiv::Dir>("lab")),
               "^assertion \"dynamic_cast< StatusDir >\\( clientDir.entityPtr\\( client \\) \\)\" "
               "failed\n");
}

TYPED_TEST(TableSmDeathTest, ARecordThatChangedUnheardCannotBeDeleted) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  this->sm->hasNotificationActiveIs(false);
  this->put("lab", "web", this->key("", 1), 2.5F);
  this->sm->hasNotificationActiveIs(true);
  EXPECT_DEATH(this->clientDir->entityDel("lab"),
               this->missed(std::string(TestFixture::Facts::kLower) + "Stats"));
  EXPECT_DEATH(
      this->statusDir("lab")->hostStatusDel(typename TestFixture::HostKey("web", "default")),
      this->missed(std::string(TestFixture::Facts::kLower) + "Stats"));
}

TYPED_TEST(TableSmDeathTest, IndexesThatChangedUnheardCannotBeDeleted) {
  this->ifIndexIs("eth1", 7);
  this->start();
  this->sm->hasNotificationActiveIs(false);
  this->ifIndexIs("eth1", 8);
  EXPECT_DEATH(this->sm->doDeleteAll(), this->missed("ifIndexByIntfId"));
}

TYPED_TEST(TableSmDeathTest, AMachineWithoutItsCollectionDiesAtItsFirstScan) {
  using ConnectivityMonitorSnmp::Shells;
  const char* const text =
      "^Sm args can only be null if marked as Optional in the SM type declaration\n";
  this->start();
  const auto ifMibSm = Qiv::make<typename Shells<TypeParam>::IfMibSm>(*this->sm, nullptr);
  EXPECT_DEATH(ifMibSm->doInputScan0(), text);
  const auto clientDirSm = Qiv::make<typename Shells<TypeParam>::ClientDirSm>(*this->sm, nullptr);
  EXPECT_DEATH(clientDirSm->doInputScan1(), text);
  const auto entityPtrSm =
      Qiv::make<typename Shells<TypeParam>::EntityPtrSm>(*clientDirSm, "lab", nullptr);
  EXPECT_DEATH(entityPtrSm->doInputScan1(), text);
  const auto hostStatusSm =
      Qiv::make<typename Shells<TypeParam>::HostStatusSm>(*entityPtrSm, nullptr);
  EXPECT_DEATH(hostStatusSm->doInputScan1(), text);
}

}  // namespace
