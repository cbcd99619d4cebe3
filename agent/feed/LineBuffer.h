#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Agent {

/// Cuts a stream of octets into lines. Keeps at most what was appended and not yet taken.
class LineBuffer {
 public:
  /// Octets in a line, its line end not counted.
  static constexpr std::size_t kMaxLine = 65'536;

  void append(std::string_view bytes);

  /// The next whole line, without its line end; absent when there is none yet. It points into the
  /// buffer and holds until the next append(). A line longer than kMaxLine is never returned.
  [[nodiscard]] std::optional<std::string_view> next();

  /// What stands behind the last line end, as a line of its own; for a source that has ended.
  [[nodiscard]] std::optional<std::string_view> takeRest();

  /// Whether next() would have to return a line longer than kMaxLine. It need not have ended yet:
  /// an endless line is found out before it is stored.
  [[nodiscard]] bool overlong();

  /// Whether next() has a line.
  [[nodiscard]] bool hasLine() { return !overlong() && findEnd(); }

  [[nodiscard]] std::size_t size() const noexcept { return bytes_.size() - begin_; }

 private:
  /// Sets end_ to the next line end, if there is one.
  bool findEnd();

  std::string bytes_;
  std::size_t begin_ = 0;     ///< Where the next line begins.
  std::size_t searched_ = 0;  ///< No line end stands between begin_ and here.
};

}  // namespace Agent
