#include "Snmp/MibContext.h"

#include "Snmp/HandlerRegistration.h"

namespace Snmp {

namespace {

/// Leaked on purpose: modules leave their contexts as late as at unload.
struct Contexts {
  std::set<MibContext> present;
  Qiv::Publisher<MibContext, bool> changes;
};

Contexts& contexts() {
  static auto* const all = new Contexts;
  return *all;
}

}  // namespace

void registerMibContext(const Pomel::String& context, const Pomel::String& module) {
  if (!contexts().present.insert({context, module}).second) {
    return;
  }
  contexts().changes.publish({context, module}, true);
  if (context.view() == "default" && !contexts().present.contains({"", module})) {
    if (HandlerRegistration* registration = handlerRegistration(module)) {
      registration->initHandler("");
    }
  }
}

void unregisterMibContext(const Pomel::String& context, const Pomel::String& module) {
  if (contexts().present.erase({context, module}) != 0) {
    contexts().changes.publish({context, module}, false);
  }
}

const std::set<MibContext>& mibContexts() { return contexts().present; }

Qiv::Publisher<MibContext, bool>& mibContextChanges() { return contexts().changes; }

}  // namespace Snmp
