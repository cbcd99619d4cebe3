#include "TableSmWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
namespace PlyxCode = ConnectivityMonitorSnmp::PlyxCode;

template <class Table>
class ChildMachines : public TableSmTest<Table> {
 protected:
  auto clientChild(std::string_view client = "lab") {
    return this->sm->clientDirSm()->child(client);
  }
  auto hostChild(std::string_view host = "web") {
    return clientChild()->child(typename ChildMachines::HostKey(host, "default"));
  }
  const auto& records(std::string_view host = "web") {
    return ((*this->hostStatus("lab", host)).*TableFacts<Table>::kStatsMap)();
  }
};
TYPED_TEST_SUITE(ChildMachines, AllTables, TableNames);

TYPED_TEST(ChildMachines, EveryEntityHasAChildAndEveryChildItsKey) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->put("lab", "db", this->key("", 1), 1.5F);
  this->start();
  EXPECT_EQ(this->sm->clientDirSm()->childSmEntityPtrConnectivityMonitorStatusDirPtrConst().size(),
            1U);
  EXPECT_EQ(this->clientChild()->key(), "lab");
  EXPECT_EQ(this->clientChild()->statusDir(), this->statusDir("lab"));
  EXPECT_EQ(this->clientChild()->childSmHostStatusConnectivityMonitorHostStatusPtrConst().size(),
            2U);
  EXPECT_EQ(this->hostChild("db")->key(), typename TestFixture::HostKey("db", "default"));
  EXPECT_EQ(this->hostChild("db")->hostStatus(), this->hostStatus("lab", "db"));
}

TYPED_TEST(ChildMachines, ARemovedHostTakesItsRowsItsChildAndNothingElse) {
  for (unsigned n = 1; n <= 3; ++n) {
    this->put("lab", "web", this->key("", n), 1.5F);
  }
  this->put("lab", "db", this->key("", 1), 2.5F);
  this->start();
  this->statusDir("lab")->hostStatusDel(typename TestFixture::HostKey("web", "default"));
  EXPECT_THAT(this->rows(),
              ElementsAre(Pair(this->rowName("lab", "db", this->key("", 1), 0), 2.5F)));
  EXPECT_EQ(this->count(), 1U);
  EXPECT_FALSE(this->hostChild("web"));
  EXPECT_TRUE(this->hostChild("db"));
}

TYPED_TEST(ChildMachines, ARemovedClientTakesItsRowsAndItsChildren) {
  for (const char* host : {"web", "db"}) {
    this->put("lab", host, this->key("", 1), 1.5F);
    this->put("field", host, this->key("", 1), 1.5F);
  }
  this->start();
  this->clientDir->entityDel("lab");
  EXPECT_THAT(this->rows(), SizeIs(2));
  EXPECT_EQ(this->count(), 2U);
  EXPECT_FALSE(this->clientChild("lab"));
  EXPECT_TRUE(this->clientChild("field"));
}

TYPED_TEST(ChildMachines, ARecordOfARemovedHostIsNoLongerListenedTo) {
  const auto key = this->key("", 1);
  this->put("lab", "web", key, 1.5F);
  this->start();
  const auto detached = this->hostStatus("lab", "web");
  this->statusDir("lab")->hostStatusDel(typename TestFixture::HostKey("web", "default"));
  ((*detached).*TestFixture::Facts::kStatsIs)(TestFixture::Facts::stats(key, 2.5F));
  ((*detached).*TestFixture::Facts::kStatsDel)(key);
  EXPECT_THAT(this->rows(), IsEmpty());
  EXPECT_EQ(this->count(), 0U);
}

TYPED_TEST(ChildMachines, AClientsEntityReplacedByAnotherShowsTheOthersRecords) {
  const auto shared = this->key("", 1);
  const auto old = this->key("", 2);
  const auto fresh = this->key("", 3);
  this->put("lab", "web", shared, 1.5F);
  this->put("lab", "web", old, 1.5F);
  this->start();
  const auto before = this->clientChild();
  auto other = Qiv::make<ConnectivityMonitor::StatusDir>("lab");
  const auto record = other->hostStatusIs(typename TestFixture::HostKey("web", "default"));
  ((*record).*TestFixture::Facts::kStatsIs)(TestFixture::Facts::stats(shared, 2.5F));
  ((*record).*TestFixture::Facts::kStatsIs)(TestFixture::Facts::stats(fresh, 3.5F));
  this->clientDir->entityIs("lab", other);
  EXPECT_NE(this->clientChild(), before);
  EXPECT_EQ(this->clientChild()->statusDir(), other);
  EXPECT_THAT(this->rows(),
              testing::UnorderedElementsAre(Pair(this->rowName("lab", "web", shared, 0), 2.5F),
                                            Pair(this->rowName("lab", "web", fresh, 0), 3.5F)));
}

