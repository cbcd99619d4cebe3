// What net-snmp's access control is asked of a request's varbinds, and what it need not be asked.
// In one process with it, as only there a request can be kept where an earlier one was.

#include "agent/snmp/AccessChecks.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "agent/snmp/NetSnmp.h"
#include "agent/snmp/SnmpEndpoint.h"

namespace Agent {
namespace {

using Name = std::vector<oid>;

const Name kRoot = {1, 3, 6, 1, 4, 1, 61111, 3, 38};

Name below(const Name& at, std::initializer_list<oid> rest) {
  Name name = at;
  name.insert(name.end(), rest);
  return name;
}

const Name kLatency = below(kRoot, {1, 1, 1, 8});
const Name kSystem = {1, 3, 6, 1, 2, 1, 1};

void view(const std::string& line) {
  std::string directive = "view " + line;
  netsnmp_config(directive.data());
}

/// A request of a user. The view of "reader" is "test"; nobody else has one.
class Request {
 public:
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  explicit Request(std::string user = "reader", std::string context = "")
      : user_(std::move(user)), context_(std::move(context)) {
    pdu_.version = SNMP_VERSION_3;
    pdu_.command = SNMP_MSG_GETBULK;
    pdu_.securityModel = SNMP_SEC_MODEL_USM;
    pdu_.securityLevel = SNMP_SEC_LEVEL_NOAUTH;
    pdu_.securityName = user_.data();
    pdu_.securityNameLen = user_.size();
    pdu_.contextName = context_.data();
    pdu_.contextNameLen = context_.size();
  }

  void commandIs(int command) { pdu_.command = command; }
  /// As net-snmp does when the request comes in.
  int begins() { return check_access(&pdu_); }
  /// As net-snmp does for each varbind.
  int mayRead(const Name& name) {
    Name copy = name;
    std::size_t length = copy.size();
    return in_a_view(copy.data(), &length, &pdu_, ASN_INTEGER);
  }

 private:
  std::string user_;
  std::string context_;
  netsnmp_pdu pdu_{};
};

class AccessChecksTest : public testing::Test {
 protected:
  AccessChecksTest() {
    // Set up once, as net-snmp can be; it serves nobody here.
    static const SnmpEndpoint endpoint({{}, std::nullopt, "public", std::nullopt},
                                       [](const std::string&) {});
    static const bool configured = [] {
      for (std::string line :
           {"group readers usm reader", R"(access readers "" any noauth exact test none none)"}) {
        netsnmp_config(line.data());
      }
      return true;
    }();
    EXPECT_TRUE(configured);
    view("test included .1.3.6.1.4.1.61111.3.38");
  }
  ~AccessChecksTest() override { hideAll(); }

  static void hideAll() { vacm_destroyAllViewEntries(); }

