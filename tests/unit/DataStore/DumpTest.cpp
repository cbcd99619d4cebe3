// The attributes of rows and tables as generic inspection shows them: names and order are fixed.
#include <gtest/gtest.h>

#include "Qiv/TypeInfo.h"
#include "Qiv/TypeRegistry.h"
#include "TablesForTest.h"

namespace ConnectivityMonitorSnmp {
namespace {

TEST(Dump, OfAnIcmpRow) {
  const auto mib = connectivityMonitorMibFactory("blue");
  EXPECT_EQ(Qiv::dump(*IcmpForTest::is(*mib, "labweb1192.0.2.107", {})),
            "indexShortName = labweb1192.0.2.107\n"
            "client = lab\n"
            "host = web1\n"
            "ipAddr = 1:c000020a\n"
            "ipAddrType = 1\n"
            "ipAddrBytes = %C0%00%02%0A\n"
            "ifIndex = 7\n"
            "icmpStats = eth1,192.0.2.10,ok,12.345,0.2,0.5,1\n"
            "latency = 12.345\n"
            "latencyPrecision = 3\n"
            "latencyValue = 12345\n"
            "jitter = 0.2\n"
            "jitterPrecision = 1\n"
            "jitterValue = 2\n"
            "packetLoss = 1\n");
}

TEST(Dump, OfAnHttpRow) {
  const auto mib = connectivityMonitorMibFactory("blue");
  EXPECT_EQ(Qiv::dump(*HttpForTest::is(*mib, "k", {})),
            "indexShortName = k\n"
            "client = lab\n"
            "host = web1\n"
            "url = http://192.0.2.10/\n"
            "ifIndex = 7\n"
            "httpStats = eth1,http://192.0.2.10/,ok,25.7,200\n"
            "responseTime = 25.7\n"
            "responseTimePrecision = 1\n"
            "responseTimeValue = 257\n");
}

TEST(Dump, OfATcpRow) {
  const auto mib = connectivityMonitorMibFactory("blue");
  EXPECT_EQ(Qiv::dump(*TcpForTest::is(*mib, "k", {})),
            "indexShortName = k\n"
            "client = lab\n"
            "host = web1\n"
            "ipAddr = 1:c000020a\n"
            "ipAddrType = 1\n"
            "ipAddrBytes = %C0%00%02%0A\n"
            "ifIndex = 7\n"
            "port = 443\n"
            "tcpStats = eth1,443,192.0.2.10,ok,1.5,0\n"
            "latency = 1.5\n"
            "latencyPrecision = 1\n"
            "latencyValue = 15\n");
}

TEST(Dump, OfAConnectivityMonitorMib) {
  const auto mib = connectivityMonitorMibFactory("blue");
  IcmpForTest::is(*mib, "b", {});
  IcmpForTest::is(*mib, "a", {});
  HttpForTest::is(*mib, "k", {});
  TcpForTest::is(*mib, "k", {});
  EXPECT_EQ(Qiv::dump(*mib),
            "name = blue\n"
            "icmpTable[ a ] = ConnectivityMonitorSnmp::IcmpProbeEntry\n"
            "icmpTable[ b ] = ConnectivityMonitorSnmp::IcmpProbeEntry\n"
            "httpTable[ k ] = ConnectivityMonitorSnmp::HttpProbeEntry\n"
            "tcpTable[ k ] = ConnectivityMonitorSnmp::TcpProbeEntry\n"
            "uniqueKey()\n");
}

TEST(Dump, AConnectivityMonitorMibNamesItsAttributesAlsoWhenItIsEmpty) {
  std::vector<std::string_view> names;
  for (const auto& attribute : connectivityMonitorMibFactory("blue")->typeInfo().attributes()) {
    names.push_back(attribute.name);
  }
  EXPECT_EQ(names, (std::vector<std::string_view>{"name", "icmpTable", "httpTable", "tcpTable",
                                                  "uniqueKey"}));
}

TEST(Dump, RowsAreMadeByTheirTablesOnly) {
  for (const char* type : {IcmpForTest::kTypeName, HttpForTest::kTypeName, TcpForTest::kTypeName}) {
    ASSERT_NE(Qiv::TypeRegistry::instance().type(type), nullptr) << type;
    EXPECT_THROW(static_cast<void>(Qiv::TypeRegistry::instance().create(type, "k")),
                 Qiv::InspectionError);
  }
}

}  // namespace
}  // namespace ConnectivityMonitorSnmp
