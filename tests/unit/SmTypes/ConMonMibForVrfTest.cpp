#include <gtest/gtest.h>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpSmTypes.h"
#include "FakeMibModule.h"
#include "TraceRecorder.h"

namespace {

using ConnectivityMonitorSnmp::cleanUpConMonMibForVrf;
using ConnectivityMonitorSnmp::conMonMibForVrf;
using testing::ElementsAre;
using testing::IsEmpty;

class ConMonMibForVrf : public testing::Test {
 protected:
  ConMonMibForVrf() { FakeMibModule::calls().clear(); }
  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("conMonMib");
};

TEST_F(ConMonMibForVrf, MakesTheObjectRegistersItsContextAndSaysSo) {
  const TraceRecorder trace({kSmTypesUnit});
  const auto mib = conMonMibForVrf("blue", root_);
  ASSERT_TRUE(mib);
  EXPECT_EQ(mib->name(), "blue");
  EXPECT_EQ(root_->entityPtr("blue"), mib);
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue"));
  EXPECT_THAT(trace.texts(), ElementsAre("8: Registering connectivityMonitor mib in context blue"));
}

TEST_F(ConMonMibForVrf, ASecondCallReturnsTheObjectAndRegistersNothing) {
  const auto mib = conMonMibForVrf("blue", root_);
  const TraceRecorder trace({kSmTypesUnit});
  EXPECT_EQ(conMonMibForVrf("blue", root_), mib);
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue"));
  EXPECT_THAT(trace.texts(), IsEmpty());
}

TEST_F(ConMonMibForVrf, TheContextIsTheVrfsNameAsItStandsAlsoForTheDefaultVrf) {
  conMonMibForVrf("default", root_);
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init default"));
}

TEST_F(ConMonMibForVrf, SomethingElseOfTheNameIsNoObject) {
  root_->dirIs("blue");
  EXPECT_FALSE(conMonMibForVrf("blue", root_));
  EXPECT_THAT(FakeMibModule::calls(), IsEmpty());
}

TEST_F(ConMonMibForVrf, CleaningUpUnregistersTheContextAndDeletesTheObject) {
  conMonMibForVrf("blue", root_);
  conMonMibForVrf("red", root_);
  cleanUpConMonMibForVrf("blue", root_);
  EXPECT_FALSE(root_->entityPtr("blue"));
  EXPECT_TRUE(root_->entityPtr("red"));
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init blue", "init red", "unregister blue"));
}

TEST_F(ConMonMibForVrf, TheContextIsUnregisteredWhileTheObjectIsStillThere) {
  conMonMibForVrf("blue", root_);
  std::size_t callsWhenGone = 0;
  struct Listener final : Qiv::Listener<Pomel::String> {
    explicit Listener(Qiv::Publisher<Pomel::String>& publisher, std::size_t& calls)
        : calls_(calls) {
      link(publisher);
    }
    void notify(const Pomel::String& /*name*/) override { calls_ = FakeMibModule::calls().size(); }
    std::size_t& calls_;
  };
  const Listener listener(root_->entityPtr().changes(), callsWhenGone);
  cleanUpConMonMibForVrf("blue", root_);
  EXPECT_EQ(callsWhenGone, 2U);
}

TEST_F(ConMonMibForVrf, CleaningUpTheDefaultVrfLeavesItsObjectAndRegistration) {
  const auto mib = conMonMibForVrf("default", root_);
  cleanUpConMonMibForVrf("default", root_);
  EXPECT_EQ(root_->entityPtr("default"), mib);
  EXPECT_THAT(FakeMibModule::calls(), ElementsAre("init default"));
}

TEST_F(ConMonMibForVrf, CleaningUpAnUnknownVrfDoesNothing) {
  cleanUpConMonMibForVrf("blue", root_);
  EXPECT_THAT(FakeMibModule::calls(), IsEmpty());
  EXPECT_TRUE(root_->entityPtr().empty());
}

}  // namespace
