// What holds for each of the three tables of rows.
#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "Qiv/Errors.h"
#include "TablesForTest.h"

namespace ConnectivityMonitorSnmp {
namespace {

template <class Table>
class ProbeTableTest : public testing::Test {
 protected:
  using Arguments = typename Table::Arguments;
  using Row = typename Table::Row;

  /// Notes "KEY in" or "KEY out" as the table is when it is told.
  struct Watcher {
    explicit Watcher(const ConnectivityMonitorMib& watched) : mib(watched) {}
    void handle(const Snmp::String& key) {
      std::ostringstream text;
      text << key << (Table::table(mib).find(key) != nullptr ? " in" : " out");
      told.push_back(text.str());
      if (action) {
        action(key);
      }
    }
    const ConnectivityMonitorMib& mib;
    std::vector<std::string> told;
    std::function<void(const Snmp::String&)> action;
    Qiv::Subscription<&Watcher::handle, Snmp::String> subscription{*this,
                                                                   Table::table(mib).changes()};
  };

  Qiv::Ptr<Row> is(const Snmp::String& key, const Arguments& arguments = {}) {
    return Table::is(*mib_, key, arguments);
  }
  [[nodiscard]] const typename Table::Table& table() const { return Table::table(*mib_); }
  [[nodiscard]] std::vector<std::string> keys() const {
    std::vector<std::string> keys;
    for (const Row& row : table()) {
      keys.emplace_back(row.indexShortName().view());
    }
    return keys;
  }

