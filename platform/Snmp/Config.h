#pragma once

#include "Qiv/Ptr.h"

namespace Snmp {

/// The SNMP agent's configuration, handed to every table as it is registered. Nothing that a table
/// needs today can be configured.
class Config final : public Qiv::RefCounted {
 public:
  using PtrConst = Qiv::Ptr<const Config>;
};

}  // namespace Snmp
