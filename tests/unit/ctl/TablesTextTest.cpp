#include "ctl/commands/TablesText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace Ctl {
namespace {

/// The line below the titles.
std::string line(std::string_view kind, const char* row) {
  TextTable table = tableOf(kind);
  table.add(cellsOf(kind, Json::parse(row)));
  const std::string text = table.text({});
  return text.substr(text.find('\n') + 1);
}

TEST(CtlTables, AnIcmpRowHasMillisecondsAndPercent) {
  EXPECT_EQ(line("icmp", R"({"client":"lab","host":"web","address":"192.0.2.1","interface":"eth1",
      "ifIndex":7,"latency":12.345,"jitter":0.2,"packetLoss":3,"result":"well"})"),
            "lab\tweb\t192.0.2.1\teth1\t7\t12.345 ms\t0.200 ms\t3 %\twell\n");
}

TEST(CtlTables, AnHttpRowHasItsUrl) {
  EXPECT_EQ(line("http", R"({"client":"lab","host":"web","url":"http://h/","interface":"",
      "ifIndex":0,"responseTime":25.7,"result":"well"})"),
            "lab\tweb\thttp://h/\t\t0\t25.700 ms\twell\n");
}

TEST(CtlTables, ATcpRowHasItsPort) {
  EXPECT_EQ(line("tcp", R"({"client":"lab","host":"db","address":"2001:db8::1","port":5432,
      "interface":"eth1","ifIndex":7,"latency":1.5,"result":"well"})"),
            "lab\tdb\t2001:db8::1\t5432\teth1\t7\t1.500 ms\twell\n");
}

TEST(CtlTables, ATimeOfZeroIsNoAnswer) {
  EXPECT_EQ(line("icmp", R"({"client":"c","host":"h","address":"192.0.2.1","interface":"",
      "ifIndex":0,"latency":0.0,"jitter":0.0,"packetLoss":100,"result":"well"})"),
            "c\th\t192.0.2.1\t\t0\tno answer\t-\t100 %\twell\n");
  EXPECT_EQ(line("http", R"({"client":"c","host":"h","url":"u","interface":"","ifIndex":0,
      "responseTime":0,"result":"well"})"),
            "c\th\tu\t\t0\tno answer\twell\n");
}

TEST(CtlTables, WhatIsNoNumberIsShownAsSuch) {
  EXPECT_EQ(line("tcp", R"({"client":"c","host":"h","address":"192.0.2.1","port":1,
      "interface":"","ifIndex":0,"latency":null,"result":"well"})"),
            "c\th\t192.0.2.1\t1\t\t0\tnot a number\twell\n");
}

TEST(CtlTables, NamesCannotAct) {
  EXPECT_EQ(line("http", R"({"client":"\u001b[2J","host":"a\tb","url":"u\n","interface":"",
      "ifIndex":0,"responseTime":1,"result":"well"})"),
            "\\x1b[2J\ta\\x09b\tu\\x0a\t\t0\t1.000 ms\twell\n");
}

}  // namespace
}  // namespace Ctl
