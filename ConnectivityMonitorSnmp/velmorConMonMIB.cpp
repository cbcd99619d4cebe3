#include "ConnectivityMonitorSnmp/velmorConMonMIB.h"

#include <string_view>
#include <utility>

#include "ConnectivityMonitorSnmp/velmorConMonMIBRegistration.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBTables.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBTrace.h"
#include "Snmp/CentrumUtil.h"
#include "Snmp/HandlerRegistration.h"
#include "Snmp/MibContext.h"
#include "Snmp/RegVoidCollByContext.h"
#include "Snmp/UnregisterHandler.h"

namespace MibModule = ConnectivityMonitorSnmp::MibModule;

namespace {

class velmorConMonMIB_HandlerRegistration final : public Snmp::HandlerRegistration {
 public:
  velmorConMonMIB_HandlerRegistration() : HandlerRegistration(MibModule::kModule) {}
  void initHandler(Pomel::String context) override { init_velmorConMonMIB(std::move(context)); }
};

// In this order: what is withdrawn at unload first comes last.
MibModule::Registrations registrations;
MibModule::ColumnInfos columnInfos;
velmorConMonMIB_HandlerRegistration handlerRegistration;
const Snmp::AutoRegistree autoRegistree(&handlerRegistration);

/// A registration is named by its table, an underscore and its context.
Pomel::String tableOf(const netsnmp_handler_registration& registration) {
  const std::string_view name = registration.handlerName;
  return name.substr(0, name.find('_'));
}

}  // namespace

namespace ConnectivityMonitorSnmp::MibModule {

Registrations& registrationsByContext() { return registrations; }
ColumnInfos& columnInfosByContext() { return columnInfos; }

}  // namespace ConnectivityMonitorSnmp::MibModule

void init_velmorConMonMIB(Pomel::String context) {
  const Snmp::Config::PtrConst config = Snmp::CentrumUtil::getSnmpConfig();
  DEBUGMSGTL(("velmorConMonMIB", "Initializing in context \"%s\"\n", context.c_str()));
  initialize_table_velmorIcmpProbeTable(config, context);
  initialize_table_velmorHttpProbeTable(config, context);
  initialize_table_velmorTcpProbeTable(config, context);
  Snmp::registerMibContext(context, MibModule::kModule);
}

void unregister_velmorConMonMIB(Pomel::String context) {
  MibModule::trace.line(MibModule::kFlow, "Unregistering {} in context \"{}\"", MibModule::kModule,
                        context.view());
  const auto records = Snmp::RegVoidCollByContext::singleton();
  for (const netsnmp_handler_registration* registration : std::vector(registrations[context])) {
    records->delRegVoid(context, tableOf(*registration));
    Snmp::unregisterHandler(*registration);
  }
  registrations.erase(context);
  columnInfos.erase(context);  // Only now: the registrations pointed at them.
  Snmp::unregisterMibContext(context, MibModule::kModule);
}