  ConnectivityMonitorMib::Ptr mib_ = connectivityMonitorMibFactory("blue");
};

using Tables = testing::Types<IcmpForTest, HttpForTest, TcpForTest>;
TYPED_TEST_SUITE(ProbeTableTest, Tables);

TYPED_TEST(ProbeTableTest, AnInsertedRowIsFoundUnderItsKeyAndPublishedOnce) {
  const typename TestFixture::Watcher watcher(*this->mib_);
  const auto row = this->is("k");
  EXPECT_EQ(this->table().find("k"), row.get());
  EXPECT_EQ(row->indexShortName(), Snmp::String("k"));
  EXPECT_EQ(this->table().size(), 1U);
  EXPECT_EQ(this->table().changeWord(), 1U);
  EXPECT_EQ(watcher.told, std::vector<std::string>{"k in"});
}

TYPED_TEST(ProbeTableTest, InsertingTheSameRowAgainReturnsItAndPublishesNothing) {
  const auto row = this->is("k");
  const typename TestFixture::Watcher watcher(*this->mib_);
  EXPECT_EQ(this->is("k"), row);
  EXPECT_EQ(this->table().changeWord(), 1U);
  EXPECT_TRUE(watcher.told.empty());
}

TYPED_TEST(ProbeTableTest, ARowWithANaNIsTheSameRowAgain) {
  typename TestFixture::Arguments arguments;
  if constexpr (requires { arguments.stats.latency; }) {
    arguments.stats.latency = std::numeric_limits<float>::quiet_NaN();
  } else {
    arguments.stats.responseTime = std::numeric_limits<float>::quiet_NaN();
  }
  const auto row = this->is("k", arguments);
  EXPECT_EQ(this->is("k", arguments), row);
}

TYPED_TEST(ProbeTableTest, EachDifferingAttributeIsAReinstantiationErrorThatChangesNothing) {
  const auto row = this->is("k");
  const typename TestFixture::Watcher watcher(*this->mib_);
  for (const auto& change : TypeParam::changes()) {
    typename TestFixture::Arguments arguments;
    change.apply(arguments);
    try {
      this->is("k", arguments);
      ADD_FAILURE() << change.attribute << " was accepted";
    } catch (const Qiv::ReinstantiatingError& error) {
      EXPECT_EQ(error.type(), TypeParam::kTypeName);
      EXPECT_EQ(error.attribute(), change.attribute);
      EXPECT_EQ(error.oldValue(), change.oldText);
      EXPECT_EQ(error.newValue(), change.newText);
    }
    EXPECT_EQ(this->table().find("k"), row.get());
    EXPECT_EQ(row->ifIndex(), 7U);
  }
  EXPECT_TRUE(watcher.told.empty());
  EXPECT_EQ(this->table().changeWord(), 1U);
  EXPECT_EQ(row->refs(), 2U);
}

TYPED_TEST(ProbeTableTest, TheFirstDifferingAttributeInOrderIsTheOneNamed) {
  this->is("k");
  const auto changes = TypeParam::changes();
  for (std::size_t first = 0; first < changes.size(); ++first) {
    typename TestFixture::Arguments arguments;
    for (std::size_t later = first; later < changes.size(); ++later) {
      changes[later].apply(arguments);
    }
    try {
      this->is("k", arguments);
      ADD_FAILURE() << "accepted from " << changes[first].attribute;
    } catch (const Qiv::ReinstantiatingError& error) {
      EXPECT_EQ(error.attribute(), changes[first].attribute);
    }
  }
}

TYPED_TEST(ProbeTableTest, AChangedRowIsDeletedAndInsertedAnew) {
  const auto old = this->is("k");
  const typename TestFixture::Watcher watcher(*this->mib_);
  typename TestFixture::Arguments arguments;
  arguments.ifIndex = 9;
  TypeParam::del(*this->mib_, "k");
  const auto row = this->is("k", arguments);
  EXPECT_NE(row, old);
  EXPECT_EQ(row->ifIndex(), 9U);
  EXPECT_EQ(old->ifIndex(), 7U);
  EXPECT_EQ(watcher.told, (std::vector<std::string>{"k out", "k in"}));
  EXPECT_EQ(this->table().changeWord(), 3U);
}

TYPED_TEST(ProbeTableTest, DeletingAnAbsentKeyPublishesNothing) {
  this->is("k");
  const typename TestFixture::Watcher watcher(*this->mib_);
  TypeParam::del(*this->mib_, "absent");
  EXPECT_TRUE(watcher.told.empty());
  EXPECT_EQ(this->table().changeWord(), 1U);
}

TYPED_TEST(ProbeTableTest, DeletingByIteratorDeletesThatRow) {
  for (const char* key : {"a", "b", "c"}) {
    this->is(key);
  }
  const typename TestFixture::Watcher watcher(*this->mib_);
  TypeParam::del(*this->mib_, std::next(this->table().begin()));
  EXPECT_EQ(watcher.told, std::vector<std::string>{"b out"});
  EXPECT_EQ(this->keys(), (std::vector<std::string>{"a", "c"}));
}

TYPED_TEST(ProbeTableTest, DeletingAllPublishesEachRowInKeyOrder) {
  for (const char* key : {"ccc", "a", "bb"}) {
    this->is(key);
  }
  const typename TestFixture::Watcher watcher(*this->mib_);
  TypeParam::delAll(*this->mib_);
  EXPECT_EQ(watcher.told, (std::vector<std::string>{"a out", "bb out", "ccc out"}));
  EXPECT_EQ(this->table().changeWord(), 6U);
  TypeParam::delAll(*this->mib_);
  EXPECT_EQ(watcher.told.size(), 3U);
}

TYPED_TEST(ProbeTableTest, RowsAreWalkedInIndexOrderWhateverTheOrderOfInsertion) {
  for (const char* key : {"bb", "c", "\xff", "a", "aaa", "ab", "", "b"}) {
    this->is(key);
  }
  EXPECT_EQ(this->keys(), (std::vector<std::string>{"", "a", "b", "c", "\xff", "ab", "bb", "aaa"}));
}

TYPED_TEST(ProbeTableTest, ARowOutlivesItsDeletionWhileAReaderHoldsIt) {
  const auto reader = this->is("k");
  EXPECT_EQ(reader->refs(), 2U);
  TypeParam::del(*this->mib_, "k");
  EXPECT_EQ(reader->refs(), 1U);
  EXPECT_EQ(reader->host(), "web1");
  EXPECT_FALSE(reader->is_linked());
}

TYPED_TEST(ProbeTableTest, ASubscriberMayDeleteTheRowItIsToldOf) {
  typename TestFixture::Watcher watcher(*this->mib_);
  watcher.action = [&](const Snmp::String& key) { TypeParam::del(*this->mib_, key); };
  const auto row = this->is("k");
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->client(), "lab");
  EXPECT_TRUE(this->table().empty());
  EXPECT_EQ(watcher.told, (std::vector<std::string>{"k in", "k out"}));
}

TYPED_TEST(ProbeTableTest, TheOtherTablesAreNotTouched) {
  this->is("k");
  const auto& mib = *this->mib_;
  EXPECT_EQ(mib.icmpTable().size() + mib.httpTable().size() + mib.tcpTable().size(), 1U);
  TypeParam::delAll(*this->mib_);
  EXPECT_EQ(mib.icmpTable().size() + mib.httpTable().size() + mib.tcpTable().size(), 0U);
}

}  // namespace
}  // namespace ConnectivityMonitorSnmp
