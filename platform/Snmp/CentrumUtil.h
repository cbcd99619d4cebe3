#pragma once

#include <string_view>

#include "Qiv/Dir.h"
#include "Snmp/Config.h"

namespace Snmp {

/// Where a MIB module finds the agent it runs in.
class CentrumUtil {
 public:
  /// Sets the directory that paths are relative to. The agent process does, before it registers
  /// anything, and withdraws it with null.
  static void agentRootIs(Qiv::Dir::Ptr root);

  /// Never null.
  [[nodiscard]] static Config::PtrConst getSnmpConfig();

  /// The entity at `path`, '/'-separated names in quoted form, relative to the agent's root. Null
  /// when there is none, when the path is malformed and while no root is set.
  [[nodiscard]] static Qiv::Entity::Ptr getEntityRelative(std::string_view path);
};

}  // namespace Snmp