  Request request_;
};

TEST_F(AccessChecksTest, OfASubtreeThatIsSeenWholeNoVarbindIsAsked) {
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  hideAll();
  EXPECT_EQ(request_.mayRead(below(kLatency, {1, 65})), VACM_SUCCESS);
  EXPECT_EQ(request_.mayRead(below(kLatency, {1, 66})), VACM_SUCCESS);
  EXPECT_EQ(request_.mayRead(kRoot), VACM_SUCCESS);
}

TEST_F(AccessChecksTest, WhoMayReadNothingOrElsewhereComesInAllTheSame) {
  hideAll();
  EXPECT_EQ(request_.begins(), VACM_SUCCESS);
  EXPECT_NE(request_.mayRead(below(kLatency, {1})), VACM_SUCCESS);
  view("test included .1.3.6.1.2.1.1");
  EXPECT_EQ(request_.begins(), VACM_SUCCESS);
  EXPECT_NE(request_.mayRead(below(kLatency, {1})), VACM_SUCCESS);
  EXPECT_EQ(request_.mayRead(below(kSystem, {1, 0})), VACM_SUCCESS);
}

TEST_F(AccessChecksTest, AStrangerDoesNotComeIn) {
  Request stranger("stranger");
  EXPECT_EQ(stranger.begins(), VACM_NOGROUP);
  EXPECT_EQ(stranger.mayRead(below(kLatency, {1})), VACM_NOGROUP);
  Request elsewhere("reader", "nocontext");
  EXPECT_EQ(elsewhere.begins(), VACM_NOSUCHCONTEXT);
  EXPECT_EQ(elsewhere.mayRead(below(kLatency, {1})), VACM_NOSUCHCONTEXT);
}

TEST_F(AccessChecksTest, AnotherRequestAtTheSamePlaceIsAskedAnew) {
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  for (oid row = 0; row < 5; ++row) {
    EXPECT_EQ(request_.mayRead(below(kLatency, {row})), VACM_SUCCESS);
  }
  hideAll();
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  for (oid row = 0; row < 5; ++row) {
    EXPECT_NE(request_.mayRead(below(kLatency, {row})), VACM_SUCCESS) << row;
  }
}

TEST_F(AccessChecksTest, ARequestThatIsNotTheLastToHaveBegunIsAskedEachTime) {
  Request other;
  ASSERT_EQ(other.begins(), VACM_SUCCESS);
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  for (oid row = 0; row < 5; ++row) {
    EXPECT_EQ(request_.mayRead(below(kLatency, {row})), VACM_SUCCESS);
    EXPECT_EQ(other.mayRead(below(kLatency, {row})), VACM_SUCCESS);
  }
  hideAll();
  EXPECT_NE(other.mayRead(below(kLatency, {5})), VACM_SUCCESS);
  EXPECT_EQ(request_.mayRead(below(kLatency, {5})), VACM_SUCCESS);
}

TEST_F(AccessChecksTest, OfASubtreeThatIsHiddenInPartEachVarbindIsAsked) {
  view("test excluded .1.3.6.1.4.1.61111.3.38.1.1.1.8");
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  for (oid row = 0; row < 5; ++row) {
    EXPECT_EQ(request_.mayRead(below(kRoot, {1, 1, 1, 7, row})), VACM_SUCCESS) << row;
    EXPECT_EQ(request_.mayRead(below(kLatency, {row})), VACM_NOTINVIEW) << row;
  }
  hideAll();
  EXPECT_NE(request_.mayRead(below(kRoot, {1, 1, 1, 7, 1})), VACM_SUCCESS);
}

TEST_F(AccessChecksTest, AMaskHidesInPartAsWell) {
  // The second row of every column of the first table: the mask leaves the column out.
  view("test excluded .1.3.6.1.4.1.61111.3.38.1.1.1.0.2 ff:f7");
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  for (oid column = 2; column < 5; ++column) {
    EXPECT_EQ(request_.mayRead(below(kRoot, {1, 1, 1, column, 1})), VACM_SUCCESS) << column;
    EXPECT_EQ(request_.mayRead(below(kRoot, {1, 1, 1, column, 2})), VACM_NOTINVIEW) << column;
  }
}

TEST_F(AccessChecksTest, WhatMayBeReadMayNotBeWritten) {
  for (const auto command : {SNMP_MSG_GET, SNMP_MSG_SET, SNMP_MSG_GETNEXT, SNMP_MSG_SET}) {
    request_.commandIs(static_cast<int>(command));
    ASSERT_EQ(request_.begins(), VACM_SUCCESS);
    EXPECT_EQ(request_.mayRead(below(kLatency, {1})) == VACM_SUCCESS, command != SNMP_MSG_SET);
  }
}

TEST_F(AccessChecksTest, WhatIsOutsideOfTheSubtreeIsAsked) {
  view("test included .1.3.6.1.2.1.1");
  ASSERT_EQ(request_.begins(), VACM_SUCCESS);
  for (oid at = 1; at < 5; ++at) {
    EXPECT_EQ(request_.mayRead(below(kLatency, {at})), VACM_SUCCESS);
    EXPECT_EQ(request_.mayRead(below(kSystem, {at, 0})), VACM_SUCCESS);
    for (const Name& outside :
         {Name{1, 3, 6, 1, 4, 1, 61111, 3}, Name{1, 3, 6, 1, 4, 1, 61111, 3, 39},
          Name{1, 3, 6, 1, 4, 1, 61111, 3, 37, at}, Name{1, 3}}) {
      EXPECT_NE(request_.mayRead(outside), VACM_SUCCESS);
    }
  }
  hideAll();
  EXPECT_NE(request_.mayRead(below(kSystem, {1, 0})), VACM_SUCCESS);
}

}  // namespace
}  // namespace Agent
