#pragma once

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Pomel/String.h"

namespace Qiv {

/// A value outside what its type can hold.
class RangeError : public std::range_error {
 public:
  using std::range_error::range_error;
};

/// Throws the RangeError of a string longer than its type's bound.
[[noreturn]] void throwStringTooLong();

/// An `...Is` on an existing object with other arguments than it was made of. Names the type and
/// the attribute, carries both values as text; nothing was changed.
class ReinstantiatingError : public std::logic_error {
 public:
  ReinstantiatingError(std::string_view type, std::string_view attribute, std::string oldValue,
                       std::string newValue);

  [[nodiscard]] const std::string& type() const noexcept { return type_; }
  [[nodiscard]] const std::string& attribute() const noexcept { return attribute_; }
  [[nodiscard]] const std::string& oldValue() const noexcept { return oldValue_; }
  [[nodiscard]] const std::string& newValue() const noexcept { return newValue_; }

 private:
  std::string type_;
  std::string attribute_;
  std::string oldValue_;
  std::string newValue_;
};

/// For string attributes.
[[noreturn]] void throwMutatorReinstantiating(std::string_view type, std::string_view attribute,
                                              const Pomel::String& oldValue,
                                              const Pomel::String& newValue);
/// For unsigned attributes.
[[noreturn]] void throwMutatorReinstantiating(std::string_view type, std::string_view attribute,
                                              std::uint32_t oldValue, std::uint32_t newValue);

namespace Impl {

/// For attributes of any other value type, shown in its stream form.
template <class Value>
[[noreturn]] void throwMutatorReinstVal(std::string_view type, std::string_view attribute,
                                        const Value& oldValue, const Value& newValue) {
  std::ostringstream oldText;
  std::ostringstream newText;
  oldText << oldValue;
  newText << newValue;
  throw ReinstantiatingError(type, attribute, oldText.str(), newText.str());
}

}  // namespace Impl

/// A request of the generic interface that the entity's type does not offer: an unknown type or
/// attribute, wrong arguments, an attribute that cannot be called or deleted.
class InspectionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Qiv
