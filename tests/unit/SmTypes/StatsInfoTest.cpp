#include <sstream>

#include "Qiv/Errors.h"
#include "TableFacts.h"

namespace {

using HostKey = ConnectivityMonitor::HostNameVrfKey;

template <class Table>
class StatsInfo : public testing::Test {
 protected:
  using Facts = TableFacts<Table>;

  static std::string text(const typename Facts::Info& info) {
    std::ostringstream out;
    out << info;
    return out.str();
  }
};
TYPED_TEST_SUITE(StatsInfo, AllTables, TableNames);

TYPED_TEST(StatsInfo, ADefaultOneIsFalseAndEmpty) {
  const typename TestFixture::Facts::Info info;
  EXPECT_FALSE(info);
  EXPECT_TRUE(info.client().empty());
  EXPECT_EQ(info.hostKey(), HostKey());
  EXPECT_EQ(info.statsKey(), typename TestFixture::Facts::Key());
}

TYPED_TEST(StatsInfo, AnyFieldThatIsSetMakesItTrue) {
  using Info = typename TestFixture::Facts::Info;
  EXPECT_TRUE(Info("lab", {}, {}));
  EXPECT_TRUE(Info("", HostKey("web", ""), {}));
  EXPECT_TRUE(Info("", HostKey("", "blue"), {}));
  EXPECT_TRUE(Info("", {}, TestFixture::Facts::key("eth1", 1)));
  EXPECT_FALSE(Info("", {}, {}));
}

TYPED_TEST(StatsInfo, EqualityTakesEveryField) {
  using Info = typename TestFixture::Facts::Info;
  const auto key = TestFixture::Facts::key("eth1", 1);
  const Info info("lab", HostKey("web", "blue"), key);
  const Info copy = info;
  EXPECT_EQ(info, copy);
  EXPECT_EQ(info, Info("lab", HostKey("web", "blue"), key));
  EXPECT_NE(info, Info("la", HostKey("web", "blue"), key));
  EXPECT_NE(info, Info("lab", HostKey("db", "blue"), key));
  EXPECT_NE(info, Info("lab", HostKey("web", "red"), key));
  EXPECT_NE(info, Info("lab", HostKey("web", "blue"), TestFixture::Facts::key("eth1", 2)));
  EXPECT_NE(info, Info("lab", HostKey("web", "blue"), TestFixture::Facts::key("eth2", 1)));
}

TYPED_TEST(StatsInfo, TheFirstFieldThatDiffersDecidesTheOrder) {
  using Info = typename TestFixture::Facts::Info;
  const auto low = TestFixture::Facts::key("eth1", 1);
  const auto high = TestFixture::Facts::key("eth2", 1);
  const std::vector<Info> ascending = {
      Info("a", HostKey("z", "z"), high), Info("b", HostKey("a", "z"), high),
      Info("b", HostKey("b", "a"), high), Info("b", HostKey("b", "b"), low),
      Info("b", HostKey("b", "b"), high),
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j) << i << ' ' << j;
    }
  }
}

TYPED_TEST(StatsInfo, TheHashMixesSeedClientHostAndKeyInThatOrder) {
  const auto key = TestFixture::Facts::key("eth1", 1);
  const typename TestFixture::Facts::Info info("lab", HostKey("web", "blue"), key);
  const Pomel::String client = "lab";
  const std::uint64_t withClient = client.hash(17);
  const std::uint64_t withHost = Pomel::hashMix(withClient, HostKey("web", "blue").hash(0));
  EXPECT_EQ(info.hash(17), Pomel::hashMix(withHost, key.hash(0)));
  EXPECT_NE(info.hash(17), info.hash(18));
}

TYPED_TEST(StatsInfo, TheTextFormIsTheFieldsInOrderAndReadsBack) {
  const auto key = TestFixture::Facts::key("eth1", 1);
  const typename TestFixture::Facts::Info info("lab", HostKey("web", "blue"), key);
  const std::string text = TestFixture::text(info);
  EXPECT_TRUE(text.starts_with("lab,web,blue,eth1,")) << text;
  EXPECT_EQ(typename TestFixture::Facts::Info(std::string_view(text)), info);
}

TYPED_TEST(StatsInfo, ATextReadsBackWhateverItsFieldsHold) {
  const typename TestFixture::Facts::Info odd("a,b", HostKey("%2c /\n", std::string(3, '\0')),
                                              TestFixture::Facts::key("e,\"", 1));
  EXPECT_EQ(typename TestFixture::Facts::Info(std::string_view(TestFixture::text(odd))), odd);
  const typename TestFixture::Facts::Info none;
  EXPECT_EQ(typename TestFixture::Facts::Info(std::string_view(TestFixture::text(none))), none);
}

TYPED_TEST(StatsInfo, ATextThatIsNoneIsRefused) {
  using Info = typename TestFixture::Facts::Info;
  for (const char* text : {"", "lab", "lab,web", "lab,web,blue", "lab,web,blue,eth1",
                           "lab,web,blue,eth1,a,b,c,d", "lab,web,blue,eth1,%zz", "%"}) {
    EXPECT_THROW(Info(std::string_view(text)), std::invalid_argument) << text;
  }
}

TYPED_TEST(StatsInfo, ATextWithTooLongAVrfNameIsOutOfRange) {
  const std::string text = TestFixture::text(
      {"lab", HostKey("web", std::string(100, 'v')), TestFixture::Facts::key("eth1", 1)});
  EXPECT_NO_THROW(typename TestFixture::Facts::Info(std::string_view(text)));
  std::string longer = text;
  longer.insert(longer.find("vvv"), "v");
  try {
    const typename TestFixture::Facts::Info info{std::string_view(longer)};
    FAIL() << "read as " << TestFixture::text(info);
  } catch (const Qiv::RangeError& error) {
    EXPECT_STREQ(error.what(), "Qiv::String::bytes > maxLength() not allowed");
  }
}

TEST(StatsInfoAccessors, CarryTheTablesNames) {
  using namespace ConnectivityMonitorSnmp;  // NOLINT: the three classes are what is tested.
  const IcmpStatsInfo icmp("lab", {}, {"eth1", probeAddress(1)});
  const HttpStatsInfo http("lab", {}, {"eth1", "http://a/"});
  const TcpStatsInfo tcp("lab", {}, {"eth1", 443, probeAddress(1)});
  EXPECT_EQ(icmp.icmpStatsKey().ipAddr, probeAddress(1));
  EXPECT_EQ(http.httpStatsKey().url, "http://a/");
  EXPECT_EQ(tcp.tcpStatsKey().port, 443);
}

}  // namespace
