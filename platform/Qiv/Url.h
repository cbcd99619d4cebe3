#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Qiv {

/// The characters that cannot stand as themselves in one component of a state-store path: the
/// separator, the quoting character and everything that is not printable ASCII.
[[nodiscard]] bool reservedInName(char c);

/// `name` with every character for which `reserved` holds written as %XX (RFC 3986 section 2.1,
/// upper-case digits).
[[nodiscard]] std::string quoteUrl(std::string_view name, bool (*reserved)(char));

/// The inverse of quoteUrl; empty when a % is not followed by two hexadecimal digits.
[[nodiscard]] std::optional<std::string> unquoteUrl(std::string_view quoted);

}  // namespace Qiv
