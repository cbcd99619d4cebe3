#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <variant>

#include "Pomel/String.h"
#include "Qiv/Entity.h"
#include "Qiv/Errors.h"

namespace Qiv {

/// What the generic interface hands in and out: nothing, a truth value, a number, a text, or an
/// entity. Attributes of other value types appear as their text (stream) form.
using Value = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, Pomel::String,
                           Qiv::Ptr<Entity>>;

/// The text of a value: decimal numbers, the string itself, "null" or an entity's type name.
[[nodiscard]] std::string toText(const Value& value);

namespace Impl {

template <class T>
inline constexpr bool kIsEntityPtr = false;
template <class T>
inline constexpr bool kIsEntityPtr<Ptr<T>> = std::derived_from<T, Entity>;

template <class T>
[[nodiscard]] Value toValue(const T& from) {
  if constexpr (std::same_as<T, bool>) {
    return from;
  } else if constexpr (std::signed_integral<T>) {
    return static_cast<std::int64_t>(from);
  } else if constexpr (std::unsigned_integral<T>) {
    return static_cast<std::uint64_t>(from);
  } else if constexpr (std::floating_point<T>) {
    return static_cast<double>(from);
  } else if constexpr (std::same_as<T, Pomel::String>) {
    return from;
  } else if constexpr (kIsEntityPtr<T>) {
    // Inspection may look at a read-only entity; it offers no way to change one but its mutators.
    using Object = std::remove_const_t<typename T::element_type>;
    return Ptr<Entity>(const_cast<Object*>(from.get()));
  } else {
    std::ostringstream text;
    text << from;
    return Pomel::String(text.str());
  }
}

/// The argument of a generic call as the parameter type T; InspectionError when it does not fit.
template <class T>
[[nodiscard]] T fromValue(const Value& value) {
  if constexpr (kIsEntityPtr<T>) {
    const auto* entity = std::get_if<Ptr<Entity>>(&value);
    if (entity == nullptr) {
      throw InspectionError("argument is not an entity");
    }
    T object = ptrCast<typename T::element_type>(*entity);
    if (*entity && !object) {
      throw InspectionError("argument is an entity of another type");
    }
    return object;
  } else if constexpr (std::same_as<T, std::string_view>) {
    const auto* text = std::get_if<Pomel::String>(&value);
    if (text == nullptr) {
      throw InspectionError("argument is not a string");
    }
    return text->view();
  } else if constexpr (std::unsigned_integral<T> && sizeof(T) < sizeof(std::uint64_t) &&
                       !std::same_as<T, bool>) {
    const auto* number = std::get_if<std::uint64_t>(&value);
    if (number == nullptr) {
      throw InspectionError("argument is of another type");
    }
    if (*number > std::numeric_limits<T>::max()) {
      throw InspectionError("argument is out of range");
    }
    return static_cast<T>(*number);
  } else {
    const auto* same = std::get_if<T>(&value);
    if (same == nullptr) {
      throw InspectionError("argument is of another type");
    }
    return *same;
  }
}

}  // namespace Impl

}  // namespace Qiv
