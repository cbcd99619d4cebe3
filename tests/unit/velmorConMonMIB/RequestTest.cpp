#include <algorithm>
#include <random>

#include "ModuleFixture.h"

using AgentForTest::Oid;
using AgentForTest::Response;
using AgentForTest::Varbind;
using AgentForTest::operator/;
using testing::ElementsAre;
using namespace TableFacts;

namespace {

const Oid kAllTables{1, 3, 6, 1, 4, 1, 61111, 3, 38, 1};

std::vector<Oid> namesOf(const std::vector<Varbind>& varbinds) {
  std::vector<Oid> names;
  for (const Varbind& varbind : varbinds) {
    names.push_back(varbind.name);
  }
  return names;
}

template <class Table>
class Request : public EveryTable<Table> {};
TYPED_TEST_SUITE(Request, AllTables);

TYPED_TEST(Request, TwoColumnsOfARowAreAnsweredTogether) {
  TypeParam::put(this->serve("blue"), "k1");
  const Response response =
      this->agent_.get("blue", {instance<TypeParam>(2, "k1"), instance<TypeParam>(3, "k1")});
  EXPECT_EQ(response.status, SNMP_ERR_NOERROR);
  EXPECT_EQ(response.varbinds.at(0).octets, "lab");
  EXPECT_EQ(response.varbinds.at(1).octets, "web1");
}

TYPED_TEST(Request, AColumnBeyondTheLastIsNoSuchObjectBesideAnAnsweredOne) {
  TypeParam::put(this->serve("blue"), "k1");
  const Response response = this->agent_.get(
      "blue", {instance<TypeParam>(2, "k1"), instance<TypeParam>(TypeParam::kLastColumn + 1, "k1"),
               instance<TypeParam>(3, "k1")});
  EXPECT_EQ(response.status, SNMP_ERR_NOERROR);
  EXPECT_EQ(response.varbinds.at(0).octets, "lab");
  EXPECT_EQ(response.varbinds.at(1).type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(response.varbinds.at(2).octets, "web1");
}

TYPED_TEST(Request, AStringThatIsTooLongIsAGenErrOfItsOwnVarbind) {
  auto& mib = this->serve("blue");
  TypeParam::put(mib, "k1");
  TypeParam::put(mib, "k2", {.client = std::string(300, 'x')});
  const Response response =
      this->agent_.get("blue", {instance<TypeParam>(2, "k1"), instance<TypeParam>(3, "k1"),
                                instance<TypeParam>(2, "k2"), instance<TypeParam>(3, "k2")});
  EXPECT_EQ(response.status, SNMP_ERR_GENERR);
  EXPECT_EQ(response.index, 3);
}

TYPED_TEST(Request, EveryColumnRefusesToBeSet) {
  TypeParam::put(this->serve("blue"), "k1");
  for (unsigned column = 1; column <= TypeParam::kLastColumn; ++column) {
    const Response response = this->agent_.set("blue", {instance<TypeParam>(column, "k1")});
    EXPECT_EQ(response.status, SNMP_ERR_NOTWRITABLE);
    EXPECT_EQ(response.index, 1);
  }
  EXPECT_EQ(this->agent_.getOne("blue", instance<TypeParam>(2, "k1")).octets, "lab");
}

TYPED_TEST(Request, AMissingRowRefusesToBeSet) {
  this->serve("blue");
  EXPECT_EQ(this->agent_.set("blue", {instance<TypeParam>(2, "k1")}).status, SNMP_ERR_NOTWRITABLE);
}

TYPED_TEST(Request, AnEmptyTableIsSteppedOver) {
  this->serve("blue");
  EXPECT_TRUE(this->agent_.walk("blue", kAllTables).empty());
}

TYPED_TEST(Request, GetNextOfTheLastRowGoesOnWithTheNextColumn) {
  auto& mib = this->serve("blue");
  TypeParam::put(mib, "k1");
  TypeParam::put(mib, "k2");
  EXPECT_EQ(this->agent_.next("blue", instance<TypeParam>(2, "k2")).name,
            instance<TypeParam>(3, "k1"));
}

TYPED_TEST(Request, GetNextOfTheLastInstanceLeavesTheTable) {
  TypeParam::put(this->serve("blue"), "k1");
  const Varbind found =
      this->agent_.next("blue", instance<TypeParam>(TypeParam::kLastColumn, "k1"));
  EXPECT_GE(found.name, tableOid<TypeParam>() / oid{1} / oid{TypeParam::kLastColumn + 1});
}

TYPED_TEST(Request, GetNextOfAColumnThatIsNotServedFindsTheNextOneThatIs) {
  TypeParam::put(this->serve("blue"), "k1");
  for (const unsigned column : {0U, 1U}) {
    EXPECT_EQ(this->agent_.next("blue", instance<TypeParam>(column, "k1")).name,
              instance<TypeParam>(2, "k1"));
  }
}

TYPED_TEST(Request, GetBulkGoesOnOverTheEndOfAColumn) {
  auto& mib = this->serve("blue");
  for (const char* key : {"k1", "k2", "k3"}) {
    TypeParam::put(mib, key);
  }
  const Response response =
      this->agent_.getBulk("blue", {tableOid<TypeParam>() / oid{1} / oid{2}}, 5);
  EXPECT_EQ(response.status, SNMP_ERR_NOERROR);
  EXPECT_THAT(namesOf(response.varbinds),
              ElementsAre(instance<TypeParam>(2, "k1"), instance<TypeParam>(2, "k2"),
                          instance<TypeParam>(2, "k3"), instance<TypeParam>(3, "k1"),
                          instance<TypeParam>(3, "k2")));
}

TYPED_TEST(Request, GetBulkIsAWalk) {
  auto& mib = this->serve("blue");
  for (int i = 0; i < 40; ++i) {
    TypeParam::put(mib, "k" + std::to_string(i), {.ifIndex = static_cast<std::uint32_t>(i)});
  }
  const auto walked = this->agent_.walk("blue", tableOid<TypeParam>());
  std::vector<Varbind> bulk;
  for (Oid at = tableOid<TypeParam>(); bulk.size() < walked.size(); at = bulk.back().name) {
    const auto more = this->agent_.getBulk("blue", {at}, 25).varbinds;
    bulk.insert(bulk.end(), more.begin(), more.end());
  }
  bulk.resize(walked.size());
  EXPECT_EQ(bulk, walked);
}

TYPED_TEST(Request, AWalkStartsByKeyAndGoesThroughEachColumnOnce) {
  auto& mib = this->serve("blue");
  for (const char* key : {"k1", "k2", "k3"}) {
    TypeParam::put(mib, key);
  }
  this->traceFrom(2);
  const auto found = this->agent_.walk("blue", tableOid<TypeParam>());
  EXPECT_EQ(found.size(), 3U * (TypeParam::kLastColumn - 1));
  const auto unhinted = std::ranges::count_if(this->traced(), [](const std::string& line) {
    return line == "2: " + std::string(TypeParam::kTable) +
                       "_get_first_data_point - *hint = 0x0, number_indexes = 0";
  });
  const auto indexless = std::ranges::count_if(this->traced(), [](const std::string& line) {
    return line.starts_with("2: " + std::string(TypeParam::kTable)) &&
           line.ends_with(", number_indexes = 0");
  });
  // The end of each column begins the next one without a hint; the first request of the walk has
  // no instance. Everything else starts at its own key.
  EXPECT_EQ(unhinted, TypeParam::kLastColumn - 2);
  EXPECT_EQ(indexless, unhinted + 1);
}

TYPED_TEST(Request, RowsReplacedBetweenRequestsAreMetOnceAndInOrder) {
  auto& mib = this->serve("blue");
  for (const char* key : {"k2", "k4", "k6"}) {
    TypeParam::put(mib, key);
  }
  const auto client = [](std::string_view key) { return instance<TypeParam>(2, key); };
  EXPECT_EQ(this->agent_.next("blue", tableOid<TypeParam>()).name, client("k2"));
  TypeParam::del(mib, "k2");
  TypeParam::put(mib, "k3");
  EXPECT_EQ(this->agent_.next("blue", client("k2")).name, client("k3"));
  TypeParam::del(mib, "k3");
  TypeParam::put(mib, "k1");
  EXPECT_EQ(this->agent_.next("blue", client("k3")).name, client("k4"));
  TypeParam::del(mib, "k6");
  EXPECT_EQ(this->agent_.next("blue", client("k4")).name, instance<TypeParam>(3, "k1"));
}

/// A name somewhere around the tables: made of small sub-identifiers, lengths that fit and lengths
/// that do not, and sub-identifiers that are no octets.
Oid oddName(std::mt19937& random) {
  const auto below = [&](oid bound) { return static_cast<oid>(random()) % bound; };
  Oid name = kAllTables;
  const oid parts = below(9);
  for (oid part = 0; part < parts; ++part) {
    const oid choices[] = {below(4), below(13), 97 + below(3), 255 + below(3), 4294967295U};
    name.push_back(choices[below(part < 2 ? 2 : 5)]);
  }
  return name;
}

TYPED_TEST(Request, GetNextOfAnyNameIsTheFirstInstanceAfterIt) {
  auto& mib = this->serve("blue");
  for (const std::string_view key : {"", "a", "b", "c", "ab", "bb", "cab", "\xff", "\1\2\3"}) {
    TypeParam::put(mib, key);
  }
  const auto all = namesOf(this->agent_.walk("blue", kAllTables));
  ASSERT_TRUE(std::ranges::is_sorted(all));
  ASSERT_EQ(all.size(), 9U * (TypeParam::kLastColumn - 1));
  constexpr unsigned kSeed = 20240607;
  SCOPED_TRACE(kSeed);
  std::mt19937 random(kSeed);
  for (int i = 0; i < 5000; ++i) {
    const Oid name = oddName(random);
    const auto expected = std::ranges::upper_bound(all, name);
    const Varbind found = this->agent_.next("blue", name);
    if (expected == all.end()) {
      ASSERT_FALSE(std::ranges::binary_search(all, found.name)) << testing::PrintToString(name);
    } else {
      ASSERT_EQ(found.name, *expected) << testing::PrintToString(name);
    }
  }
}

TYPED_TEST(Request, GetOfAnyNameIsAnInstanceOrAnException) {
  auto& mib = this->serve("blue");
  for (const std::string_view key : {"", "a", "b", "ab"}) {
    TypeParam::put(mib, key);
  }
  const auto all = namesOf(this->agent_.walk("blue", kAllTables));
  std::mt19937 random(20240608);
  for (int i = 0; i < 5000; ++i) {
    const Oid name = oddName(random);
    const Varbind found = this->agent_.getOne("blue", name);
    const bool exists = std::ranges::binary_search(all, name);
    const bool value = found.type == ASN_OCTET_STR || found.type == ASN_INTEGER;
    const bool exception = found.type == SNMP_NOSUCHOBJECT || found.type == SNMP_NOSUCHINSTANCE;
    ASSERT_EQ(value, exists) << testing::PrintToString(name);
    ASSERT_EQ(exception, !exists) << testing::PrintToString(name);
  }
}

class Requests : public ModuleFixture {};

TEST_F(Requests, AWalkGoesThroughTheThreeTablesInOrder) {
  auto& mib = serve("blue");
  Icmp::put(mib, "k1");
  Http::put(mib, "k1");
  Tcp::put(mib, "k1");
  const auto names = namesOf(agent_.walk("blue", kAllTables));
  EXPECT_EQ(names.size(), 24U);
  EXPECT_TRUE(std::ranges::is_sorted(names));
}

TEST_F(Requests, OneRequestMayAskAllThreeTables) {
  auto& mib = serve("blue");
  Icmp::put(mib, "k1");
  Http::put(mib, "k1");
  Tcp::put(mib, "k1");
  const Response response = agent_.get(
      "blue", {instance<Tcp>(6, "k1"), instance<Icmp>(11, "k1"), instance<Http>(4, "k1")});
  EXPECT_EQ(response.status, SNMP_ERR_NOERROR);
  EXPECT_EQ(response.varbinds.at(0).number, 443);
  EXPECT_EQ(response.varbinds.at(1).number, 25);
  EXPECT_EQ(response.varbinds.at(2).octets, "http://192.0.2.10/");
}

TEST_F(Requests, ContextsSeeTheirOwnRowsOnly) {
  Icmp::put(serve("blue"), "b");
  Icmp::put(serve("red"), "r");
  EXPECT_EQ(agent_.getOne("blue", instance<Icmp>(2, "b")).octets, "lab");
  EXPECT_EQ(agent_.getOne("blue", instance<Icmp>(2, "r")).type, SNMP_NOSUCHINSTANCE);
  EXPECT_EQ(agent_.getOne("red", instance<Icmp>(2, "r")).octets, "lab");
  EXPECT_EQ(agent_.getOne("", instance<Icmp>(2, "b")).type, SNMP_NOSUCHOBJECT);
}

TEST_F(Requests, TracingChangesNoAnswer) {
  auto& mib = serve("blue");
  Icmp::put(mib, "k1");
  Icmp::put(mib, "k2", {.client = std::string(300, 'x')});
  Tcp::put(mib, "k1");
  const auto answers = [&] {
    std::vector<Response> all{agent_.get("blue", {instance<Icmp>(2, "k2")}),
                              agent_.get("blue", {instance<Icmp>(1, "k1")}),
                              agent_.set("blue", {instance<Icmp>(2, "k1")}),
                              agent_.getBulk("blue", {instance<Icmp>(3, "k1")}, 20)};
    return all;
  };
  const auto quiet = answers();
  traceFrom(9);
  const auto traced = answers();
  for (std::size_t i = 0; i < quiet.size(); ++i) {
    EXPECT_EQ(quiet[i].status, traced[i].status);
    EXPECT_EQ(quiet[i].index, traced[i].index);
    EXPECT_EQ(quiet[i].varbinds, traced[i].varbinds);
  }
}

}  // namespace
