#pragma once

#include <concepts>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "Pomel/String.h"
#include "Qiv/Errors.h"
#include "Qiv/FieldText.h"

namespace Qiv::Impl {

/// Keys made of fields, whose text is the fields' (FieldText.h): they bring readFields().
template <class Key>
concept KeyOfFields = std::default_initializable<Key> &&
    requires(std::span<const std::string> fields, Key& key) {
  readFields(fields, key);
};

/// Keys that are a text, or that are made from one. Not aggregates: parentheses would fill the
/// first member and leave the others empty.
template <class Key>
concept KeyOfText = !std::is_aggregate_v<Key> && std::constructible_from<Key, Pomel::String>;

template <class Key>
concept ReadableKey = KeyOfFields<Key> || KeyOfText<Key>;

/// The key that has this text; InspectionError when there can be none.
template <ReadableKey Key>
[[nodiscard]] Key keyFromText(std::string_view text) {
  try {
    if constexpr (KeyOfFields<Key>) {
      Key key;
      const auto fields = Qiv::readFields(text);
      if (!fields) {
        throw InspectionError("malformed");
      }
      readFields(std::span<const std::string>(*fields), key);
      return key;
    } else {
      return Key(Pomel::String(text));
    }
  } catch (const std::exception& error) {
    throw InspectionError(std::string("not a key: ") + error.what());
  }
}

}  // namespace Qiv::Impl
