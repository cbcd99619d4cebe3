#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Qiv {

/// The text form of values made of fields: the fields in order, joined by ','. Inside a field the
/// joining character and everything reserved in names is written as %XX (Url.h), except '/', which
/// is common in URLs and separates nothing here. So the form can be read back.
[[nodiscard]] bool reservedInField(char c);

/// Writes one field; `first` says whether no separator goes before it.
void writeField(std::ostream& out, std::string_view field, bool first = false);

/// The fields of a text; empty when one is malformed.
[[nodiscard]] std::optional<std::vector<std::string>> readFields(std::string_view text);

}  // namespace Qiv
