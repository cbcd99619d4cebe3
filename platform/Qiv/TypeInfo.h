#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Qiv/KeyText.h"
#include "Qiv/Value.h"

namespace Qiv {

/// One attribute of a type, by what generic code may do with it. A null operation is not offered.
struct Attribute {
  std::string_view name;
  Value (*get)(const Entity&) = nullptr;
  /// Sets or creates the attribute from arguments, or calls a function attribute; returns its
  /// value.
  Value (*call)(Entity&, std::span<const Value>) = nullptr;
  void (*del)(Entity&) = nullptr;
  /// Visits the elements of a collection in its own order.
  using Visitor = std::function<void(const Value& key, const Value& value)>;
  void (*forEach)(const Entity&, const Visitor&) = nullptr;
  /// How many elements a collection has.
  std::size_t (*size)(const Entity&) = nullptr;
  /// Visits the elements from the one whose key has this text on, which need not be there any more
  /// (absent: from the first one on), in the collection's order, until the visitor says no. So a
  /// long collection can be read in pieces while it changes. Throws InspectionError when the text
  /// is no key. Null where keys cannot be read back from their text.
  using PieceVisitor = std::function<bool(const Value& key, const Value& value)>;
  void (*forEachFrom)(const Entity&, std::optional<std::string_view> key,
                      const PieceVisitor&) = nullptr;
};

/// A type's name, how one is made for a directory entry, and its attributes in their fixed order.
class TypeInfo {
 public:
  using Factory = Ptr<Entity> (*)(const Pomel::String& name);

  /// `make` is null for a type that only its owner makes.
  TypeInfo(std::string_view typeName, Factory make, std::vector<Attribute> inOrder)
      : name_(typeName), factory_(make), attributes_(std::move(inOrder)) {}

  [[nodiscard]] std::string_view name() const noexcept { return name_; }
  [[nodiscard]] Factory factory() const noexcept { return factory_; }
  [[nodiscard]] std::span<const Attribute> attributes() const noexcept { return attributes_; }
  /// Throws InspectionError when the type has no such attribute.
  [[nodiscard]] const Attribute& attribute(std::string_view wanted) const;

