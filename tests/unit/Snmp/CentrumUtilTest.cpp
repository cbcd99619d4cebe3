#include "Snmp/CentrumUtil.h"

#include <gtest/gtest.h>

namespace {

class CentrumUtil : public testing::Test {
 protected:
  CentrumUtil() { Snmp::CentrumUtil::agentRootIs(root_); }
  ~CentrumUtil() override { Snmp::CentrumUtil::agentRootIs(nullptr); }

  Qiv::Dir::Ptr root_ = Qiv::make<Qiv::Dir>("root");
};

TEST_F(CentrumUtil, PathsAreRelativeToTheAgentsRoot) {
  const auto made = Qiv::dirAt(root_, "snmp/deep");
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative("snmp/deep"), made);
}

TEST_F(CentrumUtil, PathsAreQuoted) {
  const auto made = root_->dirIs("a/b");
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative("a%2Fb"), made);
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative("a/b"), nullptr);
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative("a%2"), nullptr);
}

TEST_F(CentrumUtil, WhatIsNotThereIsNull) {
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative("snmp"), nullptr);
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative(""), nullptr);
}

TEST_F(CentrumUtil, WithoutARootNothingIsThere) {
  const auto made = root_->dirIs("snmp");
  Snmp::CentrumUtil::agentRootIs(nullptr);
  EXPECT_EQ(Snmp::CentrumUtil::getEntityRelative("snmp"), nullptr);
  EXPECT_EQ(root_->refs(), 1U);
}

TEST_F(CentrumUtil, TheConfigurationIsOne) {
  const auto config = Snmp::CentrumUtil::getSnmpConfig();
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(config, Snmp::CentrumUtil::getSnmpConfig());
}

}  // namespace