TYPED_TEST(ChildMachines, VersionsFollowTheCollectionsFromConstructionOn) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->ifIndexIs("eth1", 7);
  this->sm = this->made();
  EXPECT_EQ(this->sm->ifMibSm()->versionIfIndexByIntfId(),
            this->ifMib->ifIndexByIntfId().version());
  this->ifIndexIs("eth2", 8);
  EXPECT_EQ(this->sm->ifMibSm()->versionIfIndexByIntfId(),
            this->ifMib->ifIndexByIntfId().version());
  this->scheduler->runAll();
  EXPECT_EQ(this->hostChild()->versionStats(), this->records().version());
  this->put("lab", "web", this->key("", 1), 2.5F);
  this->put("lab", "web", this->key("", 2), 2.5F);
  this->remove("lab", "web", this->key("", 1));
  EXPECT_EQ(this->hostChild()->versionStats(), this->records().version());
  EXPECT_EQ(this->hostChild()->versionStats(), 4U);
}

TYPED_TEST(ChildMachines, AMachineIsMarkedWhileItIsInsideItsReactor) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->start();
  std::vector<bool> marks;
  const Watcher<Snmp::String> watcher(this->table(this->mib()).changes(), [&](const auto&) {
    marks.push_back(this->hostChild()->inReactor());
    marks.push_back(this->clientChild()->inReactor());
  });
  this->put("lab", "web", this->key("", 2), 1.5F);
  EXPECT_THAT(marks, ElementsAre(true, false));
  EXPECT_FALSE(this->hostChild()->inReactor());
}

TYPED_TEST(ChildMachines, ChildrenAreMadeWithNotificationsActive) {
  this->put("lab", "web", this->key("", 1), 1.5F);
  this->sm = this->made();
  EXPECT_TRUE(this->sm->clientDirSm()->hasNotificationActive());
  EXPECT_TRUE(this->sm->ifMibSm()->hasNotificationActive());
  this->scheduler->runAll();
  EXPECT_TRUE(this->sm->ready());
  EXPECT_TRUE(this->clientChild()->hasNotificationActive());
  EXPECT_TRUE(this->hostChild()->hasNotificationActive());
}

TYPED_TEST(ChildMachines, DeletingAllSendsEveryEntryOfEveryClientOnce) {
  for (const char* client : {"lab", "field"}) {
    this->put(client, "web", this->key("", 1), 1.5F);
    this->put(client, "db", this->key("", 2), 1.5F);
  }
  this->start();
  ASSERT_EQ(this->count(), 4U);
  // The records are still there, so the pipeline sees them present: four more events.
  this->sm->doDeleteAll();
  EXPECT_EQ(this->count(), 8U);
  EXPECT_THAT(this->rows(), SizeIs(4));
}

class ChildMachineClasses : public TableSmTest<ConnectivityMonitorSnmp::TcpTable> {};

TEST_F(ChildMachineClasses, CarryTheirNumbers) {
  namespace Tcp = PlyxCode::ConnectivityMonitorSnmpTcpTableSm;
  put("lab", "web", key("", 1), 1.5F);
  start();
  const auto ifMibSm = sm->ifMibSm8();
  const auto clientDirSm = sm->clientDirSm9();
  const auto entityPtrSm = clientDirSm->child("lab");
  const auto hostStatusSm = entityPtrSm->child(HostKey("web", "default"));
  EXPECT_TRUE(Qiv::ptrCast<Tcp::IfMibSm8>(ifMibSm));
  EXPECT_TRUE(Qiv::ptrCast<Tcp::ClientDirSm9>(clientDirSm));
  EXPECT_TRUE(Qiv::ptrCast<Tcp::EntityPtrSm10>(entityPtrSm));
  const auto named = Qiv::ptrCast<Tcp::HostStatusSm11>(hostStatusSm);
  ASSERT_TRUE(named);
  EXPECT_EQ(named->versionTcpStats(), 1U);
  EXPECT_TRUE(Qiv::ptrCast<Tcp::InputSmScanState>(sm->inputSmScanState())->tcpStreamScan());
  EXPECT_TRUE(Qiv::ptrCast<Tcp::InputSmScanState>(sm->inputSmScanState())->ifMibTcpStreamScan());
  EXPECT_TRUE(
      Qiv::ptrCast<Tcp::LocalAttrStore>(sm->localAttrStore())->intfToTcpStatsBacklog().empty());
}

}  // namespace
