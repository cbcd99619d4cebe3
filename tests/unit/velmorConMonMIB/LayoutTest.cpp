#include <algorithm>

#include "ModuleFixture.h"

using AgentForTest::Oid;
using AgentForTest::Varbind;
using AgentForTest::operator/;
using namespace TableFacts;

namespace {

template <class Table>
class Layout : public EveryTable<Table> {};
TYPED_TEST_SUITE(Layout, AllTables);

TYPED_TEST(Layout, ServesEveryColumnOfARowAndNothingElse) {
  TypeParam::put(this->serve("blue"), "k1");
  const auto found = this->agent_.walk("blue", tableOid<TypeParam>());
  const auto columns = TypeParam::columns();
  ASSERT_EQ(found.size(), columns.size());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    SCOPED_TRACE(columns[i].name);
    EXPECT_EQ(found[i].name, instance<TypeParam>(columns[i].number, "k1"));
    EXPECT_EQ(found[i].type, columns[i].isString() ? ASN_OCTET_STR : ASN_INTEGER);
    EXPECT_EQ(found[i].octets, columns[i].octets);
    EXPECT_EQ(found[i].number, columns[i].number32);
  }
}

TYPED_TEST(Layout, GetAnswersWhatTheWalkShows) {
  TypeParam::put(this->serve("blue"), "k1");
  for (const Varbind& shown : this->agent_.walk("blue", tableOid<TypeParam>())) {
    EXPECT_EQ(this->agent_.getOne("blue", shown.name), shown);
  }
}

TYPED_TEST(Layout, ColumnsThatAreNotServedAreNoSuchObject) {
  TypeParam::put(this->serve("blue"), "k1");
  for (const unsigned column : {0U, 1U, TypeParam::kLastColumn + 1, 255U, 4294967295U}) {
    SCOPED_TRACE(column);
    EXPECT_EQ(this->agent_.getOne("blue", instance<TypeParam>(column, "k1")).type,
              SNMP_NOSUCHOBJECT);
  }
}

TYPED_TEST(Layout, RowsThatAreNotThereAreNoSuchInstance) {
  TypeParam::put(this->serve("blue"), "k1");
  EXPECT_EQ(this->agent_.getOne("blue", instance<TypeParam>(2, "k2")).type, SNMP_NOSUCHINSTANCE);
  EXPECT_EQ(this->agent_.getOne("blue", instance<TypeParam>(2, "k0")).type, SNMP_NOSUCHINSTANCE);
}

TYPED_TEST(Layout, StringsUpTo255OctetsAreServed) {
  const std::string longest(255, 'x');
  TypeParam::put(this->serve("blue"), "k1", {.client = longest});
  const Varbind client = this->agent_.getOne("blue", instance<TypeParam>(2, "k1"));
  EXPECT_EQ(client.type, ASN_OCTET_STR);
  EXPECT_EQ(client.octets, longest);
}

TYPED_TEST(Layout, AStringOf256OctetsIsAGenErr) {
  TypeParam::put(this->serve("blue"), "k1", {.client = std::string(256, 'x')});
  const auto response = this->agent_.get("blue", {instance<TypeParam>(2, "k1")});
  EXPECT_EQ(response.status, SNMP_ERR_GENERR);
  EXPECT_EQ(response.index, 1);
}

TYPED_TEST(Layout, EmptyStringsAreServedAsSuch) {
  TypeParam::put(this->serve("blue"), "k1", {.client = "", .host = ""});
  const Varbind client = this->agent_.getOne("blue", instance<TypeParam>(2, "k1"));
  EXPECT_EQ(client.type, ASN_OCTET_STR);
  EXPECT_EQ(client.octets, "");
}

TYPED_TEST(Layout, NumbersUpTo4294967295KeepTheirValueOnTheWire) {
  TypeParam::put(this->serve("blue"), "k1", {.ifIndex = 4294967295U});
  const auto columns = TypeParam::columns();
  const auto ifIndex = std::ranges::find(columns, "ifIndex", &ColumnFact::field);
  const Varbind found = this->agent_.getOne("blue", instance<TypeParam>(ifIndex->number, "k1"));
  EXPECT_EQ(found.type, ASN_INTEGER);
  EXPECT_EQ(found.number, 4294967295L);
  EXPECT_EQ(found.wire, std::string("\x02\x05\0\xff\xff\xff\xff", 7));
}

class TableLayout : public ModuleFixture {};

TEST_F(TableLayout, AnAddressTypeWithAllBitsIsUnsignedInTheIcmpTableAndMinusOneInTheTcpTable) {
  const RowValues row{.address = {4294967295U, Snmp::Bytes(std::string_view("a"))}};
  Icmp::put(serve("blue"), "k1", row);
  Tcp::put(mib("blue"), "k1", row);
  const Varbind icmp = agent_.getOne("blue", instance<Icmp>(4, "k1"));
  const Varbind tcp = agent_.getOne("blue", instance<Tcp>(4, "k1"));
  EXPECT_EQ(icmp.type, ASN_INTEGER);
  EXPECT_EQ(icmp.number, 4294967295L);
  EXPECT_EQ(icmp.wire, std::string("\x02\x05\0\xff\xff\xff\xff", 7));
  EXPECT_EQ(tcp.type, ASN_INTEGER);
  EXPECT_EQ(tcp.number, -1);
  EXPECT_EQ(tcp.wire, "\x02\x01\xff");
}

TEST_F(TableLayout, PacketLossIsAtMost255) {
  Icmp::put(serve("blue"), "k1", {.packetLoss = 255});
  EXPECT_EQ(agent_.getOne("blue", instance<Icmp>(11, "k1")).number, 255);
}

TEST_F(TableLayout, NegativeMeasurementsKeepTheirSign) {
  Http::put(serve("blue"), "k1", {.time = -0.5F});
  const Varbind value = agent_.getOne("blue", instance<Http>(7, "k1"));
  EXPECT_EQ(value.type, ASN_INTEGER);
  EXPECT_EQ(value.number, -499);
}

TEST_F(TableLayout, AnInstanceIsTheLengthAndTheOctetsOfItsKey) {
  Http::put(serve("blue"), "ab");
  const Oid name{1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, 2, 1, 2, 2, 97, 98};
  EXPECT_EQ(agent_.getOne("blue", name).octets, "lab");
}

TEST_F(TableLayout, RowsComeInTheOrderOfTheirInstances) {
  auto& served = serve("blue");
  for (const std::string_view key : {"b", "aa", "\xff", "a", "", "\x7f"}) {
    Icmp::put(served, key);
  }
  const auto found = agent_.walk("blue", tableOid<Icmp>() / oid{1} / oid{2});
  std::vector<Oid> expected;
  for (const std::string_view key : {"", "a", "b", "\x7f", "\xff", "aa"}) {
    expected.push_back(instance<Icmp>(2, key));
  }
  std::vector<Oid> names;
  for (const Varbind& varbind : found) {
    names.push_back(varbind.name);
  }
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(std::ranges::is_sorted(names));
}

TEST_F(TableLayout, AKeyOf90OctetsIsServed) {
  const std::string key(90, 'k');
  Tcp::put(serve("blue"), key);
  EXPECT_EQ(agent_.getOne("blue", instance<Tcp>(6, key)).number, 443);
  EXPECT_EQ(agent_.next("blue", tableOid<Tcp>()).name, instance<Tcp>(2, key));
}

}  // namespace
