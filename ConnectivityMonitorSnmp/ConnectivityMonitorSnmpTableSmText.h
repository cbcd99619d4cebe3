#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace ConnectivityMonitorSnmp {

/// A string literal as a template argument.
template <std::size_t N>
struct Literal {
  char chars[N]{};
  consteval explicit(false) Literal(const char (&text)[N]) { std::copy_n(text, N, chars); }
  [[nodiscard]] constexpr std::string_view view() const { return {chars, N - 1}; }
};

namespace Impl {

/// Calls `emit(char)` for every character of `pattern` with the table's names and numbers put in:
/// `@` is the table in lower case, `#` in title case, and `^n` the number of its n-th child
/// machine.
template <class Table>
constexpr void expandTableText(std::string_view pattern, auto emit) {
  const auto emitAll = [&](std::string_view text) { std::ranges::for_each(text, emit); };
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] == '@') {
      emitAll(Table::kLower);
    } else if (pattern[at] == '#') {
      emitAll(Table::kTitle);
    } else if (pattern[at] == '^') {
      const unsigned number = Table::kFirstChildSm + static_cast<unsigned>(pattern[++at] - '0');
      if (number >= 10) {
        emit(static_cast<char>('0' + number / 10));
      }
      emit(static_cast<char>('0' + number % 10));
    } else {
      emit(pattern[at]);
    }
  }
}

template <class Table, Literal Pattern>
struct TableText {
  static constexpr std::size_t kSize = [] {
    std::size_t size = 0;
    expandTableText<Table>(Pattern.view(), [&](char) { ++size; });
    return size;
  }();
  static constexpr std::array<char, kSize> kChars = [] {
    std::array<char, kSize> chars{};
    std::size_t at = 0;
    expandTableText<Table>(Pattern.view(), [&](char c) { chars[at++] = c; });
    return chars;
  }();
};

}  // namespace Impl

/// One table's text, formed at compile time: `kText<IcmpTable, "@StreamScan">` is "icmpStreamScan".
template <class Table, Literal Pattern>
inline constexpr std::string_view kText{Impl::TableText<Table, Pattern>::kChars.data(),
                                        Impl::TableText<Table, Pattern>::kSize};

}  // namespace ConnectivityMonitorSnmp
