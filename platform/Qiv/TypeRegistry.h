#pragma once

#include <string_view>
#include <vector>

#include "Qiv/TypeInfo.h"

namespace Qiv {

/// The types that the process knows by name. A library registers its types while it is loaded.
class TypeRegistry {
 public:
  [[nodiscard]] static TypeRegistry& instance();

  /// Enters a type; `info` outlives its entry. A name entered twice is a caller's bug: fatal.
  void typeIs(const TypeInfo& info);
  void typeDel(std::string_view name);
  /// Null when unknown.
  [[nodiscard]] const TypeInfo* type(std::string_view name) const;
  [[nodiscard]] std::vector<std::string_view> names() const;

  /// Makes an entity of the type; `name` is what a named type is called. InspectionError when the
  /// type is unknown or is only made by its owner.
  [[nodiscard]] Ptr<Entity> create(std::string_view typeName, const Pomel::String& name) const;

 private:
  std::vector<const TypeInfo*> types_;
};

/// A type's registration as a static object of its library: in the registry from load to unload.
/// The type's singleton, if there is one, goes with it.
class TypeRegistration {
 public:
  explicit TypeRegistration(const TypeInfo& info);
  TypeRegistration(const TypeRegistration&) = delete;
  TypeRegistration& operator=(const TypeRegistration&) = delete;
  ~TypeRegistration();

 private:
  std::string_view name_;
};

}  // namespace Qiv
