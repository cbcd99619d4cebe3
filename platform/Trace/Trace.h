#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

namespace Trace {

/// Levels run from 0 (errors) to 9 (per-element detail).
inline constexpr int kError = 0;
inline constexpr int kMaxLevel = 9;

/// Where a line comes from, where its text names a place; else empty.
struct Position {
  std::string_view file;
  unsigned line = 0;
  std::string_view function;
};

struct Line {
  std::string_view unit;
  int level;
  std::string_view text;
  Position position;
};

/// The trace of one unit. A disabled line costs one comparison: nothing is formatted, `line`'s
/// arguments are only referred to, and what forms the text stays away from the caller's code.
class Handle {
 public:
  explicit Handle(std::string_view unit) : unit_(unit) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  [[nodiscard]] const std::string& unit() const noexcept { return unit_; }
  [[nodiscard]] bool on(int level) const noexcept { return level <= level_; }
  /// All levels up to `level` are on; below 0 none is.
  void levelIs(int level) noexcept { level_ = level; }

  template <class... Args>
  void line(int level, fmt::format_string<const Args&...> format, const Args&... args) const {
    if (on(level)) [[unlikely]] {
      writeFormatted(level, format, fmt::make_format_args(args...));
    }
  }
  /// A line whose text is formed already; the caller has asked `on(level)` first.
  void write(int level, std::string_view text, const Position& position) const;

 private:
  [[gnu::cold, gnu::noinline]] void writeFormatted(int level, fmt::string_view format,
                                                   fmt::format_args args) const;

  std::string unit_;
  int level_ = -1;
};

/// The handle of `unit`, made at its first mention; it lives as long as the process.
[[nodiscard]] Handle& handle(std::string_view unit);

/// All units that have a handle so far.
[[nodiscard]] std::vector<std::string> units();

/// Where lines go. An empty sink means standard error, as `UNIT:LEVEL: TEXT`.
using Sink = std::function<void(const Line&)>;
void sinkIs(Sink sink);

}  // namespace Trace
