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

/// Cuts the first component off `path`, which has none left after the last one, and unquotes it;
/// empty when malformed.
std::optional<std::string> takeComponent(std::optional<std::string_view>& path) {
  const std::size_t slash = path->find('/');
  const std::string_view component = path->substr(0, slash);
  path = slash == std::string_view::npos ? std::nullopt : std::optional(path->substr(slash + 1));
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
  for (std::optional<std::string_view> rest = path; rest;) {
    const auto name = takeComponent(rest);
    if (dir == nullptr || !name) {
      return nullptr;
    }
    entity = dir->entityPtr(*name);
    dir = dynamic_cast<const Dir*>(entity.get());
  }
  return entity;
}

Dir::Ptr dirAt(const Dir::Ptr& root, std::string_view path) {
  Dir::Ptr dir = root;
  std::optional<std::string_view> rest;
  if (!path.empty()) {
    rest = path;
  }
  while (dir && rest) {
    const auto name = takeComponent(rest);
    dir = name ? dir->dirIs(*name) : nullptr;
  }
  return dir;
}

}  // namespace Qiv
