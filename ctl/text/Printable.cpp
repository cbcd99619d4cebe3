#include "ctl/text/Printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>

namespace Ctl {

namespace {

struct Character {
  std::uint32_t code;
  std::size_t bytes;
};

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

/// The first character of a text that is not empty; absent when it begins with no UTF-8 (RFC 3629).
std::optional<Character> firstOf(std::string_view text) {
  static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) {
    return Character{lead, 1};
  }
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes ||
      !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(bytes),
                   isContinuation)) {
    return std::nullopt;
  }
  std::uint32_t code = lead & (0x7FU >> bytes);
  for (std::size_t at = 1; at < bytes; ++at) {
    code = (code << 6U) | (static_cast<unsigned char>(text[at]) & 0x3FU);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallest[bytes] || surrogate || code > 0x10FFFF) {
    return std::nullopt;
  }
  return Character{code, bytes};
}

/// Controls, and characters that have no shape of their own or change the direction of others
/// (Unicode: C0, C1, soft hyphen, Arabic letter mark, zero widths, separators, embeddings and
/// isolates, byte order mark, tags).
bool acts(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code <= 0x9F) || code == 0xAD || code == 0x61C ||
         (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF ||
         (code >= 0xE0000 && code <= 0xE007F);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  const auto out = std::back_inserter(shown);
  while (!text.empty()) {
    const auto character = firstOf(text);
    const std::size_t bytes = character ? character->bytes : 1;
    if (!character) {
      fmt::format_to(out, "\\x{:02x}", static_cast<unsigned char>(text.front()));
    } else if (character->code == '\\') {
      shown += "\\\\";
    } else if (!acts(character->code)) {
      shown += text.substr(0, bytes);
    } else if (character->code < 0x100) {
      fmt::format_to(out, "\\x{:02x}", character->code);
    } else {
      fmt::format_to(out, "\\u{:04x}", character->code);
    }
    text.remove_prefix(bytes);
  }
  return shown;
}

std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

}  // namespace Ctl
