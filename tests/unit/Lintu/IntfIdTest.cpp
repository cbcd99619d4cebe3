#include "Lintu/IntfId.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Lintu {
namespace {

TEST(IntfId, TheDefaultIsTheOneOfTheEmptyName) {
  EXPECT_EQ(IntfId(), IntfId(""));
  EXPECT_TRUE(IntfId().stringValue().empty());
}

TEST(IntfId, IsItsName) {
  const IntfId id("Ethernet1");
  EXPECT_EQ(id.stringValue(), "Ethernet1");
  EXPECT_EQ(id, IntfId("Ethernet1"));
  EXPECT_NE(id, IntfId("Ethernet2"));
  EXPECT_LT(id, IntfId("Ethernet2"));
  EXPECT_EQ(id.hash(5), IntfId("Ethernet1").hash(5));
  std::ostringstream out;
  out << id;
  EXPECT_EQ(out.str(), "Ethernet1");
}

}  // namespace
}  // namespace Lintu