 private:
  std::string_view name_;
  Factory factory_;
  std::vector<Attribute> attributes_;
};

/// `entity.attribute`; InspectionError when it cannot be read.
[[nodiscard]] Value attributeGet(const Entity& entity, std::string_view attribute);
/// `entity.attributeIs(arguments...)`, or the call of a function attribute; InspectionError when
/// the attribute takes no call or the arguments do not fit.
Value attributeCall(Entity& entity, std::string_view attribute, std::span<const Value> arguments);
/// `entity.attributeDel()`.
void attributeDel(Entity& entity, std::string_view attribute);
/// "name = value" for every attribute in order, collections with their keys, one a line. For
/// people: octets that are not printable ASCII appear as %XX.
[[nodiscard]] std::string dump(const Entity& entity);

namespace Impl {

template <class Member>
struct MemberOf;
template <class Owner, class Result, class... Args>
struct MemberOf<Result (Owner::*)(Args...)> {
  using owner = Owner;
  static Value call(Entity& entity, auto member, std::span<const Value> arguments) {
    if (arguments.size() != sizeof...(Args)) {
      throw InspectionError("wrong number of arguments");
    }
    return invoke(dynamic_cast<Owner&>(entity), member, arguments,
                  std::index_sequence_for<Args...>{});
  }
  template <std::size_t... I>
  static Value invoke(Owner& owner, auto member, std::span<const Value> arguments,
                      std::index_sequence<I...> /*unused*/) {
    if constexpr (std::is_void_v<Result>) {
      (owner.*member)(fromValue<std::remove_cvref_t<Args>>(arguments[I])...);
      return {};
    } else {
      return toValue<std::remove_cvref_t<Result>>(
          (owner.*member)(fromValue<std::remove_cvref_t<Args>>(arguments[I])...));
    }
  }
};
template <class Owner, class Result, class... Args>
struct MemberOf<Result (Owner::*)(Args...) noexcept> : MemberOf<Result (Owner::*)(Args...)> {};
template <class Owner, class Result, class... Args>
struct MemberOf<Result (Owner::*)(Args...) const> : MemberOf<Result (Owner::*)(Args...)> {};
template <class Owner, class Result, class... Args>
struct MemberOf<Result (Owner::*)(Args...) const noexcept> : MemberOf<Result (Owner::*)(Args...)> {
};

template <auto Member>
using OwnerOf = typename MemberOf<decltype(Member)>::owner;

template <auto Get>
[[nodiscard]] const auto& collectionIn(const Entity& entity) {
  return (dynamic_cast<const OwnerOf<Get>&>(entity).*Get)();
}
template <auto Get>
using CollectionOf = std::remove_cvref_t<decltype(collectionIn<Get>(std::declval<Entity&>()))>;

template <class Collection>
[[nodiscard]] auto walkFrom(const Collection& all, std::string_view keyText) {
  const auto key = keyFromText<typename Collection::key_type>(keyText);
  if constexpr (requires { all.walkFrom(key); }) {
    return all.walkFrom(key);
  } else {
    return all.lowerBound(key);
  }
}

/// Elements of a collection, as (key, value): map entries, set keys, rows or entity pointers.
template <class Element>
[[nodiscard]] std::pair<Value, Value> elementValues(const Element& element) {
  if constexpr (requires { element.key, element.value; }) {
    return {toValue(element.key), toValue(element.value)};
  } else if constexpr (requires { element.key; }) {
    return {toValue(element.key), toValue(element)};
  } else if constexpr (std::derived_from<Element, Entity>) {
    return {toValue(element.key()), Ptr<Entity>(const_cast<Element*>(&element))};
  } else {
    return {toValue(element), Value()};
  }
}

}  // namespace Impl

/// A value attribute read by the accessor `Get`.
template <auto Get>
[[nodiscard]] Attribute attribute(std::string_view name) {
  return {.name = name, .get = [](const Entity& entity) {
            const auto& owner = dynamic_cast<const Impl::OwnerOf<Get>&>(entity);
            return Impl::toValue<std::remove_cvref_t<decltype((owner.*Get)())>>((owner.*Get)());
          }};
}

/// As above, with the mutators `Is` and `Del`.
template <auto Get, auto Is, auto Del>
[[nodiscard]] Attribute attribute(std::string_view name) {
  Attribute made = attribute<Get>(name);
  made.call = [](Entity& entity, std::span<const Value> arguments) {
    return Impl::MemberOf<decltype(Is)>::call(entity, Is, arguments);
  };
  made.del = [](Entity& entity) {
    static_cast<void>((dynamic_cast<Impl::OwnerOf<Del>&>(entity).*Del)());
  };
  return made;
}

/// A function attribute.
template <auto Call>
[[nodiscard]] Attribute function(std::string_view name) {
  return {.name = name, .call = [](Entity& entity, std::span<const Value> arguments) {
            return Impl::MemberOf<decltype(Call)>::call(entity, Call, arguments);
          }};
}

/// A collection attribute; `Get` returns a reference to it.
template <auto Get>
[[nodiscard]] Attribute collection(std::string_view name) {
  using Collection = Impl::CollectionOf<Get>;
  Attribute made{.name = name};
  made.forEach = [](const Entity& entity, const Attribute::Visitor& visit) {
    for (const auto& element : Impl::collectionIn<Get>(entity)) {
      const auto [key, value] = Impl::elementValues(element);
      visit(key, value);
    }
  };
  made.size = [](const Entity& entity) { return Impl::collectionIn<Get>(entity).size(); };
  if constexpr (Impl::ReadableKey<typename Collection::key_type>) {
    made.forEachFrom = [](const Entity& entity, std::optional<std::string_view> key,
                          const Attribute::PieceVisitor& visit) {
      const Collection& all = Impl::collectionIn<Get>(entity);
      for (auto at = key ? Impl::walkFrom(all, *key) : all.begin(); at != all.end(); ++at) {
        const auto [elementKey, value] = Impl::elementValues(*at);
        if (!visit(elementKey, value)) {
          return;
        }
      }
    };
  }
  return made;
}

/// As above, with the mutator `Is` that enters one element.
template <auto Get, auto Is>
[[nodiscard]] Attribute collection(std::string_view name) {
  Attribute made = collection<Get>(name);
  made.call = [](Entity& entity, std::span<const Value> arguments) {
    return Impl::MemberOf<decltype(Is)>::call(entity, Is, arguments);
  };
  return made;
}

}  // namespace Qiv
