#include "monitor/config/Map.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

#include "monitor/config/Scalars.h"

namespace Monitor {

Map::Map(Problems& problems, const Field& field, std::string_view what, bool mayBeNothing)
    : problems_(problems), field_(field) {
  if (mayBeNothing && isNothing(field.node)) {
    return;
  }
  if (!field.node.IsMap()) {
    problems_.expected(field, what);
    return;
  }
  isMap_ = true;
  std::set<std::string> seen;
  for (const auto& entry : field.node) {
    const auto key = readText(problems_, {entry.first, field.path}, "a text as key");
    if (!key) {
      continue;
    }
    std::string path = field.path.empty() ? *key : fmt::format("{}.{}", field.path, *key);
    if (!seen.insert(*key).second) {
      problems_.add(entry.first.Mark(), path, "given twice");
      continue;
    }
    entries_.push_back({entry.first, {entry.second, std::move(path)}});
  }
}

Map::~Map() {
  for (const Entry& entry : entries_) {
    if (!entry.taken) {
      problems_.add(entry.key.Mark(), entry.value.path,
                    fmt::format("unknown key, expected one of: {}", fmt::join(known_, ", ")));
    }
  }
}

std::optional<Field> Map::take(std::string_view key) {
  known_.emplace_back(key);
  const auto found =
      std::ranges::find_if(entries_, [&](const Entry& entry) { return entry.key.Scalar() == key; });
  if (found == entries_.end()) {
    return std::nullopt;
  }
  found->taken = true;
  return found->value;
}

std::optional<Field> Map::need(std::string_view key, std::string_view what) {
  auto field = take(key);
  if (!field && isMap_) {
    problems_.add(field_.node.Mark(),
                  field_.path.empty() ? std::string(key) : fmt::format("{}.{}", field_.path, key),
                  fmt::format("expected {}, but it is missing", what));
  }
  return field;
}

std::vector<std::pair<std::string, Field>> Map::takeRest() {
  std::vector<std::pair<std::string, Field>> rest;
  for (Entry& entry : entries_) {
    if (!entry.taken) {
      entry.taken = true;
      rest.emplace_back(entry.key.Scalar(), entry.value);
    }
  }
  return rest;
}

}  // namespace Monitor
