#include <dlfcn.h>

#include <memory>
#include <string>

#include "AgentForTest.h"
#include "Pomel/String.h"
#include "Qiv/Dir.h"
#include "Qiv/TypeInfo.h"
#include "Qiv/TypeRegistry.h"
#include "Snmp/CentrumUtil.h"
#include "Snmp/HandlerRegistration.h"
#include "Snmp/MibContext.h"

using AgentForTest::Oid;

// This program knows the plug-in only as a file, as the agent process does.

namespace {

constexpr std::string_view kMib = "ConnectivityMonitorSnmp::ConnectivityMonitorMib";
const Oid kTables{1, 3, 6, 1, 4, 1, 61111, 3, 38, 1};

class Unload : public testing::Test {
 protected:
  void load() {
    plugin_ = dlopen(CONMON_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin_, nullptr) << dlerror();
  }
  void unload() { ASSERT_EQ(dlclose(plugin_), 0) << dlerror(); }
  static bool loaded() {
    void* present = dlopen(CONMON_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
    if (present != nullptr) {
      dlclose(present);
    }
    return present != nullptr;
  }
  void unregister(const Pomel::String& context) {
    using Unregister = void (*)(Pomel::String);
    auto* const entry = reinterpret_cast<Unregister>(
        dlsym(plugin_, "_Z26unregister_velmorConMonMIBN5Pomel6StringE"));
    ASSERT_NE(entry, nullptr);
    entry(context);
  }

  const AgentForTest::Agent& agent_ = AgentForTest::Agent::instance();
  void* plugin_ = nullptr;
};

TEST_F(Unload, LoadingHandsTheModuleOverAndUnloadingWithdrawsIt) {
  EXPECT_EQ(Snmp::handlerRegistration("velmorConMonMIB"), nullptr);
  load();
  EXPECT_NE(Snmp::handlerRegistration("velmorConMonMIB"), nullptr);
  unload();
  EXPECT_EQ(Snmp::handlerRegistration("velmorConMonMIB"), nullptr);
  EXPECT_FALSE(loaded());
}

TEST_F(Unload, ThePlugInLeavesTheProcessAfterItHasServedAndComesBack) {
  for (int round = 0; round < 3; ++round) {
    load();
    const auto root = Qiv::make<Qiv::Dir>("root");
    Snmp::CentrumUtil::agentRootIs(root);
    auto dir = Qiv::dirAt(root, "snmp/connectivityMonitor/conMonMib");
    dir->entityIs("default", kMib);
    Snmp::handlerRegistration("velmorConMonMIB")->initHandler("default");
    EXPECT_EQ(Snmp::mibContexts().size(), 2U);
    EXPECT_TRUE(agent_.walk("", kTables).empty());
    EXPECT_NE(agent_.registration("", {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, 1}), nullptr);
    unregister("default");
    unregister("");
    dir->entityDel("default");
    Snmp::CentrumUtil::agentRootIs(nullptr);
    unload();
    EXPECT_FALSE(loaded());
    EXPECT_EQ(Qiv::TypeRegistry::instance().type(kMib), nullptr);
    EXPECT_EQ(agent_.registration("", {1, 3, 6, 1, 4, 1, 61111, 3, 38, 1, 1}), nullptr);
  }
}

}  // namespace
