#include "ConnectivityMonitor/Keys.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "Qiv/Errors.h"

namespace ConnectivityMonitor {
namespace {

using Lintu::IpGenAddr;

template <class Key>
std::string text(const Key& key) {
  std::ostringstream out;
  out << key;
  return out.str();
}

template <class Key>
std::string readError(const std::vector<std::string>& fields) {
  Key key;
  try {
    readFields(fields, key);
  } catch (const std::invalid_argument& error) {
    EXPECT_EQ(key, Key());
    return error.what();
  }
  return "no error";
}

TEST(Keys, DefaultKeysAreEmpty) {
  const HostNameVrfKey host;
  EXPECT_EQ(host.hostName(), "");
  EXPECT_EQ(host.vrfName(), "");
  const IcmpStatsKey icmp;
  EXPECT_EQ(icmp.intfName, "");
  EXPECT_EQ(icmp.ipAddr, IpGenAddr());
  const HttpStatsKey http;
  EXPECT_EQ(http.intfName, "");
  EXPECT_EQ(http.url, "");
  const TcpStatsKey tcp;
  EXPECT_EQ(tcp.intfName, "");
  EXPECT_EQ(tcp.port, 0);
  EXPECT_EQ(tcp.ipAddr, IpGenAddr());
}

TEST(Keys, AVrfNameOf100BytesIsAcceptedAndOneOf101IsARangeError) {
  const HostNameVrfKey longest("host", std::string(100, 'v'));
  EXPECT_EQ(longest.vrfName().size(), 100U);
  try {
    const HostNameVrfKey tooLong("host", std::string(101, 'v'));
    FAIL();
  } catch (const Qiv::RangeError& error) {
    EXPECT_STREQ(error.what(), "Qiv::String::bytes > maxLength() not allowed");
  }
}

TEST(Keys, TheHostsNameHasNoBound) {
  EXPECT_EQ(HostNameVrfKey(std::string(1000, 'h'), "v").hostName().size(), 1000U);
}

TEST(Keys, EveryFieldCountsInEqualityOrderAndHash) {
  const IpGenAddr one = IpGenAddr::ipv4({192, 0, 2, 1});
  const IpGenAddr two = IpGenAddr::ipv4({192, 0, 2, 2});
  const auto expectApart = [](const auto& a, const auto& b) {
    EXPECT_NE(a, b);
    EXPECT_NE(a.hash(0), b.hash(0));
    EXPECT_LT(a, b);
    const auto copy = a;
    EXPECT_EQ(a, copy);
    EXPECT_EQ(a.hash(0), copy.hash(0));
  };
  expectApart(HostNameVrfKey("a", "v"), HostNameVrfKey("b", "v"));
  expectApart(HostNameVrfKey("a", "v"), HostNameVrfKey("a", "w"));
  expectApart(IcmpStatsKey{"e1", one}, IcmpStatsKey{"e2", one});
  expectApart(IcmpStatsKey{"e1", one}, IcmpStatsKey{"e1", two});
  expectApart(HttpStatsKey{"e1", "u"}, HttpStatsKey{"e2", "u"});
  expectApart(HttpStatsKey{"e1", "u"}, HttpStatsKey{"e1", "v"});
  expectApart(TcpStatsKey{"e1", 80, one}, TcpStatsKey{"e2", 80, one});
  expectApart(TcpStatsKey{"e1", 80, one}, TcpStatsKey{"e1", 81, one});
  expectApart(TcpStatsKey{"e1", 80, one}, TcpStatsKey{"e1", 80, two});
}

TEST(Keys, FieldsDoNotRunIntoEachOther) {
  EXPECT_NE(HostNameVrfKey("ab", "c"), HostNameVrfKey("a", "bc"));
  EXPECT_NE(HostNameVrfKey("ab", "c").hash(0), HostNameVrfKey("a", "bc").hash(0));
  EXPECT_NE(HttpStatsKey({"ab", "c"}).hash(0), HttpStatsKey({"a", "bc"}).hash(0));
}

TEST(Keys, TextFormsAreTheFieldsInOrder) {
  EXPECT_EQ(text(HostNameVrfKey("web1", "blue")), "web1,blue");
  EXPECT_EQ(text(IcmpStatsKey{"eth1", IpGenAddr::ipv4({192, 0, 2, 1})}), "eth1,192.0.2.1");
  EXPECT_EQ(text(HttpStatsKey{"eth1", "http://192.0.2.1/a,b"}), "eth1,http://192.0.2.1/a%2Cb");
  EXPECT_EQ(text(TcpStatsKey{"eth1", 443, *IpGenAddr::parse("2001:db8::1")}),
            "eth1,443,2001:db8::1");
}

TEST(Keys, TheTextFormOfADefaultKeyIsItsSeparators) {
  EXPECT_EQ(text(HostNameVrfKey()), ",");
  EXPECT_EQ(text(IcmpStatsKey()), ",");
  EXPECT_EQ(text(HttpStatsKey()), ",");
  EXPECT_EQ(text(TcpStatsKey()), ",0,");
}

TEST(Keys, AWrongNumberOfFieldsIsRefused) {
  EXPECT_EQ(readError<HostNameVrfKey>({"a"}), "wrong number of fields");
  EXPECT_EQ(readError<IcmpStatsKey>({"a", "", "b"}), "wrong number of fields");
  EXPECT_EQ(readError<HttpStatsKey>({}), "wrong number of fields");
  EXPECT_EQ(readError<TcpStatsKey>({"a", "1"}), "wrong number of fields");
}

TEST(Keys, AFieldThatDoesNotFitIsRefusedByItsName) {
  EXPECT_EQ(readError<IcmpStatsKey>({"eth1", "host"}), "ipAddr: not an IPv4 or IPv6 address");
  EXPECT_EQ(readError<TcpStatsKey>({"eth1", "80", "1.2.3"}), "ipAddr: not an IPv4 or IPv6 address");
  for (const char* port : {"", "65536", "-1", "+1", "80x", " 80", "0x50"}) {
    EXPECT_EQ(readError<TcpStatsKey>({"eth1", port, ""}), "port: not a number from 0 to 65535")
        << port;
  }
}

TEST(Keys, ThePortsOfTheWholeRangeAreRead) {
  TcpStatsKey key;
  readFields(std::vector<std::string>{"eth1", "65535", "192.0.2.1"}, key);
  EXPECT_EQ(key, (TcpStatsKey{"eth1", 65535, IpGenAddr::ipv4({192, 0, 2, 1})}));
  readFields(std::vector<std::string>{"", "0", ""}, key);
  EXPECT_EQ(key, TcpStatsKey());
}

TEST(Keys, AVrfNameThatIsTooLongIsARangeErrorWhenReadToo) {
  HostNameVrfKey key("kept", "kept");
  EXPECT_THROW(readFields(std::vector<std::string>{"host", std::string(101, 'v')}, key),
               Qiv::RangeError);
  EXPECT_EQ(key, HostNameVrfKey("kept", "kept"));
}

}  // namespace
}  // namespace ConnectivityMonitor
