#pragma once

#include <string>
#include <vector>

/// The MIB module's two entry points without an SNMP agent behind them: they record who was called
/// for, in order, as "init CONTEXT" and "unregister CONTEXT".
class FakeMibModule {
 public:
  [[nodiscard]] static std::vector<std::string>& calls();
};
