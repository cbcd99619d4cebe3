#include "Qiv/TypeRegistry.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "Pomel/Fatal.h"

namespace Qiv {

namespace {

// Leaked on purpose: libraries withdraw their types, and these singletons, at unload.
std::map<std::string, Ptr<Entity>, std::less<>>& singletons() {
  static auto* const all = new std::map<std::string, Ptr<Entity>, std::less<>>;
  return *all;
}

}  // namespace

TypeRegistry& TypeRegistry::instance() {
  static auto* const registry = new TypeRegistry;
  return *registry;
}

void TypeRegistry::typeIs(const TypeInfo& info) {
  if (type(info.name()) != nullptr) {
    Pomel::fatal(fmt::format("type {} is registered twice", info.name()));
  }
  types_.push_back(&info);
}

void TypeRegistry::typeDel(std::string_view name) {
  std::erase_if(types_, [&](const TypeInfo* info) { return info->name() == name; });
}

const TypeInfo* TypeRegistry::type(std::string_view name) const {
  const auto at =
      std::ranges::find_if(types_, [&](const TypeInfo* info) { return info->name() == name; });
  return at == types_.end() ? nullptr : *at;
}

std::vector<std::string_view> TypeRegistry::names() const {
  std::vector<std::string_view> names;
  for (const TypeInfo* info : types_) {
    names.push_back(info->name());
  }
  std::ranges::sort(names);
  return names;
}

Ptr<Entity> TypeRegistry::create(std::string_view typeName, const Pomel::String& name) const {
  const TypeInfo* info = type(typeName);
  if (info == nullptr) {
    throw InspectionError(fmt::format("type {} is not known", typeName));
  }
  if (info->factory() == nullptr) {
    throw InspectionError(fmt::format("type {} is only made by its owner", typeName));
  }
  return info->factory()(name);
}

TypeRegistration::TypeRegistration(const TypeInfo& info) : name_(info.name()) {
  TypeRegistry::instance().typeIs(info);
}

TypeRegistration::~TypeRegistration() {
  Entity::singletonDel(name_);  // Its code is about to go.
  TypeRegistry::instance().typeDel(name_);
}

bool Entity::singletonExists(std::string_view typeName) {
  return singletons().find(typeName) != singletons().end();
}

Entity::Ptr Entity::singletonIs(std::string_view typeName) {
  const auto at = singletons().find(typeName);
  if (at != singletons().end()) {
    return at->second;
  }
  Ptr made = TypeRegistry::instance().create(typeName, Pomel::String(typeName));
  singletons().emplace(std::string(typeName), made);
  return made;
}

void Entity::singletonDel(std::string_view typeName) {
  const auto at = singletons().find(typeName);
  if (at != singletons().end()) {
    const Ptr kept = at->second;  // Its destructor may look singletons up.
    singletons().erase(at);
  }
}

}  // namespace Qiv
