#include "ModuleFixture.h"

#include <fmt/format.h>

#include "Snmp/CentrumUtil.h"
#include "Snmp/MibContext.h"
#include "Trace/Trace.h"

using ConnectivityMonitorSnmp::ConnectivityMonitorMib;

ModuleFixture::ModuleFixture() : root_(Qiv::make<Qiv::Dir>("root")) {
  Snmp::CentrumUtil::agentRootIs(root_);
  Trace::sinkIs([this](const Trace::Line& line) {
    ASSERT_EQ(line.unit, "velmorConMonMIB");
    lines_.push_back(fmt::format("{}: {}", line.level, line.text));
  });
}

ModuleFixture::~ModuleFixture() {
  traceFrom(-1);
  const auto present = Snmp::mibContexts();
  for (const Snmp::MibContext& presence : present) {
    unregister_velmorConMonMIB(presence.context);
  }
  Trace::sinkIs({});
  Snmp::CentrumUtil::agentRootIs(nullptr);
}

ConnectivityMonitorMib& ModuleFixture::mib(std::string_view vrf) {
  const auto dir = Qiv::dirAt(root_, "snmp/connectivityMonitor/conMonMib");
  const auto entity = dir->entityIs(vrf, ConnectivityMonitorMib::kTypeName);
  return dynamic_cast<ConnectivityMonitorMib&>(*entity);
}

ConnectivityMonitorMib& ModuleFixture::serve(std::string_view context) {
  ConnectivityMonitorMib& served = mib(context.empty() ? "default" : context);
  init_velmorConMonMIB(context);
  return served;
}

void ModuleFixture::traceFrom(int level) {
  lines_.clear();
  Trace::handle("velmorConMonMIB").levelIs(level);
}
