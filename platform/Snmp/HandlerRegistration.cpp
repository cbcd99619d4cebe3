#include "Snmp/HandlerRegistration.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "Pomel/Fatal.h"

namespace Snmp {

namespace {

// Leaked on purpose: modules withdraw from it at unload, in any order.
std::vector<HandlerRegistration*>& registrations() {
  static auto* const all = new std::vector<HandlerRegistration*>;
  return *all;
}

}  // namespace

AutoRegistree::AutoRegistree(HandlerRegistration* registration) : registration_(registration) {
  if (handlerRegistration(registration->module()) != nullptr) {
    Pomel::fatal(fmt::format("MIB module {} is loaded twice", registration->module()));
  }
  registrations().push_back(registration);
}

AutoRegistree::~AutoRegistree() { std::erase(registrations(), registration_); }

HandlerRegistration* handlerRegistration(std::string_view module) {
  const auto at = std::ranges::find(registrations(), module, &HandlerRegistration::module);
  return at == registrations().end() ? nullptr : *at;
}

}  // namespace Snmp
