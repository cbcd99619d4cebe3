#include "Qiv/FieldText.h"

#include <ostream>

#include "Qiv/Url.h"

namespace Qiv {

bool reservedInField(char c) { return c == ',' || (c != '/' && reservedInName(c)); }

void writeField(std::ostream& out, std::string_view field, bool first) {
  if (!first) {
    out << ',';
  }
  out << quoteUrl(field, &reservedInField);
}

std::optional<std::vector<std::string>> readFields(std::string_view text) {
  std::vector<std::string> fields;
  while (true) {
    const std::size_t comma = text.find(',');
    auto field = unquoteUrl(text.substr(0, comma));
    if (!field) {
      return std::nullopt;
    }
    fields.push_back(*std::move(field));
    if (comma == std::string_view::npos) {
      return fields;
    }
    text.remove_prefix(comma + 1);
  }
}

}  // namespace Qiv
