#include "IntfSnmp/IfMib.h"

#include "Qiv/TypeRegistry.h"

namespace IntfSnmp {

namespace {

const Qiv::TypeInfo& ifMibType() {
  static const Qiv::TypeInfo type{
      "IntfSnmp::IfMib",
      [](const Pomel::String& /*name*/) -> Qiv::Entity::Ptr { return Qiv::make<IfMib>(); },
      {Qiv::collection<&IfMib::ifIndexByIntfId>("ifIndexByIntfId")}};
  return type;
}

const Qiv::TypeRegistration registration{ifMibType()};

}  // namespace

const Qiv::TypeInfo& IfMib::typeInfo() const { return ifMibType(); }

}  // namespace IntfSnmp
