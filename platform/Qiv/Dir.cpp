#include "Qiv/Dir.h"

#include "Qiv/TypeRegistry.h"
#include "Qiv/Url.h"

namespace Qiv {

namespace {

const TypeInfo& dirType() {
  static const TypeInfo type{
      "Qiv::Dir",
      [](const Pomel::String& name) -> Entity::Ptr { return make<Dir>(name); },
      {attribute<&Dir::name>("name"),
       collection<static_cast<const Dir::Entities& (Dir::*)() const noexcept>(&Dir::entityPtr)>(
           "entityPtr")}};
  return type;
}

const TypeRegistration registration{dirType()};

/// Cuts the first component off `path` and unquotes it; empty when malformed.
std::optional<std::string> takeComponent(std::string_view& path) {
  const std::size_t slash = path.find('/');
  const std::string_view component = path.substr(0, slash);
  path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  return component.empty() ? std::nullopt : unquoteUrl(component);
}

}  // namespace

const TypeInfo& Dir::typeInfo() const { return dirType(); }

Dir::~Dir() {
  beingDestroyedIs(true);
  entityPtr_.clear();
}

Entity::Ptr Dir::entityPtr(const Pomel::String& name) const {
  const Entity::Ptr* found = entityPtr_.find(name);
  return found == nullptr ? nullptr : *found;
}

void Dir::entityIs(const Pomel::String& name, Entity::Ptr entity) {
  entityPtr_.set(name, std::move(entity));
}

Entity::Ptr Dir::entityIs(const Pomel::String& name, std::string_view typeName) {
  if (Entity::Ptr present = entityPtr(name); present && present->typeInfo().name() == typeName) {
    return present;
  }
  Entity::Ptr made = TypeRegistry::instance().create(typeName, name);
  entityIs(name, made);
  return made;
}

void Dir::entityDel(const Pomel::String& name) { entityPtr_.erase(name); }

Dir::Ptr Dir::dirIs(const Pomel::String& name) {
  if (const Entity::Ptr present = entityPtr(name)) {
    return ptrCast<Dir>(present);
  }
  Dir::Ptr made = make<Dir>(name);
  entityIs(name, made);
  return made;
}

Entity::Ptr entityAt(const Dir& root, std::string_view path) {
  const Dir* dir = &root;
  Entity::Ptr entity;
  while (true) {
    const auto name = takeComponent(path);
    if (dir == nullptr || !name) {
      return nullptr;
    }
    entity = dir->entityPtr(*name);
    if (path.empty()) {
      return entity;
    }
    dir = dynamic_cast<const Dir*>(entity.get());
  }
}

Dir::Ptr dirAt(const Dir::Ptr& root, std::string_view path) {
  Dir::Ptr dir = root;
  while (dir && !path.empty()) {
    const auto name = takeComponent(path);
    dir = name ? dir->dirIs(*name) : nullptr;
  }
  return dir;
}

}  // namespace Qiv
