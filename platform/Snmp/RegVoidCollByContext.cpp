#include "Snmp/RegVoidCollByContext.h"

#include <ostream>
#include <utility>

#include "Qiv/TypeRegistry.h"

namespace Snmp {

namespace {

const Qiv::TypeInfo& regVoidType() {
  static const Qiv::TypeInfo type{"Snmp::RegVoid",
                                  nullptr,  // Only the registry makes records.
                                  {Qiv::attribute<&RegVoid::data>("data"),
                                   Qiv::attribute<&RegVoid::tableCounters>("tableCounters")}};
  return type;
}

const Qiv::TypeInfo& collectionType() {
  static const Qiv::TypeInfo type{RegVoidCollByContext::kTypeName,
                                  [](const Pomel::String& /*name*/) -> Qiv::Entity::Ptr {
                                    return Qiv::make<RegVoidCollByContext>();
                                  },
                                  {Qiv::collection<&RegVoidCollByContext::regVoid>("regVoid")}};
  return type;
}

const Qiv::TypeRegistration registration{collectionType()};

}  // namespace

RegVoid::RegVoid(Qiv::Entity::Ptr data, TableCounters::Ptr counters)
    : data_(std::move(data)), counters_(std::move(counters)) {}

const Qiv::TypeInfo& RegVoid::typeInfo() const { return regVoidType(); }

std::ostream& operator<<(std::ostream& out, const RegVoidKey& key) {
  return out << key.context << '/' << key.table;
}

const Qiv::TypeInfo& RegVoidCollByContext::typeInfo() const { return collectionType(); }

RegVoidCollByContext::Ptr RegVoidCollByContext::singleton() {
  return Qiv::ptrCast<RegVoidCollByContext>(Qiv::Entity::singletonIs(kTypeName));
}

RegVoid* RegVoidCollByContext::addRegVoid(const Pomel::String& context, const Pomel::String& table,
                                          Qiv::Entity::Ptr data) {
  const RegVoidKey key{context, table};
  if (const RegVoid::Ptr* present = records_.find(key)) {
    (*present)->dataIs(std::move(data));
    return present->get();
  }
  const auto record = Qiv::make<RegVoid>(std::move(data), Qiv::make<TableCounters>());
  records_.set(key, record);
  return record.get();
}

void RegVoidCollByContext::delRegVoid(const Pomel::String& context, const Pomel::String& table) {
  records_.erase({context, table});
}

}  // namespace Snmp
