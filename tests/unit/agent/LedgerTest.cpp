#include "agent/feed/Ledger.h"

#include <gtest/gtest.h>

#include "PipelineModel.h"

namespace Agent {
namespace {

using Testing::http;
using Testing::icmp;
using Testing::tcp;

TEST(Ledger, ARecordIsFoundByItsWholeKeyOnly) {
  Ledger ledger;
  const ProbeKey key = icmp("h", "eth1", "192.0.2.1", "blue");
  EXPECT_EQ(ledger.find("c", key), nullptr);
  Ledger::Record& record = ledger.enter("c", key);
  EXPECT_EQ(ledger.find("c", key), &record);
  EXPECT_EQ(Ledger::keyOf(record), key);
  EXPECT_EQ(ledger.find("d", key), nullptr);
  EXPECT_EQ(ledger.find("c", icmp("g", "eth1", "192.0.2.1", "blue")), nullptr);
  EXPECT_EQ(ledger.find("c", icmp("h", "eth2", "192.0.2.1", "blue")), nullptr);
  EXPECT_EQ(ledger.find("c", icmp("h", "", "192.0.2.1", "blue")), nullptr);
  EXPECT_EQ(ledger.find("c", icmp("h", "eth1", "192.0.2.2", "blue")), nullptr);
  EXPECT_EQ(ledger.find("c", icmp("h", "eth1", "192.0.2.1", "red")), nullptr);
  EXPECT_EQ(ledger.find("c", http("h", "eth1", "192.0.2.1", "blue")), nullptr);
  EXPECT_EQ(ledger.find("c", tcp("h", "eth1", "192.0.2.1", 1, "blue")), nullptr);
}

TEST(Ledger, NothingIsLeftOfAnErasedRecord) {
  Ledger ledger;
  const ProbeKey key = icmp("h", "eth1", "192.0.2.1", "blue");
  ledger.erase(ledger.enter("c", key));
  EXPECT_EQ(ledger.size(), 0U);
  EXPECT_EQ(ledger.find("c", key), nullptr);
  EXPECT_EQ(ledger.anyOf("c"), nullptr);
  EXPECT_EQ(ledger.anyOf("c", key.at), nullptr);
  EXPECT_EQ(ledger.firstOn("eth1"), nullptr);
  EXPECT_EQ(ledger.any(), nullptr);
}

TEST(Ledger, RecordsAreFoundByHostClientAndInterface) {
  Ledger ledger;
  Ledger::Record& first = ledger.enter("c", icmp("h", "eth1", "192.0.2.1"));
  Ledger::Record& second = ledger.enter("c", icmp("g", "eth1", "192.0.2.1"));
  Ledger::Record& other = ledger.enter("d", icmp("h", "", "192.0.2.1"));
  EXPECT_EQ(ledger.anyOf("c", {"h", "default"}), &first);
  EXPECT_EQ(ledger.anyOf("c", {"g", "default"}), &second);
  EXPECT_EQ(ledger.anyOf("d", {"h", "default"}), &other);
  EXPECT_EQ(ledger.anyOf("d", {"h", "blue"}), nullptr);
  EXPECT_EQ(ledger.anyOf("d"), &other);
  EXPECT_EQ(ledger.firstOn("eth1"), &first);
  ledger.erase(first);
  EXPECT_EQ(ledger.firstOn("eth1"), &second);
  EXPECT_EQ(ledger.firstOn(""), nullptr);
}

TEST(Ledger, AnInterfaceKeepsItsIndexWithoutRecords) {
  Ledger ledger;
  EXPECT_EQ(ledger.ifIndex("eth1"), std::nullopt);
  ledger.ifIndexIs("eth1", 7, "c");
  ledger.erase(ledger.enter("c", icmp("h", "eth1", "192.0.2.1")));
  EXPECT_EQ(ledger.ifIndex("eth1"), 7U);
}

TEST(Ledger, AnInterfaceKnowsWhoSetItsPresentIndex) {
  Ledger ledger;
  ledger.ifIndexIs("eth1", 7, "lab");
  ledger.ifIndexIs("eth1", 8, "other");
  const Ledger::Interface* eth1 = ledger.interfaceBehind(std::nullopt);
  ASSERT_NE(eth1, nullptr);
  EXPECT_EQ(eth1->setBy, "other");
}

TEST(Ledger, InterfacesAndClientsAreListedByName) {
  Ledger ledger;
  ledger.ifIndexIs("eth1", 7, "lab");
  ledger.enter("b", icmp("h", "eth2", "192.0.2.1"));
  ledger.enter("d", icmp("h", "", "192.0.2.1"));
  EXPECT_EQ(ledger.interfaceBehind(std::nullopt)->name, "eth1");
  EXPECT_EQ(ledger.interfaceBehind("eth1")->name, "eth2");
  EXPECT_EQ(ledger.interfaceBehind("eth1x")->name, "eth2");
  EXPECT_EQ(ledger.interfaceBehind("eth2"), nullptr);
  EXPECT_EQ(ledger.clientBehind(std::nullopt)->name, "b");
  EXPECT_EQ(ledger.clientBehind("c")->name, "d");
  EXPECT_EQ(ledger.clientBehind("d"), nullptr);
}

TEST(Ledger, AClientKnowsHowManyRecordsItHas) {
  Ledger ledger;
  EXPECT_EQ(ledger.client("c"), nullptr);
  Ledger::Record& one = ledger.enter("c", icmp("h", "", "192.0.2.1"));
  ledger.enter("c", icmp("other", "", "192.0.2.1"));
  EXPECT_EQ(ledger.client("c")->records, 2U);
  ledger.erase(one);
  EXPECT_EQ(ledger.client("c")->records, 1U);
}

TEST(Ledger, OnlyRecordsWithARowCountForTheirVrf) {
  Ledger ledger;
  ledger.ifIndexIs("eth1", 7, "c");
  ledger.enter("c", icmp("h", "", "192.0.2.1", "blue"));
  Ledger::Record& indexed = ledger.enter("c", icmp("h", "eth1", "192.0.2.1", "blue"));
  ledger.enter("c", icmp("h", "eth2", "192.0.2.1", "blue"));
  EXPECT_EQ(ledger.indexedIn("blue"), 2U);
  EXPECT_EQ(ledger.indexedIn("red"), 0U);
  ledger.erase(indexed);
  EXPECT_EQ(ledger.indexedIn("blue"), 1U);
}

TEST(Ledger, ARowsNameJoinsItsFieldsWithoutASeparator) {
  Ledger ledger;
  ledger.ifIndexIs("eth1", 7, "c");
  EXPECT_EQ(rowNameOf(ledger.enter("lab", icmp("web", "eth1", "192.0.2.1"))), "labweb192.0.2.17");
  EXPECT_EQ(rowNameOf(ledger.enter("lab", icmp("web", "", "2001:db8::1"))), "labweb2001:db8::10");
  EXPECT_EQ(rowNameOf(ledger.enter("lab", http("web", "eth1", "http://h/"))), "labwebhttp://h/7");
  EXPECT_EQ(rowNameOf(ledger.enter("lab", tcp("web", "eth1", "192.0.2.1", 80))),
            "labweb192.0.2.1807");
}

TEST(Ledger, RecordsShareARowWhenTheirNamesJoinToTheSameText) {
  Ledger ledger;
  ledger.ifIndexIs("eth1", 12, "c");
  ledger.ifIndexIs("eth2", 2, "c");
  Ledger::Record& a = ledger.enter("c", icmp("h", "eth1", "10.0.0.1"));
  Ledger::Record& b = ledger.enter("c", icmp("h", "eth2", "10.0.0.11"));
  Ledger::Record& c = ledger.enter("ch", icmp("10.0.0.1", "eth2", "1.2.3.4"));
  EXPECT_EQ(ledger.sharingRowOf(a), std::vector{&b});
  EXPECT_EQ(ledger.sharingRowOf(b), std::vector{&a});
  EXPECT_TRUE(ledger.sharingRowOf(c).empty());
  ledger.erase(a);
  EXPECT_TRUE(ledger.sharingRowOf(b).empty());
}

TEST(Ledger, RecordsOfOtherVrfsOrTablesShareNoRow) {
  Ledger ledger;
  Ledger::Record& a = ledger.enter("c", icmp("h", "", "10.0.0.1"));
  Ledger::Record& b = ledger.enter("c", icmp("h", "", "10.0.0.1", "blue"));
  Ledger::Record& c = ledger.enter("c", http("h", "", "10.0.0.1"));
  for (const Ledger::Record* record : {&a, &b, &c}) {
    EXPECT_TRUE(ledger.sharingRowOf(*record).empty());
  }
}

TEST(Ledger, RecordsWithoutAnIndexShareNoRow) {
  Ledger ledger;
  Ledger::Record& a = ledger.enter("c", icmp("h", "eth1", "10.0.0.1"));
  ledger.enter("ch", icmp("", "eth1", "10.0.0.1"));
  EXPECT_TRUE(ledger.sharingRowOf(a).empty());
}

TEST(Ledger, ManyRecordsAreAllFoundAgain) {
  Ledger ledger;
  const auto key = [](int n) {
    return http(("host" + std::to_string(n % 40)).c_str(), "eth1",
                ("http://" + std::to_string(n)).c_str());
  };
  constexpr int kCount = 5000;
  for (int n = 0; n < kCount; ++n) {
    ledger.enter("c", key(n));
  }
  EXPECT_EQ(ledger.size(), 5000U);
  for (int n = 0; n < kCount; n += 2) {
    ledger.erase(*ledger.find("c", key(n)));
  }
  for (int n = 0; n < kCount; ++n) {
    EXPECT_EQ(ledger.find("c", key(n)) != nullptr, n % 2 == 1) << n;
  }
}

}  // namespace
}  // namespace Agent
