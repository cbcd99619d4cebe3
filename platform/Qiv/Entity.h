#pragma once

#include <cstdint>
#include <string_view>

#include "Pomel/String.h"
#include "Qiv/Ptr.h"
#include "Qiv/Publisher.h"

namespace Qiv {

class TypeInfo;

/// An object of the state store: counted, inspectable by attribute name, with a publisher of its
/// attribute changes. Collections publish on their own, by key; this publisher is for attributes
/// that have no key.
class Entity : public RefCounted {
 public:
  using Ptr = Qiv::Ptr<Entity>;
  using PtrConst = Qiv::Ptr<const Entity>;

  /// The type's name and attributes. One declarative table per type (TypeInfo.h).
  [[nodiscard]] virtual const TypeInfo& typeInfo() const = 0;

  /// Where changes of attributes without keys are published, by attribute name.
  [[nodiscard]] Publisher<std::string_view>& changes() const noexcept { return changes_; }

  /// Set at the beginning of destruction: the object is on its way out, though its collections
  /// still publish the deletions.
  [[nodiscard]] bool beingDestroyed() const noexcept { return beingDestroyed_; }
  /// Whether the entity reacts to change notifications.
  [[nodiscard]] bool hasNotificationActive() const noexcept { return notificationActive_; }
  /// Whether reactors keep running for an entity that is being deleted.
  [[nodiscard]] bool doZombieReactors() const noexcept { return doZombieReactors_; }
  /// Whether one of the entity's reactors is running.
  [[nodiscard]] bool inReactor() const noexcept { return inReactor_; }

  void qivDoZombieReactors(bool on) noexcept { doZombieReactors_ = on; }
  void inReactorIs(bool on) noexcept { inReactor_ = on; }

  /// The one entity of a type that the process shares.
  [[nodiscard]] static bool singletonExists(std::string_view typeName);
  /// Returns it, made through the type registry if absent. Throws InspectionError for a type that
  /// is unknown or cannot be made without arguments.
  static Ptr singletonIs(std::string_view typeName);
  /// Drops it; silent when absent.
  static void singletonDel(std::string_view typeName);

 protected:
  void beingDestroyedIs(bool on) noexcept { beingDestroyed_ = on; }
  void notificationActiveIs(bool on) noexcept { notificationActive_ = on; }

 private:
  bool beingDestroyed_ : 1 = false;
  bool notificationActive_ : 1 = false;
  bool doZombieReactors_ : 1 = false;
  bool inReactor_ : 1 = false;
  mutable Publisher<std::string_view> changes_;
};

/// An entity with a name that never changes.
class NamedEntity : public Entity {
 public:
  [[nodiscard]] const Pomel::String& name() const noexcept { return name_; }

 protected:
  explicit NamedEntity(Pomel::String name) : name_(std::move(name)) {}

 private:
  Pomel::String name_;
};

}  // namespace Qiv
