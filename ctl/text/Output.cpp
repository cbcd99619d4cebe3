#include "ctl/text/Output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ctl/Error.h"

namespace Ctl {

namespace {

std::string_view environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

[[noreturn]] void fail() {
  throw Error(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
}

}  // namespace

Style styleOfStandardOutput() {
  if (isatty(STDOUT_FILENO) == 0) {
    return {};
  }
  return {.aligned = true,
          .coloured = environment("NO_COLOR").empty() && environment("TERM") != "dumb"};
}

std::string painted(std::string_view text, Colour colour, const Style& style) {
  // ECMA-48, 8.3.117 (SGR).
  static constexpr std::array<int, 4> kCodes = {0, 1, 2, 31};
  if (!style.coloured || colour == Colour::kNone || text.empty()) {
    return std::string(text);
  }
  return fmt::format("\x1b[{}m{}\x1b[0m", kCodes[static_cast<std::size_t>(colour)], text);
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
    fail();
  }
}

void flush() {
  if (std::fflush(stdout) != 0) {
    fail();
  }
}

}  // namespace Ctl
