#include <gtest/gtest.h>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpTableSm.h"
#include "TableFacts.h"

namespace {

using ConnectivityMonitorSnmp::PlyxCode::plyxPrint;
namespace Cmon = ConnectivityMonitor;
namespace Cms = ConnectivityMonitorSnmp;

TEST(PlyxPrint, AStringIsItselfUnquoted) {
  EXPECT_EQ(plyxPrint(Pomel::String("a b\"c,%")), "a b\"c,%");
  EXPECT_EQ(plyxPrint(Pomel::String()), "");
  EXPECT_EQ(plyxPrint(Snmp::String("labweb10.0.0.17")), "labweb10.0.0.17");
}

TEST(PlyxPrint, ANumberIsDecimal) {
  EXPECT_EQ(plyxPrint(std::uint32_t{0}), "0");
  EXPECT_EQ(plyxPrint(std::uint32_t{4294967295U}), "4294967295");
}

TEST(PlyxPrint, AnInterfaceIsItsName) {
  EXPECT_EQ(plyxPrint(Lintu::IntfId("eth1/2.3")), "eth1/2.3");
  EXPECT_EQ(plyxPrint(Lintu::IntfId()), "");
}

TEST(PlyxPrint, KeysAreTheirFieldsInOrder) {
  EXPECT_EQ(plyxPrint(Cmon::HostNameVrfKey("web", "blue")), "web,blue");
  EXPECT_EQ(plyxPrint(Cmon::IcmpStatsKey{"eth1", probeAddress(1)}), "eth1,10.0.0.1");
  EXPECT_EQ(plyxPrint(Cmon::HttpStatsKey{"eth1", "http://a/"}), "eth1,http://a/");
  EXPECT_EQ(plyxPrint(Cmon::TcpStatsKey{"eth1", 443, probeAddress(1)}), "eth1,443,10.0.0.1");
  EXPECT_EQ(plyxPrint(Cms::IcmpStatsInfo("lab", Cmon::HostNameVrfKey("web", "blue"),
                                         Cmon::IcmpStatsKey{"eth1", probeAddress(1)})),
            "lab,web,blue,eth1,10.0.0.1");
}

TEST(PlyxPrint, AnOptionalNumberSaysWhetherItIsSet) {
  EXPECT_EQ(plyxPrint(Qiv::Optional<std::uint32_t>()), "None");
  EXPECT_EQ(plyxPrint(Qiv::Optional<std::uint32_t>(7)), "Optional( 7 )");
  EXPECT_EQ(plyxPrint(Qiv::Optional<std::uint32_t>(0)), "Optional( 0 )");
}

TEST(PlyxPrint, ATupleIsItsElementsBetweenBlanks) {
  EXPECT_EQ(plyxPrint(std::make_tuple(Snmp::String("a"), Pomel::String("b"), std::uint32_t{3})),
            "Tuple( a, b, 3 )");
}

TEST(PlyxPrint, TheThreeRowsAreTuples) {
  const auto icmp = Cms::IcmpTable::rowValue(
      "i", TableFacts<Cms::IcmpTable>::stats({"eth1", probeAddress(1)}, 1.5F), "lab", "web",
      {"eth1", probeAddress(1)}, 7);
  EXPECT_EQ(plyxPrint(icmp), "Tuple( i, eth1,10.0.0.1,,1.5,0,0,0, lab, web, 1:0a000001, 7 )");
  const auto http =
      Cms::HttpTable::rowValue("i", TableFacts<Cms::HttpTable>::stats({"eth1", "http://a/"}, 1.5F),
                               "lab", "web", {"eth1", "http://a/"}, 7);
  EXPECT_EQ(plyxPrint(http), "Tuple( i, eth1,http://a/,,1.5,0, lab, web, http://a/, 7 )");
  const auto tcp = Cms::TcpTable::rowValue(
      "i", TableFacts<Cms::TcpTable>::stats({"eth1", 443, probeAddress(1)}, 1.5F), "lab", "web",
      {"eth1", 443, probeAddress(1)}, 7);
  EXPECT_EQ(plyxPrint(tcp), "Tuple( i, eth1,443,10.0.0.1,,1.5,0, lab, web, 1:0a000001, 7, 443 )");
}

}  // namespace
