#include <gtest/gtest.h>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpSmTypes.h"
#include "Qiv/TypeInfo.h"

namespace {

using ConnectivityMonitorSnmp::VrfRefCount;
using ConnectivityMonitorSnmp::vrfRefCountFactory;

TEST(VrfRefCountTest, IsMadeEmpty) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  EXPECT_TRUE(counts->vrfRefCount().empty());
  EXPECT_EQ(counts->vrfRefCount("blue"), 0U);
}

TEST(VrfRefCountTest, SettingInsertsOrOverwrites) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 3);
  counts->vrfRefCountIs("blue", 5);
  EXPECT_EQ(counts->vrfRefCount("blue"), 5U);
  EXPECT_EQ(counts->vrfRefCount().size(), 1U);
}

TEST(VrfRefCountTest, ZeroIsStoredAsAnyOtherValue) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 0);
  ASSERT_NE(counts->vrfRefCount().find("blue"), nullptr);
  EXPECT_EQ(*counts->vrfRefCount().find("blue"), 0U);
}

TEST(VrfRefCountTest, TheWholeRangeIsKept) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 4294967295U);
  EXPECT_EQ(counts->vrfRefCount("blue"), 4294967295U);
}

TEST(VrfRefCountTest, DeletingReturnsWhatWasThere) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 5);
  EXPECT_EQ(counts->vrfRefCountDel("blue"), 5U);
  EXPECT_EQ(counts->vrfRefCountDel("blue"), 0U);
  EXPECT_EQ(counts->vrfRefCountDel("red"), 0U);
}

TEST(VrfRefCountTest, DeletingByTheEntrysOwnKeyIsSafe) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 5);
  EXPECT_EQ(counts->vrfRefCountDel(counts->vrfRefCount().begin()->key), 5U);
  EXPECT_TRUE(counts->vrfRefCount().empty());
}

TEST(VrfRefCountTest, DeletingAllEmptiesIt) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 5);
  counts->vrfRefCountIs("red", 6);
  counts->vrfRefCountDelAll();
  EXPECT_TRUE(counts->vrfRefCount().empty());
}

TEST(VrfRefCountTest, GenericCodeSeesTheCounts) {
  const VrfRefCount::Ptr counts = vrfRefCountFactory();
  counts->vrfRefCountIs("blue", 5);
  EXPECT_EQ(Qiv::dump(*counts), "vrfRefCount[ blue ] = 5\n");
}

}  // namespace
