#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/config/Problems.h"

namespace Monitor {

/// A map of the file, whose values are taken by key. What is not taken when this is destroyed is
/// not known, and is refused with the list of the keys that are.
class Map {
 public:
  /// `what` is expected there in case it is no map; it is then as if it were empty.
  Map(Problems& problems, const Field& field, std::string_view what, bool mayBeNothing = false);
  Map(const Map&) = delete;
  Map& operator=(const Map&) = delete;
  ~Map();

  /// Null when the key is absent.
  [[nodiscard]] std::optional<Field> take(std::string_view key);
  /// The same, and a problem when it is absent; `what` says what is expected.
  [[nodiscard]] std::optional<Field> need(std::string_view key, std::string_view what);
  /// All that is left, in the file's order, the path of each ending in its key.
  [[nodiscard]] std::vector<std::pair<std::string, Field>> takeRest();

 private:
  struct Entry {
    YAML::Node key;
    Field value;
    bool taken = false;
  };

  Problems& problems_;
  Field field_;
  std::vector<Entry> entries_;
  std::vector<std::string> known_;
  bool isMap_ = false;
};

}  // namespace Monitor
