#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmp.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "Qiv/Dir.h"
#include "Qiv/TypeInfo.h"
#include "Snmp/HashShortenedIdentifier.h"
#include "TablesForTest.h"

namespace ConnectivityMonitorSnmp {
namespace {

std::string repeated(std::size_t count, char octet) {
  std::string text;
  text.append(count, octet);
  return text;
}

TEST(ConnectivityMonitorMib, IsBornEmptyWithItsName) {
  const auto mib = connectivityMonitorMibFactory("blue");
  EXPECT_EQ(mib->name(), "blue");
  EXPECT_TRUE(mib->icmpTable().empty());
  EXPECT_TRUE(mib->httpTable().empty());
  EXPECT_TRUE(mib->tcpTable().empty());
  EXPECT_FALSE(mib->beingDestroyed());
  EXPECT_EQ(ConnectivityMonitorMibIs("red")->name(), "red");
}

TEST(ConnectivityMonitorMib, IsMadeByItsTypesNameUnderItsPath) {
  const auto root = Qiv::make<Qiv::Dir>("root");
  const auto dir = dirAt(root, "snmp/connectivityMonitor/conMonMib");
  const auto made = dir->entityIs("blue", "ConnectivityMonitorSnmp::ConnectivityMonitorMib");
  const auto mib = Qiv::ptrCast<ConnectivityMonitorMib>(made);
  ASSERT_NE(mib, nullptr);
  EXPECT_EQ(mib->name(), "blue");
  EXPECT_EQ(entityAt(*root, "snmp/connectivityMonitor/conMonMib/blue"), mib);
}

TEST(ConnectivityMonitorMib, DestructionPublishesEveryDeletionIcmpThenHttpThenTcpInKeyOrder) {
  struct Mourner {
    explicit Mourner(ConnectivityMonitorMib& dying) : mib(dying) {}
    void icmp(const Snmp::String& key) { note("icmp", key, mib.icmpTable().size()); }
    void http(const Snmp::String& key) { note("http", key, mib.httpTable().size()); }
    void tcp(const Snmp::String& key) { note("tcp", key, mib.tcpTable().size()); }
    void note(const char* table, const Snmp::String& key, std::size_t left) {
      // As a reactor does that keeps what it handles alive.
      const ConnectivityMonitorMib::Ptr kept(&mib);
      std::ostringstream text;
      text << table << ' ' << key << ' ' << left << (kept->beingDestroyed() ? " dying" : "");
      told.push_back(text.str());
    }
    ConnectivityMonitorMib& mib;
    std::vector<std::string> told;
    Qiv::Subscription<&Mourner::icmp, Snmp::String> onIcmp{*this, mib.icmpTable().changes()};
    Qiv::Subscription<&Mourner::http, Snmp::String> onHttp{*this, mib.httpTable().changes()};
    Qiv::Subscription<&Mourner::tcp, Snmp::String> onTcp{*this, mib.tcpTable().changes()};
  };
  auto mib = connectivityMonitorMibFactory("blue");
  for (const char* key : {"b", "a"}) {
    TcpForTest::is(*mib, key, {});
    HttpForTest::is(*mib, key, {});
    IcmpForTest::is(*mib, key, {});
  }
  const Mourner mourner(*mib);
  mib = nullptr;
  EXPECT_EQ(mourner.told,
            (std::vector<std::string>{"icmp a 1 dying", "icmp b 0 dying", "http a 1 dying",
                                      "http b 0 dying", "tcp a 1 dying", "tcp b 0 dying"}));
}

TEST(ConnectivityMonitorMib, AReaderOfARowMayOutliveTheObject) {
  auto mib = connectivityMonitorMibFactory("blue");
  const auto row = TcpForTest::is(*mib, "k", {});
  mib = nullptr;
  EXPECT_EQ(row->refs(), 1U);
  EXPECT_EQ(row->port(), 443U);
}

TEST(UniqueKey, ANameOf90BytesStaysAndOneOf91IsShortened) {
  EXPECT_EQ(ConnectivityMonitorMib::uniqueKey("labweb1192.0.2.107"), "labweb1192.0.2.107");
  EXPECT_EQ(ConnectivityMonitorMib::uniqueKey(repeated(90, 'n')).view(), repeated(90, 'n'));
  const Snmp::String shortened = ConnectivityMonitorMib::uniqueKey(repeated(91, 'n'));
  EXPECT_EQ(shortened.size(), 90U);
  EXPECT_EQ(shortened.view().substr(0, 26), repeated(25, 'n') + "#");
}

TEST(UniqueKey, NamesThatShareTheirFirst90BytesGetDifferentKeys) {
  const std::string shared = repeated(90, 'n');
  const Snmp::String one = ConnectivityMonitorMib::uniqueKey(shared + "1");
  const Snmp::String two = ConnectivityMonitorMib::uniqueKey(shared + "2");
  EXPECT_FALSE(one == two);
  EXPECT_FALSE(one == ConnectivityMonitorMib::uniqueKey(shared));
  EXPECT_EQ(one, ConnectivityMonitorMib::uniqueKey(shared + "1"));
}

TEST(UniqueKey, AKeyNeverMeetsANameThatSpellsIt) {
  const Snmp::String key = ConnectivityMonitorMib::uniqueKey(repeated(91, 'n'));
  EXPECT_FALSE(ConnectivityMonitorMib::uniqueKey(key.view()) == key);
}

TEST(UniqueKey, TheGeneratorIsTheProcessesMadeWhenItIsMissing) {
  Qiv::Entity::singletonDel(Snmp::HashShortenedIdentifier::kTypeName);
  EXPECT_EQ(ConnectivityMonitorMib::uniqueKey("name"), "name");
  EXPECT_TRUE(Qiv::Entity::singletonExists(Snmp::HashShortenedIdentifier::kTypeName));
}

TEST(UniqueKey, IsAFunctionAttribute) {
  const auto mib = connectivityMonitorMibFactory("blue");
  const std::array<Qiv::Value, 1> name = {Pomel::String("labweb1")};
  EXPECT_EQ(Qiv::attributeCall(*mib, "uniqueKey", name), Qiv::Value(Pomel::String("labweb1")));
}

}  // namespace
}  // namespace ConnectivityMonitorSnmp
