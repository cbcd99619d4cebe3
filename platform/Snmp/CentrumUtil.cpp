#include "Snmp/CentrumUtil.h"

#include <utility>

namespace Snmp {

namespace {

// Leaked on purpose: the store must not be torn down by the end of the process, when the libraries
// that own its types may be gone.
Qiv::Dir::Ptr& agentRoot() {
  static auto* const root = new Qiv::Dir::Ptr;
  return *root;
}

}  // namespace

void CentrumUtil::agentRootIs(Qiv::Dir::Ptr root) { agentRoot() = std::move(root); }

Config::PtrConst CentrumUtil::getSnmpConfig() {
  static auto* const config = new Config::PtrConst(Qiv::make<Config>());
  return *config;
}

Qiv::Entity::Ptr CentrumUtil::getEntityRelative(std::string_view path) {
  return agentRoot() ? Qiv::entityAt(*agentRoot(), path) : nullptr;
}

}  // namespace Snmp
