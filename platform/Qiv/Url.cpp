#include "Qiv/Url.h"

#include <charconv>

namespace Qiv {

bool reservedInName(char c) { return c == '/' || c == '%' || c <= ' ' || c >= '\x7f'; }

std::string quoteUrl(std::string_view name, bool (*reserved)(char)) {
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string quoted;
  quoted.reserve(name.size());
  for (const char c : name) {
    if (!reserved(c)) {
      quoted += c;
      continue;
    }
    const auto octet = static_cast<unsigned char>(c);
    quoted += '%';
    quoted += kDigits[octet >> 4];
    quoted += kDigits[octet & 0xf];
  }
  return quoted;
}

std::optional<std::string> unquoteUrl(std::string_view quoted) {
  std::string name;
  name.reserve(quoted.size());
  for (std::size_t at = 0; at < quoted.size(); ++at) {
    if (quoted[at] != '%') {
      name += quoted[at];
      continue;
    }
    const std::string_view digits = quoted.substr(at + 1, 2);
    unsigned char octet = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), octet, 16);
    if (digits.size() != 2 || error != std::errc() || end != digits.end()) {
      return std::nullopt;
    }
    name += static_cast<char>(octet);
    at += 2;
  }
  return name;
}

}  // namespace Qiv
