#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Agent {

/// A JSON number, once as a double (for ranges) and once as the 32-bit float nearest to its text.
/// The float is taken from the text itself: going through a double could round twice.
struct JsonNumber {
  double value = 0;
  float nearest = 0;  ///< Infinite when the number is beyond every finite float.
};

using JsonValue = std::variant<std::string, JsonNumber>;

struct JsonField {
  std::string name;
  JsonValue value;
};

/// Why a line was refused, for the one who sent it: "FIELD: what is wrong", or without a field when
/// the line as a whole is wrong.
struct Refusal {
  std::string error;
};

/// A refusal that names `field`, shortened when it is longer than any known field name could be.
[[nodiscard]] Refusal refusal(std::string_view field, std::string_view what);

/// Reads `line` as one JSON object (RFC 8259) whose values are strings and numbers only.
/// Refuses anything else at its first token: nesting is never followed, so its depth costs nothing.
/// Refuses a name that stands twice, a name that `known` does not have (which bounds the number of
/// fields), and a number too large for a double.
[[nodiscard]] std::variant<std::vector<JsonField>, Refusal> readFlatObject(
    std::string_view line, bool (*known)(std::string_view name));

}  // namespace Agent
