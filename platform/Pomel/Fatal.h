#pragma once

#include <string_view>

namespace Pomel {

/// Ends the process: a broken invariant or a caller's bug, never outside input. Prints `message`
/// and a line end to standard error, flushes and aborts, in every build type.
[[noreturn]] void fatal(std::string_view message);

/// `fatal` in the words of a failed assertion: `assertion "EXPRESSION" failed`.
[[noreturn]] void assertionFailed(std::string_view expression);

}  // namespace Pomel
