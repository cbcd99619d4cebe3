#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "agent/feed/FlatObject.h"
#include "agent/feed/Operation.h"

namespace Agent {

/// Takes the fields of one line's object by name. The first thing that is wrong is kept as the
/// refusal; after it, values that are taken mean nothing.
class FieldTaker {
 public:
  explicit FieldTaker(std::vector<JsonField> fields) : fields_(std::move(fields)) {}

  /// Absent only when the field is; `minBytes` above 0 refuses the empty string.
  std::optional<std::string> optionalString(std::string_view name, std::size_t minBytes,
                                            std::size_t maxBytes);
  std::string string(std::string_view name, std::size_t minBytes, std::size_t maxBytes);
  std::optional<JsonNumber> number(std::string_view name, double min, double max,
                                   std::string_view range);
  std::uint32_t wholeNumber(std::string_view name, std::uint32_t min, std::uint32_t max);
  /// Absent only when the field is.
  std::optional<std::uint32_t> optionalWholeNumber(std::string_view name, std::uint32_t min,
                                                   std::uint32_t max);
  /// A measured time: any number that a 32-bit float can hold; 0 when absent.
  float milliseconds(std::string_view name);

  void refuse(std::string_view field, std::string_view what);
  [[nodiscard]] const std::optional<Refusal>& refused() const noexcept { return refusal_; }

  /// `operation`, unless something was refused or a field is left that it does not have.
  std::variant<Operation, Refusal> finish(std::string_view op, Operation operation) &&;

 private:
  template <class Type>
  std::optional<Type> take(std::string_view name, std::string_view wrongType);

  std::vector<JsonField> fields_;
  std::optional<Refusal> refusal_;
};

}  // namespace Agent
