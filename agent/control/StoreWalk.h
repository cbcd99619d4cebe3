#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Qiv/Dir.h"
#include "Qiv/TypeInfo.h"
#include "agent/control/ListAnswer.h"

namespace Agent {

/// The state store through its generic interface: places found by path, values as JSON, collections
/// in pieces.
///
/// A path is names joined by '/', each quoted as in Qiv/Url.h. A name leads from a directory to its
/// entity, from any entity to its attribute, and from a collection to its element; the empty path
/// is the root.

/// An attribute that is a collection, with its owner.
struct CollectionPlace {
  Qiv::Entity::Ptr owner;
  const Qiv::Attribute* attribute = nullptr;
};
/// Where a path leads: to an entity, a collection, or a value.
using Place = std::variant<Qiv::Entity::Ptr, CollectionPlace, Qiv::Value>;

/// Throws Qiv::InspectionError, naming the first part of the path that leads nowhere.
[[nodiscard]] Place placeAt(const Qiv::Entity::Ptr& root, std::string_view path);

/// The attribute's collection; InspectionError when it is none.
[[nodiscard]] CollectionPlace collectionOf(const Qiv::Entity::Ptr& owner,
                                           std::string_view attribute);
/// The entity in an attribute; null when there is none to ask, or none in it.
[[nodiscard]] Qiv::Entity::Ptr entityIn(const Qiv::Entity::Ptr& owner, std::string_view attribute);

/// A value for people and programs; an entity is an object with its type.
[[nodiscard]] Json jsonOf(const Qiv::Value& value);
/// `key` as one name of a path.
[[nodiscard]] std::string pathName(const Qiv::Value& key);

/// Adds the collection's elements to the list, from the one behind `behind` (a name as of
/// pathName(); absent: from the first) until the end or until the list takes no more. False when it
/// took no more. `item` makes an element's JSON, `bookmark` what its name is in the list.
using ItemOf = std::function<Json(const std::string& name, const Qiv::Value& value)>;
bool listElements(const CollectionPlace& place, const std::optional<std::string>& behind,
                  ListAnswer& list, const ItemOf& item, std::string_view bookmarkPrefix = {});

/// The value of the element with this name; absent when there is none.
[[nodiscard]] std::optional<Qiv::Value> elementIn(const CollectionPlace& place,
                                                  std::string_view name);

}  // namespace Agent
