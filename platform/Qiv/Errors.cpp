#include "Qiv/Errors.h"

#include <fmt/format.h>

#include <utility>

namespace Qiv {

void throwStringTooLong() { throw RangeError("Qiv::String::bytes > maxLength() not allowed"); }

ReinstantiatingError::ReinstantiatingError(std::string_view type, std::string_view attribute,
                                           std::string oldValue, std::string newValue)
    : std::logic_error(fmt::format("{}.{} cannot change from '{}' to '{}' in place", type,
                                   attribute, oldValue, newValue)),
      type_(type),
      attribute_(attribute),
      oldValue_(std::move(oldValue)),
      newValue_(std::move(newValue)) {}

void throwMutatorReinstantiating(std::string_view type, std::string_view attribute,
                                 const Pomel::String& oldValue, const Pomel::String& newValue) {
  throw ReinstantiatingError(type, attribute, oldValue.stdString(), newValue.stdString());
}

void throwMutatorReinstantiating(std::string_view type, std::string_view attribute,
                                 std::uint32_t oldValue, std::uint32_t newValue) {
  throw ReinstantiatingError(type, attribute, std::to_string(oldValue), std::to_string(newValue));
}

}  // namespace Qiv
