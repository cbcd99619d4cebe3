#pragma once

#include <string>
#include <string_view>

namespace Ctl {

/// How standard output wants its text.
struct Style {
  bool aligned = false;   ///< Columns under each other; else separated by tabs.
  bool coloured = false;  ///< With escape sequences.
};

/// For a terminal aligned and coloured, without colour where NO_COLOR is set to anything or the
/// terminal is a dumb one (no-color.org); for anything else neither.
[[nodiscard]] Style styleOfStandardOutput();

enum class Colour { kNone, kBold, kFaint, kRed };
/// `text` in the colour, if the style has any.
[[nodiscard]] std::string painted(std::string_view text, Colour colour, const Style& style);

/// Writes to standard output. Throws Error when that fails.
void print(std::string_view text);
/// What was printed is out when this returns. Throws Error.
void flush();

}  // namespace Ctl
