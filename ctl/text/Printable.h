#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Ctl {

/// UTF-8 text from somebody else as it may go to a terminal: control characters, characters that
/// turn or hide others, backslashes and octets that are no UTF-8 appear as escapes (\x1b, \u202e,
/// \\), so that no text can act, and no two texts look the same.
[[nodiscard]] std::string printable(std::string_view text);

/// How many characters a printable text has.
[[nodiscard]] std::size_t widthOf(std::string_view text);

}  // namespace Ctl
