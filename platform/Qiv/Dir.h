#pragma once

#include <string_view>

#include "Qiv/Entity.h"
#include "Qiv/HashMap.h"

namespace Qiv {

/// A directory of the state store: entities by name. Walked in the map's own order.
class Dir : public NamedEntity {
 public:
  using Ptr = Qiv::Ptr<Dir>;
  using PtrConst = Qiv::Ptr<const Dir>;
  using Entities = HashMap<Pomel::String, Entity::Ptr>;

  explicit Dir(Pomel::String name) : NamedEntity(std::move(name)) {}
  ~Dir() override;

  [[nodiscard]] const TypeInfo& typeInfo() const override;

  /// The collection itself, for walks and subscriptions.
  [[nodiscard]] const Entities& entityPtr() const noexcept { return entityPtr_; }
  /// The entity named `name`, or null.
  [[nodiscard]] Entity::Ptr entityPtr(const Pomel::String& name) const;

  /// Enters `entity` under `name`, in place of what was there.
  void entityIs(const Pomel::String& name, Entity::Ptr entity);
  /// Returns the entity named `name` if it is of the type `typeName`; else makes one through the
  /// type registry and enters it. Throws InspectionError as TypeRegistry::create does.
  Entity::Ptr entityIs(const Pomel::String& name, std::string_view typeName);
  /// Silent when absent.
  void entityDel(const Pomel::String& name);

  /// The directory named `name`, made if nothing of that name is there; null when something else
  /// is.
  Dir::Ptr dirIs(const Pomel::String& name);

 private:
  Entities entityPtr_;
};

/// The entity at `path`, '/'-separated names in quoted form (Url.h), relative to `root`; null when
/// a component is missing, malformed, or no directory.
[[nodiscard]] Entity::Ptr entityAt(const Dir& root, std::string_view path);

/// The directory at `path` (`root` itself where that is empty), missing levels made on the way;
/// null when a component is malformed or something other than a directory stands in the way.
[[nodiscard]] Dir::Ptr dirAt(const Dir::Ptr& root, std::string_view path);

}  // namespace Qiv
