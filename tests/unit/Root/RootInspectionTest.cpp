#include <array>

#include "Qiv/TypeRegistry.h"
#include "RootWorld.h"

/// The way in for a host that knows the plug-in by name only.

namespace {

class RootInspection : public RootWorld {
 protected:
  static constexpr std::string_view kAttribute = "connectivityMonitorSnmpAgent";

  Qiv::Value call(const Qiv::Entity::Ptr& first, const Qiv::Entity::Ptr& second,
                  const Qiv::Entity::Ptr& third) {
    return Qiv::attributeCall(*entity_, kAttribute,
                              std::array<Qiv::Value, 3>{first, second, third});
  }

  Qiv::Entity::Ptr entity_ =
      Qiv::TypeRegistry::instance().create("ConnectivityMonitorSnmp::Root", "conMon");
};

TEST_F(RootInspection, TheTypeIsMadeByNameAndNamedAsAsked) {
  EXPECT_EQ(entity_->typeInfo().name(), "ConnectivityMonitorSnmp::Root");
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*entity_, "name")), "conMon");
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*entity_, kAttribute)), "null");
}

TEST_F(RootInspection, ADirectoryEntryOfTheTypeIsARoot) {
  const auto made = clientDir->entityIs("conMon", "ConnectivityMonitorSnmp::Root");
  EXPECT_TRUE(Qiv::ptrCast<Root>(made));
}

TEST_F(RootInspection, TheAgentIsMadeReadAndDeletedByAttributeName) {
  const auto made = call(clientDir, conMonMibRoot, ifMib);
  ASSERT_TRUE(std::holds_alternative<Qiv::Entity::Ptr>(made));
  const auto agent = std::get<Qiv::Entity::Ptr>(made);
  ASSERT_TRUE(agent);
  EXPECT_EQ(agent->typeInfo().name(), "ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent");
  EXPECT_EQ(std::get<Qiv::Entity::Ptr>(Qiv::attributeGet(*entity_, kAttribute)), agent);
  EXPECT_EQ(std::get<Qiv::Entity::Ptr>(call(clientDir, conMonMibRoot, ifMib)), agent);
  scheduler->runAll();
  for (const char* table : {"Icmp", "Http", "Tcp"}) {
    const auto sm = std::get<Qiv::Entity::Ptr>(
        Qiv::attributeGet(*agent, "connectivityMonitorTable" + std::string(table) + "Sm"));
    ASSERT_TRUE(sm);
    EXPECT_TRUE(std::get<bool>(Qiv::attributeGet(*sm, "ready")));
    EXPECT_TRUE(std::get<bool>(Qiv::attributeGet(*sm, "idle")));
  }
  Qiv::attributeDel(*entity_, kAttribute);
  EXPECT_EQ(Qiv::toText(Qiv::attributeGet(*entity_, kAttribute)), "null");
  EXPECT_FALSE(agent->hasNotificationActive());
}

TEST_F(RootInspection, TheAgentsAttributesComeInTheirOrder) {
  const auto agent = std::get<Qiv::Entity::Ptr>(call(clientDir, conMonMibRoot, ifMib));
  std::vector<std::string> names;
  for (const Qiv::Attribute& attribute : agent->typeInfo().attributes()) {
    names.emplace_back(attribute.name);
  }
  EXPECT_THAT(names, testing::ElementsAre("clientDir", "conMonMibRoot", "ifMib", "smControl",
                                          "connectivityMonitorTableIcmpSm",
                                          "connectivityMonitorTableHttpSm",
                                          "connectivityMonitorTableTcpSm", "vrfRefCount"));
}

TEST_F(RootInspection, WrongArgumentsAreRefusedAndChangeNothing) {
  call(clientDir, conMonMibRoot, ifMib);
  const auto agent = Qiv::attributeGet(*entity_, kAttribute);
  EXPECT_THROW(call(clientDir, conMonMibRoot, clientDir), Qiv::InspectionError);
  EXPECT_THROW(call(ifMib, conMonMibRoot, ifMib), Qiv::InspectionError);
  EXPECT_THROW(Qiv::attributeCall(*entity_, kAttribute, std::array<Qiv::Value, 1>{clientDir}),
               Qiv::InspectionError);
  EXPECT_THROW(Qiv::attributeCall(*entity_, kAttribute,
                                  std::array<Qiv::Value, 3>{Pomel::String("a"), Pomel::String("b"),
                                                            Pomel::String("c")}),
               Qiv::InspectionError);
  EXPECT_EQ(Qiv::attributeGet(*entity_, kAttribute), agent);
}

TEST_F(RootInspection, TheWholeOfItCanBeDumped) {
  putThree("web", 1);
  const auto agent = std::get<Qiv::Entity::Ptr>(call(clientDir, conMonMibRoot, ifMib));
  scheduler->runAll();
  EXPECT_EQ(Qiv::dump(*entity_),
            "name = conMon\n"
            "connectivityMonitorSnmpAgent = "
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmpAgent\n");
  EXPECT_EQ(Qiv::dump(*agent),
            "clientDir = Qiv::Dir\n"
            "conMonMibRoot = Qiv::Dir\n"
            "ifMib = IntfSnmp::IfMib\n"
            "smControl = 0,0\n"
            "connectivityMonitorTableIcmpSm = "
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmpIcmpTableSm\n"
            "connectivityMonitorTableHttpSm = "
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmpHttpTableSm\n"
            "connectivityMonitorTableTcpSm = "
            "ConnectivityMonitorSnmp::ConnectivityMonitorSnmpTcpTableSm\n"
            "vrfRefCount = ConnectivityMonitorSnmp::VrfRefCount\n");
}

}  // namespace
